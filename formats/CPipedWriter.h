// SPDX-License-Identifier: MIT
// CPipedWriter: a container record's stored bytes on their way to the sink
// (internal to the library).
#pragma once

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>

#include "formats/CQELSinks.h"
#include "platform/CThreadBasedClass.h"

namespace QEL::Core {

// Collects a record's stored bytes in pieces and hands full pieces to the
// sink, on a writer thread of its own for large records, so that making the
// next piece (digest, encipherment) overlaps writing the last one.
class CPipedWriter final : public CThreadBasedClass {
  public:
    CPipedWriter(IQELSink& sink, bool threaded) : m_sink(sink), m_threaded(threaded) {
        for (int i = 0; i < (threaded ? kSlots : 1); ++i)
            m_buffers[std::size_t(i)] = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(kPiece));
        if (m_threaded) Start();
    }
    ~CPipedWriter() override {
        {
            std::lock_guard guard(m_lock);
            m_abandoned = m_closed = true;
        }
        m_changed.notify_all();
        try {
            Wait();
        } catch (...) {  // only reached when an error unwinds the caller already
        }
    }

    // Room for up to bytes; the caller fills what it gets and calls Commit.
    unsigned char* Room(std::int64_t& bytes) {
        if (!m_current) Acquire();
        bytes = std::min(bytes, kPiece - m_filled);
        return m_current + m_filled;
    }
    void Commit(std::int64_t bytes) {
        m_filled += bytes;
        if (m_filled == kPiece) Hand();
    }
    void Append(unsigned char const* data, std::int64_t bytes) {
        while (bytes > 0) {
            std::int64_t room = bytes;
            unsigned char* to = Room(room);
            std::memcpy(to, data, std::size_t(room));
            Commit(room);
            data += room;
            bytes -= room;
        }
    }
    // Writes what is left and waits for the writer; rethrows its failure.
    void Finish() {
        if (m_current && m_filled > 0) Hand();
        if (!m_threaded) return;
        {
            std::lock_guard guard(m_lock);
            m_closed = true;
        }
        m_changed.notify_all();
        Wait();
    }

  private:
    static constexpr std::int64_t kPiece = std::int64_t(1) << 20;
    static constexpr int kSlots = 3;

    void Acquire() {
        if (!m_threaded) {
            m_current = m_buffers[0].get();
            return;
        }
        std::unique_lock guard(m_lock);
        m_changed.wait(guard, [this] { return m_failed || m_handed - m_written < kSlots; });
        if (m_failed) {
            guard.unlock();
            Wait();  // rethrows why the writer stopped
        }
        m_current = m_buffers[m_handed % kSlots].get();
    }
    void Hand() {
        if (!m_threaded) {
            m_sink.Append(m_current, m_filled);
        } else {
            {
                std::lock_guard guard(m_lock);
                m_lengths[m_handed % kSlots] = m_filled;
                ++m_handed;
            }
            m_changed.notify_all();
        }
        m_current = nullptr;
        m_filled = 0;
    }
    void Run() override {
        for (;;) {
            std::size_t slot;
            {
                std::unique_lock guard(m_lock);
                m_changed.wait(guard, [this] { return m_abandoned || m_written < m_handed || m_closed; });
                if (m_abandoned || m_written == m_handed) return;
                slot = m_written % kSlots;
            }
            try {
                m_sink.Append(m_buffers[slot].get(), m_lengths[slot]);
            } catch (...) {
                {
                    std::lock_guard guard(m_lock);
                    m_failed = true;
                }
                m_changed.notify_all();
                throw;
            }
            {
                std::lock_guard guard(m_lock);
                ++m_written;
            }
            m_changed.notify_all();
        }
    }

    IQELSink& m_sink;
    bool const m_threaded;
    std::array<std::unique_ptr<unsigned char[]>, kSlots> m_buffers;
    std::array<std::int64_t, kSlots> m_lengths{};
    unsigned char* m_current = nullptr;
    std::int64_t m_filled = 0;
    std::mutex m_lock;
    std::condition_variable m_changed;
    std::size_t m_handed = 0, m_written = 0;
    bool m_closed = false, m_abandoned = false, m_failed = false;
};

}  // namespace QEL::Core

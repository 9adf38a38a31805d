// SPDX-License-Identifier: MIT
// CRecordDigest: the MD5 digest of a container record's plain bytes, handed
// over piece by piece as they become plain (internal to the library).
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

#include "core/CQEL_MD5.h"
#include "platform/CTask.h"

namespace QEL::Core {

// MD5 of a record's plain bytes, handed over piece by piece as they become
// plain (deciphered, or read). A large record is digested on a library
// thread of its own, beside the deciphering and the creator's reading; a
// small one inline. Pieces must stay in place until Finish or Cancel returns.
class CRecordDigest {
  public:
    explicit CRecordDigest(bool threaded) {
        if (threaded) m_task = std::make_unique<CTask>([this] { Run(); });
    }
    ~CRecordDigest() { Cancel(); }
    CRecordDigest(CRecordDigest const&) = delete;
    CRecordDigest& operator=(CRecordDigest const&) = delete;

    void Feed(unsigned char const* piece, std::int64_t bytes) {
        if (!m_task) {
            m_md5.Update(piece, std::size_t(bytes));
            return;
        }
        {
            std::lock_guard guard(m_mutex);
            m_pieces.emplace_back(piece, bytes);
        }
        m_ready.notify_one();
    }
    // The digest of everything fed.
    sMD5CheckSumValue Finish() {
        if (!m_task) return m_md5.Finish();
        Close(false);
        m_task->Join();
        return m_digest;
    }
    // Stops without digesting what is left; returns when the thread is done.
    void Cancel() noexcept {
        if (!m_task) return;
        Close(true);
        try {
            m_task->Join();
        } catch (...) {  // a fault of the digest no longer matters
        }
    }

  private:
    void Close(bool cancel) {
        {
            std::lock_guard guard(m_mutex);
            m_closed = true;
            m_cancelled = m_cancelled || cancel;
        }
        m_ready.notify_one();
    }
    void Run() {
        for (;;) {
            std::pair<unsigned char const*, std::int64_t> piece;
            {
                std::unique_lock lock(m_mutex);
                m_ready.wait(lock, [this] { return !m_pieces.empty() || m_closed; });
                if (m_cancelled || m_pieces.empty()) break;
                piece = m_pieces.front();
                m_pieces.pop_front();
            }
            m_md5.Update(piece.first, std::size_t(piece.second));
        }
        m_digest = m_md5.Finish();
    }

    CQEL_MD5 m_md5;  // the thread's alone while there is one
    std::mutex m_mutex;
    std::condition_variable m_ready;
    std::deque<std::pair<unsigned char const*, std::int64_t>> m_pieces;
    bool m_closed = false;
    bool m_cancelled = false;
    sMD5CheckSumValue m_digest;
    std::unique_ptr<CTask> m_task;  // last: it starts once everything above is ready
};

}  // namespace QEL::Core

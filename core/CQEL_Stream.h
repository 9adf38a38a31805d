// SPDX-License-Identifier: MIT
// The library's byte stream: bytes held in memory as a chain of chunks, with a
// get position for reading and a put position for writing.
//
// Chunk k holds 4096 * 2^k bytes, so that a stream of n bytes has O(log n)
// chunks, the chunk of any position is found in constant time, and growing
// never moves bytes already written. Multi-byte values are stored as their
// little-endian raw bytes (PutValue, GetValue).
//
// A stream writes itself to a file and reads itself from one chunk by chunk,
// so that the data are never held twice. Writing to a path writes a file
// beside the target and renames it over the target only when complete.
//
// A stream can also read bytes it does not own (AttachView), such as a mapped
// file or a part of another stream, so that readers need not copy them; the
// first Put copies them in.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>
#include <vector>

#include "core/QEL_Export.h"

namespace QEL::Core {

class CQEL_String;

class QEL_API CQEL_Stream {
  public:
    CQEL_Stream();
    ~CQEL_Stream();
    CQEL_Stream(CQEL_Stream&&) noexcept;
    CQEL_Stream& operator=(CQEL_Stream&&) noexcept;
    CQEL_Stream(CQEL_Stream const&) = delete;
    CQEL_Stream& operator=(CQEL_Stream const&) = delete;

    // Writes bytes at the put position, overwriting or extending the stream;
    // the put position advances by the count.
    void Put(void const* data, std::int64_t bytes);
    // Reads bytes at the get position; reading past the end throws reason 23
    // (file read error) and leaves the get position unchanged.
    void Get(void* data, std::int64_t bytes);
    // Reads up to the next "\n" (a preceding "\r" is dropped); false at the end.
    bool GetLine(CQEL_String& line);
    // True when the get position stands at the end of the data.
    bool EOS() const { return m_get >= m_size; }

    // Positions are byte offsets from the start. A get position past the end
    // throws reason 23; a put position past the end extends the stream with zeros.
    void SeekGetPosition(std::int64_t position);
    void SeekPutPosition(std::int64_t position);
    std::int64_t TellGetPosition() const { return m_get; }
    std::int64_t TellPutPosition() const { return m_put; }
    std::int64_t SizeInBytes() const { return m_size; }
    // Bytes between the get position and the end.
    std::int64_t RemainingBytes() const { return m_size - m_get; }
    // Empties the stream and releases its chunks.
    void Reset();
    // Makes room for bytes and touches every page of it now, so that a later
    // Put of that many bytes neither allocates nor faults (for a caller that
    // has a spare thread to pay those costs in advance).
    void Reserve(std::int64_t bytes);
    // Replaces the contents with a read-only view of bytes owned elsewhere,
    // which must outlive the view; positions go to 0. A Put copies the view
    // into the stream's own chunks first.
    void AttachView(void const* data, std::int64_t bytes);
    // The same for the bytes [from, from + bytes) of another stream, which
    // must hold them (else reason 5, parameter "bytes") and must neither
    // change nor go while the view is used.
    void AttachView(CQEL_Stream const& source, std::int64_t from, std::int64_t bytes);

    template <class T>
    void PutValue(T const& value) {
        static_assert(std::is_trivially_copyable_v<T> && std::endian::native == std::endian::little);
        Put(&value, sizeof(T));
    }
    template <class T>
    T GetValue() {
        static_assert(std::is_trivially_copyable_v<T> && std::endian::native == std::endian::little);
        T value;
        Get(&value, sizeof(T));
        return value;
    }

    // Appends bytes at the end of the data, written in place by the caller:
    // produce(pointer, count) is called for each contiguous run of the new
    // storage, in order, and must fill it. The put position moves to the end.
    template <class Producer>
    void Produce(std::int64_t bytes, Producer&& produce) {
        OwnView();
        std::int64_t const end = m_size + bytes;
        EnsureCapacity(end);
        ForEachChunkRun(m_size, end, [&](unsigned char* run, std::int64_t n) {
            produce(run, n);
            m_size += n;  // what is produced is kept, should a later run throw
        });
        m_put = m_size;
    }

    // Calls visit(pointer, bytes) for each contiguous run of the data, in order.
    template <class Visitor>
    void ForEachRun(Visitor&& visit) const {
        ForEachRun(0, m_size, visit);
    }
    // The same for the bytes in [from, to), clamped to the data.
    template <class Visitor>
    void ForEachRun(std::int64_t from, std::int64_t to, Visitor&& visit) const {
        from = std::max<std::int64_t>(from, 0);
        to = std::min(to, m_size);
        if (m_view) {
            if (from < to) visit(m_view + from, to - from);
            return;
        }
        if (m_viewOf) {
            if (from < to) m_viewOf->ForEachRun(m_viewFrom + from, m_viewFrom + to, visit);
            return;
        }
        ForEachChunkRun(from, to, [&visit](unsigned char* run, std::int64_t n) {
            visit(static_cast<unsigned char const*>(run), n);
        });
    }

    // Writes the whole stream to a file (through a temporary file beside it,
    // renamed over the path when complete). Throws reason 24 on failure; the
    // previous file at path is then left as it was.
    void WriteToFile(CQEL_String const& path) const;
    // Replaces the contents with a file's bytes; positions go to 0. Throws
    // reason 22 when the file does not exist and reason 23 when it cannot be read.
    void ReadFromFile(CQEL_String const& path);

  protected:
    // Appends the next chunk of the chain.
    void CreateNewChunk();

  private:
    static constexpr std::int64_t kFirstChunk = 4096;
    static std::int64_t ChunkSize(std::size_t k) { return kFirstChunk << k; }
    static std::int64_t ChunkStart(std::size_t k) { return kFirstChunk * ((std::int64_t(1) << k) - 1); }
    static std::size_t ChunkOf(std::int64_t position) {
        return std::size_t(std::bit_width(std::uint64_t(position / kFirstChunk + 1)) - 1);
    }
    void EnsureCapacity(std::int64_t bytes);
    // Calls f(pointer, bytes) for each run of chunk storage in [from, to),
    // which must lie within the chunks made so far.
    template <class F>
    void ForEachChunkRun(std::int64_t from, std::int64_t to, F&& f) const {
        while (from < to) {
            std::size_t const k = ChunkOf(from);
            std::int64_t const at = from - ChunkStart(k);
            std::int64_t const run = std::min(ChunkSize(k) - at, to - from);
            f(m_chunks[k].get() + at, run);
            from += run;
        }
    }
    // Copies an attached view into owned chunks.
    void OwnView();

    std::vector<std::unique_ptr<unsigned char[]>> m_chunks;
    unsigned char const* m_view = nullptr;
    CQEL_Stream const* m_viewOf = nullptr;  // a view of another stream's bytes from m_viewFrom on
    std::int64_t m_viewFrom = 0;
    std::int64_t m_size = 0;
    std::int64_t m_get = 0;
    std::int64_t m_put = 0;
};

}  // namespace QEL::Core

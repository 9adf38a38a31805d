// SPDX-License-Identifier: MIT
#include "core/CQEL_Stream.h"

#include <cerrno>
#include <cstring>
#include <string>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "platform/CAtomicFile.h"
#include "platform/CMappedFile.h"
#include "platform/QEL_System.h"

namespace QEL::Core {

CQEL_Stream::CQEL_Stream() = default;
CQEL_Stream::~CQEL_Stream() = default;
CQEL_Stream::CQEL_Stream(CQEL_Stream&&) noexcept = default;
CQEL_Stream& CQEL_Stream::operator=(CQEL_Stream&&) noexcept = default;

void CQEL_Stream::CreateNewChunk() {
    m_chunks.push_back(
        std::make_unique_for_overwrite<unsigned char[]>(std::size_t(ChunkSize(m_chunks.size()))));
}

void CQEL_Stream::EnsureCapacity(std::int64_t bytes) {
    while (ChunkStart(m_chunks.size()) < bytes)
        CreateNewChunk();
}

void CQEL_Stream::Reserve(std::int64_t bytes) {
    OwnView();
    std::size_t const had = m_chunks.size();
    EnsureCapacity(bytes);
    std::int64_t const step = std::int64_t(System::PageBytes());
    for (std::size_t k = had; k < m_chunks.size(); ++k)
        for (std::int64_t at = 0; at < ChunkSize(k); at += step)
            m_chunks[k][std::size_t(at)] = 0;
}

void CQEL_Stream::AttachView(void const* data, std::int64_t bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::AttachView");
    op.CheckParameter(bytes >= 0 && (data != nullptr || bytes == 0), "bytes");
    Reset();
    m_view = static_cast<unsigned char const*>(data);
    m_size = bytes;
}

void CQEL_Stream::AttachView(CQEL_Stream const& source, std::int64_t from, std::int64_t bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::AttachView");
    op.CheckParameter(from >= 0 && bytes >= 0 && bytes <= source.m_size - from && &source != this, "bytes");
    Reset();
    m_viewOf = &source;
    m_viewFrom = from;
    m_size = bytes;
}

void CQEL_Stream::OwnView() {
    if (!m_view && !m_viewOf) return;
    unsigned char const* const view = m_view;
    CQEL_Stream const* const of = m_viewOf;
    std::int64_t const from = m_viewFrom, size = m_size, get = m_get, put = m_put;
    m_view = nullptr;
    m_viewOf = nullptr;
    m_size = m_get = m_put = 0;
    if (of)
        of->ForEachRun(from, from + size, [this](unsigned char const* run, std::int64_t n) { Put(run, n); });
    else
        Put(view, size);
    m_get = get;
    m_put = put;
}

void CQEL_Stream::Put(void const* data, std::int64_t bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::Put");
    op.CheckParameter(bytes >= 0, "bytes");
    if (bytes == 0) return;
    OwnView();
    std::int64_t const end = m_put + bytes;
    EnsureCapacity(end);
    // A put position sought past the end leaves a gap that reads as zeros.
    if (m_put > m_size)
        ForEachChunkRun(m_size, m_put,
                        [](unsigned char* run, std::int64_t n) { std::memset(run, 0, std::size_t(n)); });
    auto const* from = static_cast<unsigned char const*>(data);
    ForEachChunkRun(m_put, end, [&from](unsigned char* run, std::int64_t n) {
        std::memcpy(run, from, std::size_t(n));
        from += n;
    });
    m_put = end;
    m_size = std::max(m_size, end);
}

void CQEL_Stream::Get(void* data, std::int64_t bytes) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::Get");
    op.CheckParameter(bytes >= 0, "bytes");
    if (bytes > m_size - m_get)
        op.Throw(
            QEL_FILE_READ_ERROR, "bytes",
            CQEL_String::FromFormat("Attempt to read %lld bytes at position %lld of a stream of %lld bytes",
                                    (long long)bytes, (long long)m_get, (long long)m_size));
    auto* to = static_cast<unsigned char*>(data);
    ForEachRun(m_get, m_get + bytes, [&to](unsigned char const* run, std::int64_t n) {
        std::memcpy(to, run, std::size_t(n));
        to += n;
    });
    m_get += bytes;
}

bool CQEL_Stream::GetLine(CQEL_String& line) {
    if (m_get >= m_size) return false;
    std::string text;
    bool ended = false;
    ForEachRun(m_get, m_size, [&](unsigned char const* run, std::int64_t n) {
        if (ended) return;
        auto const* begin = reinterpret_cast<char const*>(run);
        auto const* newline = static_cast<char const*>(std::memchr(begin, '\n', std::size_t(n)));
        if (newline) {
            text.append(begin, newline);
            m_get += (newline - begin) + 1;
            ended = true;
        } else {
            text.append(begin, std::size_t(n));
            m_get += n;
        }
    });
    if (!text.empty() && text.back() == '\r') text.pop_back();
    line.SetFromASCII(text.data(), int(std::min<std::size_t>(text.size(), 1000000000)));
    return true;
}

void CQEL_Stream::SeekGetPosition(std::int64_t position) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::SeekGetPosition");
    if (position < 0 || position > m_size)
        op.Throw(QEL_FILE_READ_ERROR, "position",
                 CQEL_String::FromFormat("Position %lld lies outside a stream of %lld bytes",
                                         (long long)position, (long long)m_size));
    m_get = position;
}

void CQEL_Stream::SeekPutPosition(std::int64_t position) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::SeekPutPosition");
    op.CheckParameter(position >= 0, "position");
    m_put = position;
}

void CQEL_Stream::Reset() {
    m_chunks.clear();
    m_view = nullptr;
    m_viewOf = nullptr;
    m_viewFrom = 0;
    m_size = m_get = m_put = 0;
}

void CQEL_Stream::WriteToFile(CQEL_String const& path) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::WriteToFile");
    op.Run([&] {
        std::string const target = path.GetArray();
        op.Check(!target.empty(), QEL_INVALID_PATH, "path", "The file path is not set.");
        CAtomicFile file;
        if (int const error = file.Open(target, false))
            op.Throw(QEL_FILE_WRITE_ERROR, "path",
                     CQEL_String::FromFormat("Cannot create %s: %s", target.c_str(), std::strerror(error)));
        int error = 0;
        ForEachRun([&](unsigned char const* run, std::int64_t bytes) {
            if (!error) error = file.Write(run, std::size_t(bytes));
        });
        if (!error) error = file.Commit();
        if (error)
            op.Throw(QEL_FILE_WRITE_ERROR, "path",
                     CQEL_String::FromFormat("Cannot write %s: %s", target.c_str(), std::strerror(error)));
    });
}

void CQEL_Stream::ReadFromFile(CQEL_String const& path) {
    static CQEL_Operation const op("QEL::Core::CQEL_Stream::ReadFromFile");
    op.Run([&] {
        CMappedFile file;
        if (int const error = file.Open(path.GetArray()))
            op.Throw(error == ENOENT ? QEL_FILE_NOT_FOUND : QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("Cannot open %s: %s", path.GetArray(), std::strerror(error)));
        Reset();
        unsigned char buffer[1 << 16];
        for (;;) {
            std::int64_t got = 0;
            if (int const error = file.ReadNext(buffer, sizeof buffer, got)) {
                Reset();
                op.Throw(
                    QEL_FILE_READ_ERROR, "path",
                    CQEL_String::FromFormat("Cannot read %s: %s", path.GetArray(), std::strerror(error)));
            }
            if (got == 0) break;
            Put(buffer, got);
        }
        m_get = m_put = 0;
    });
}

}  // namespace QEL::Core

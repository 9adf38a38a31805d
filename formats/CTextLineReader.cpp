// SPDX-License-Identifier: MIT
#include "formats/CTextLineReader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {
// The buffer starts small and doubles while a line does not fit, up to room
// for one longest line and a read-ahead block.
constexpr std::int64_t kFirstBufferBytes = 1 << 16;
constexpr std::int64_t kMaxBufferBytes = 2 * CTextLineReader::kMaxLineBytes;
}  // namespace

CTextLineReader::CTextLineReader() = default;

CTextLineReader::~CTextLineReader() {
    if (m_fd >= 0) ::close(m_fd);
}

bool CTextLineReader::Open(char const* path) {
    m_fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) return false;
    struct stat info {};
    if (::fstat(m_fd, &info) != 0 || S_ISDIR(info.st_mode)) {
        ::close(m_fd);
        m_fd = -1;
        return false;
    }
    m_fileSize = info.st_size;
    m_capacity = kFirstBufferBytes;
    m_buffer = std::make_unique_for_overwrite<char[]>(std::size_t(m_capacity));
    return true;
}

bool CTextLineReader::Fill() {
    static CQEL_Operation const op("QEL::Core::CTextLineReader::NextLine");
    if (m_begin > 0) {
        std::memmove(m_buffer.get(), m_buffer.get() + m_begin, std::size_t(m_end - m_begin));
        m_end -= m_begin;
        m_begin = 0;
    } else if (m_end == m_capacity && m_capacity < kMaxBufferBytes) {
        Reserve(std::min(2 * m_capacity, kMaxBufferBytes));
    }
    while (m_end < m_capacity) {
        ssize_t const got = ::read(m_fd, m_buffer.get() + m_end, std::size_t(m_capacity - m_end));
        if (got < 0 && errno == EINTR) continue;
        if (got < 0)
            op.Throw(
                QEL_FILE_READ_ERROR, "path",
                CQEL_String::FromFormat("Read failure at byte %lld: %s",
                                        (long long)(m_consumed + m_end - m_begin), std::strerror(errno)));
        if (got == 0) {
            m_eof = true;
            break;
        }
        m_end += got;
    }
    return m_end > m_begin;
}

void CTextLineReader::Reserve(std::int64_t capacity) {
    if (capacity <= m_capacity) return;
    auto grown = std::make_unique_for_overwrite<char[]>(std::size_t(capacity));
    std::memcpy(grown.get(), m_buffer.get() + m_begin, std::size_t(m_end - m_begin));
    m_buffer = std::move(grown);
    m_end -= m_begin;
    m_begin = 0;
    m_capacity = capacity;
}

bool CTextLineReader::NextBlock(std::string_view& lines) {
    Reserve(kBlockBytes);
    if (!m_eof && (m_begin > 0 || m_end < m_capacity)) Fill();
    if (m_end == m_begin) return false;
    char* const start = m_buffer.get() + m_begin;
    std::int64_t length = m_end - m_begin;
    if (!m_eof) {
        // Up to the last line end; a buffer without one is a single cut line.
        if (auto const* end = static_cast<char const*>(::memrchr(start, '\n', std::size_t(length))))
            length = end + 1 - start;
    }
    lines = std::string_view(start, std::size_t(length));
    m_begin += length;
    m_consumed += length;
    return true;
}

bool CTextLineReader::NextLine(std::string_view& line) {
    static CQEL_Operation const op("QEL::Core::CTextLineReader::NextLine");
    for (;;) {
        char* const start = m_buffer.get() + m_begin;
        auto* const newline = static_cast<char*>(std::memchr(start, '\n', std::size_t(m_end - m_begin)));
        std::int64_t length = -1;
        std::int64_t consumed = 0;
        if (newline) {
            length = newline - start;
            consumed = length + 1;
        } else if (m_eof) {
            if (m_end == m_begin) return false;
            length = consumed = m_end - m_begin;  // the last line has no end
        } else if (m_end - m_begin >= kMaxLineBytes) {
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("Line %lld is longer than %lld bytes", (long long)m_line + 1,
                                             (long long)kMaxLineBytes));
        }
        if (length >= 0) {
            if (length > kMaxLineBytes)
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("Line %lld is longer than %lld bytes", (long long)m_line + 1,
                                                 (long long)kMaxLineBytes));
            if (length > 0 && start[length - 1] == '\r') --length;
            line = std::string_view(start, std::size_t(length));
            m_begin += consumed;
            m_consumed += consumed;
            ++m_line;
            return true;
        }
        Fill();
    }
}

}  // namespace QEL::Core

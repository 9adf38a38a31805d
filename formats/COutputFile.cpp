// SPDX-License-Identifier: MIT
#include "formats/COutputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

constexpr std::size_t kBufferBytes = 1 << 20;

CQEL_Operation const& WriteOp() {
    static CQEL_Operation const op("QEL::Core::COutputFile::Write");
    return op;
}

}  // namespace

COutputFile::COutputFile() = default;

COutputFile::~COutputFile() {
    if (m_fd >= 0) Discard();
}

bool COutputFile::Open(std::string const& path, bool append) {
    m_path = path;
    m_append = append;
    if (append) {
        m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        struct stat info {};
        if (m_fd >= 0 && (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode))) {
            ::close(m_fd);
            m_fd = -1;
        }
        m_originalSize = info.st_size;
    } else {
        struct stat info {};
        if (::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) return false;
        m_temporary = path + ".qeltmp." + std::to_string(::getpid());
        m_fd = ::open(m_temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    }
    if (m_fd < 0) return false;
    m_buffer = std::make_unique_for_overwrite<char[]>(kBufferBytes);
    m_used = 0;
    return true;
}

void COutputFile::Write(void const* data, std::size_t bytes) {
    if (m_used + bytes > kBufferBytes) Flush();
    if (bytes >= kBufferBytes) {
        // Large runs go straight through.
        auto const* from = static_cast<char const*>(data);
        while (bytes > 0) {
            ssize_t const written = ::write(m_fd, from, bytes);
            if (written < 0 && errno == EINTR) continue;
            if (written < 0)
                WriteOp().Throw(
                    QEL_FILE_WRITE_ERROR, "path",
                    CQEL_String::FromFormat("Cannot write %s: %s", m_path.c_str(), std::strerror(errno)));
            from += written;
            bytes -= std::size_t(written);
        }
        return;
    }
    std::memcpy(m_buffer.get() + m_used, data, bytes);
    m_used += bytes;
}

void COutputFile::WriteAt(std::int64_t offset, void const* data, std::size_t bytes) {
    Flush();
    auto const* from = static_cast<char const*>(data);
    for (std::size_t done = 0; done < bytes;) {
        ssize_t const written = ::pwrite(m_fd, from + done, bytes - done, off_t(offset + std::int64_t(done)));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0)
            WriteOp().Throw(QEL_FILE_WRITE_ERROR, "path",
                            CQEL_String::FromFormat("Cannot write %s: %s", m_path.c_str(),
                                                    std::strerror(written < 0 ? errno : ENOSPC)));
        done += std::size_t(written);
    }
}

void COutputFile::Flush() {
    std::size_t done = 0;
    while (done < m_used) {
        ssize_t const written = ::write(m_fd, m_buffer.get() + done, m_used - done);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0)
            WriteOp().Throw(
                QEL_FILE_WRITE_ERROR, "path",
                CQEL_String::FromFormat("Cannot write %s: %s", m_path.c_str(), std::strerror(errno)));
        done += std::size_t(written);
    }
    m_used = 0;
}

void COutputFile::Commit() {
    Flush();
    int const fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0 || (!m_append && std::rename(m_temporary.c_str(), m_path.c_str()) != 0)) {
        int const cause = errno;
        if (!m_append) ::unlink(m_temporary.c_str());
        WriteOp().Throw(QEL_FILE_WRITE_ERROR, "path",
                        CQEL_String::FromFormat("Cannot write %s: %s", m_path.c_str(), std::strerror(cause)));
    }
}

void COutputFile::Discard() {
    if (m_append) {
        if (::ftruncate(m_fd, m_originalSize) !=
            0) {  // nothing more can be done; the caller sees the failure
        }
    } else {
        ::unlink(m_temporary.c_str());
    }
    ::close(m_fd);
    m_fd = -1;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "platform/CMappedFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

namespace QEL::Core {

CMappedFile::~CMappedFile() {
    if (m_data) ::munmap(const_cast<unsigned char*>(m_data), std::size_t(m_size));
    Close();
}

int CMappedFile::Open(char const* path) {
    m_fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (m_fd < 0) return errno;
    struct stat info {};
    if (::fstat(m_fd, &info) != 0) {
        int const error = errno;
        Close();
        return error;
    }
    m_regular = S_ISREG(info.st_mode);
    m_size = m_regular ? info.st_size : 0;
    return 0;
}

bool CMappedFile::Map(bool populate) {
    if (m_data) return true;
    if (m_fd < 0 || !m_regular || m_size <= 0) return false;
    void* const mapped =
        ::mmap(nullptr, std::size_t(m_size), PROT_READ, MAP_PRIVATE | (populate ? MAP_POPULATE : 0), m_fd, 0);
    if (mapped == MAP_FAILED) return false;
    m_data = static_cast<unsigned char const*>(mapped);
    return true;
}

void CMappedFile::Close() noexcept {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = -1;
}

int CMappedFile::ReadAt(std::int64_t offset, void* to, std::int64_t bytes) const {
    auto* at = static_cast<unsigned char*>(to);
    for (std::int64_t got = 0; got < bytes;) {
        ssize_t const n = ::pread(m_fd, at + got, std::size_t(bytes - got), off_t(offset + got));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return errno;
        if (n == 0) return EIO;
        got += n;
    }
    return 0;
}

int CMappedFile::ReadNext(void* to, std::int64_t bytes, std::int64_t& got) const {
    for (;;) {
        ssize_t const n = ::read(m_fd, to, std::size_t(bytes));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            got = 0;
            return errno;
        }
        got = n;
        return 0;
    }
}

}  // namespace QEL::Core

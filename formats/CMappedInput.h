// SPDX-License-Identifier: MIT
// A whole input file in memory for the triangle readers (internal to the
// library): mapped where the system allows it (read in place, and by several
// threads at once, with no copy), else read into a buffer of the size the
// system reports. Only regular files open.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <memory>
#include <string_view>

namespace QEL::Core {

class CMappedInput {
  public:
    CMappedInput() = default;
    ~CMappedInput() {
        if (m_mapped) ::munmap(m_mapped, std::size_t(m_size));
        if (m_fd >= 0) ::close(m_fd);
    }
    CMappedInput(CMappedInput const&) = delete;
    CMappedInput& operator=(CMappedInput const&) = delete;

    // False when path cannot be opened for reading or is no regular file.
    bool Open(char const* path) {
        m_fd = ::open(path, O_RDONLY | O_CLOEXEC);
        if (m_fd < 0) return false;
        struct stat info {};
        if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) return false;
        m_size = info.st_size;
        return true;
    }
    std::int64_t Size() const { return m_size; }

    // Reads the first bytes (up to count) into to; returns how many. No map needed.
    std::int64_t ReadStart(void* to, std::int64_t count) const {
        std::int64_t got = 0;
        while (got < count) {
            ssize_t const n =
                ::pread(m_fd, static_cast<char*>(to) + got, std::size_t(count - got), off_t(got));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += n;
        }
        return got;
    }

    // The whole file; false on a read failure (or a file that shrank).
    bool Load() {
        if (m_size == 0) return true;
        void* const mapped =
            ::mmap(nullptr, std::size_t(m_size), PROT_READ, MAP_PRIVATE | MAP_POPULATE, m_fd, 0);
        if (mapped != MAP_FAILED) {
            m_mapped = mapped;
            m_data = static_cast<unsigned char const*>(mapped);
            return true;
        }
        m_buffer = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(m_size));
        if (ReadStart(m_buffer.get(), m_size) != m_size) return false;
        m_data = m_buffer.get();
        return true;
    }
    unsigned char const* Data() const { return m_data; }
    std::string_view Text() const { return {reinterpret_cast<char const*>(m_data), std::size_t(m_size)}; }

  private:
    int m_fd = -1;
    std::int64_t m_size = 0;
    void* m_mapped = nullptr;
    std::unique_ptr<unsigned char[]> m_buffer;
    unsigned char const* m_data = nullptr;
};

}  // namespace QEL::Core

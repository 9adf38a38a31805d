// SPDX-License-Identifier: MIT
#include "platform/CAtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace QEL::Core {

namespace {

// The process's file creation mask. umask() reads it only by setting it,
// which would race with other threads; Linux shows it in /proc instead.
mode_t CreationMask() {
    mode_t mask = 022;
    if (std::FILE* status = std::fopen("/proc/self/status", "re")) {
        char line[256];
        unsigned value = 0;
        while (std::fgets(line, sizeof line, status))
            if (std::sscanf(line, "Umask: %o", &value) == 1) {
                mask = mode_t(value);
                break;
            }
        std::fclose(status);
    }
    return mask;
}

std::string FolderOf(std::string const& path) {
    std::size_t const slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// After a rename, the folder holds the new name only once it is flushed too.
// Some file systems refuse to flush a folder; the rename is done regardless.
void FlushFolder(std::string const& path) {
    int const fd = ::open(FolderOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    (void)::fsync(fd);
    ::close(fd);
}

}  // namespace

CAtomicFile::~CAtomicFile() {
    Discard();
}

int CAtomicFile::Open(std::string const& path, bool append) {
    Discard();
    m_path = path;
    m_append = append;
    m_temporary.clear();
    struct stat info {};
    bool const exists = ::stat(path.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) return EINVAL;
    if (append) {
        m_fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
        if (m_fd < 0) return errno;
        if (::fstat(m_fd, &info) != 0 || !S_ISREG(info.st_mode)) {
            int const error = errno ? errno : EINVAL;
            ::close(m_fd);
            m_fd = -1;
            return error;
        }
        m_originalSize = info.st_size;
        m_end = m_originalSize;
        return 0;
    }
    std::vector<char> name(path.begin(), path.end());
    for (char const c : std::string_view(".qeltmp.XXXXXX"))
        name.push_back(c);
    name.push_back('\0');
    m_fd = ::mkostemp(name.data(), O_CLOEXEC);
    if (m_fd < 0) return errno;
    m_temporary = name.data();
    m_end = 0;
    // mkstemp makes the file private (0600): the new file gets the mode of the
    // one it replaces, or what creating it plainly would have given.
    (void)::fchmod(m_fd, exists ? (info.st_mode & 07777) : (0666 & ~CreationMask()));
    return 0;
}

int CAtomicFile::Write(void const* data, std::size_t bytes) {
    auto const* from = static_cast<char const*>(data);
    std::int64_t const start = m_end;
    std::size_t const total = bytes;
    while (bytes > 0) {
        ssize_t const written = ::write(m_fd, from, bytes);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        if (written == 0) return ENOSPC;
        from += written;
        bytes -= std::size_t(written);
        m_end += written;
    }
#if defined(SYNC_FILE_RANGE_WRITE)
    // Large blocks start on their way to the disk now, while the writer makes
    // the next ones, so that the fsync of Commit has little left to wait for.
    // Only a hint: Commit's fsync still decides durability.
    if (total >= kWritebackBytes)
        (void)::sync_file_range(m_fd, off_t(start), off_t(total), SYNC_FILE_RANGE_WRITE);
#else
    (void)start, (void)total;
#endif
    return 0;
}

int CAtomicFile::WriteAt(std::int64_t offset, void const* data, std::size_t bytes) {
    auto const* from = static_cast<char const*>(data);
    for (std::size_t done = 0; done < bytes;) {
        ssize_t const written = ::pwrite(m_fd, from + done, bytes - done, off_t(offset + std::int64_t(done)));
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        if (written == 0) return ENOSPC;
        done += std::size_t(written);
    }
    return 0;
}

int CAtomicFile::Commit() {
    if (m_fd < 0) return EBADF;
    // The data reach the disk before the name does: a crash after the rename
    // must not leave the target empty.
    if (::fsync(m_fd) != 0) return Fail(errno);
    int const fd = m_fd;
    m_fd = -1;
    if (::close(fd) != 0) {
        int const error = errno;
        if (!m_append) ::unlink(m_temporary.c_str());
        m_temporary.clear();
        return error;
    }
    if (m_append) return 0;
    if (::rename(m_temporary.c_str(), m_path.c_str()) != 0) {
        int const error = errno;
        ::unlink(m_temporary.c_str());
        m_temporary.clear();
        return error;
    }
    m_temporary.clear();
    FlushFolder(m_path);
    return 0;
}

void CAtomicFile::Discard() noexcept {
    if (m_fd < 0) return;
    if (m_append) {
        // Nothing more can be done if this fails; the caller reports the first failure.
        (void)::ftruncate(m_fd, off_t(m_originalSize));
    } else {
        ::unlink(m_temporary.c_str());
        m_temporary.clear();
    }
    ::close(m_fd);
    m_fd = -1;
}

int CAtomicFile::Fail(int error) noexcept {
    Discard();
    return error;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CMappedFile: a file opened for reading and, where the system allows it,
// mapped into memory read-only, so that readers take its bytes where they lie
// (internal to the library). A file that cannot be mapped (a pipe, say) is
// read through ReadAt or ReadNext instead.
//
// Each call returns 0 (or a count) on success and an errno value on failure;
// nothing throws. A mapping stays valid until the object is destroyed, even
// after Close; should another process cut the file short meanwhile, reading
// the lost pages faults (SIGBUS), which the fault translator turns into an
// exception on threads that translate faults.
#pragma once

#include <cstdint>

namespace QEL::Core {

class CMappedFile {
  public:
    CMappedFile() = default;
    ~CMappedFile();
    CMappedFile(CMappedFile const&) = delete;
    CMappedFile& operator=(CMappedFile const&) = delete;

    // Opens path for reading.
    int Open(char const* path);
    // Maps the whole file when it is a regular file of at least one byte;
    // false when it is not mapped. populate reads every page in now (one
    // pass of read-ahead instead of a fault per page later).
    bool Map(bool populate);
    // Closes the descriptor; a mapping stays.
    void Close() noexcept;

    bool IsRegular() const { return m_regular; }
    std::int64_t Size() const { return m_size; }
    // The mapped bytes, or null.
    unsigned char const* Data() const { return m_data; }

    // Reads bytes at offset; EIO when the file ends first.
    int ReadAt(std::int64_t offset, void* to, std::int64_t bytes) const;
    // Reads up to bytes at the file's own position into got (0 at the end).
    int ReadNext(void* to, std::int64_t bytes, std::int64_t& got) const;

  private:
    int m_fd = -1;
    bool m_regular = false;
    std::int64_t m_size = 0;
    unsigned char const* m_data = nullptr;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CAtomicFile: a file written so that its target holds either the old bytes
// or all the new ones, never a part (internal to the library).
//
// Replacing: a temporary file with a unique name (mkstemp) is made beside the
// target, written, flushed to the disk (fsync), renamed over the target, and
// the folder is flushed, so that the rename itself survives a crash.
// Appending: the target is opened for appending and cut back to its old
// length unless the writing is committed.
// Until Commit succeeds, whenever a call fails, and when an uncommitted file
// is destroyed, the target is left as it was and no temporary file remains.
//
// Each call returns 0 or the errno value of what failed; nothing throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace QEL::Core {

class CAtomicFile {
  public:
    CAtomicFile() = default;
    // Without Commit, discards what was written.
    ~CAtomicFile();
    CAtomicFile(CAtomicFile const&) = delete;
    CAtomicFile& operator=(CAtomicFile const&) = delete;

    // Opens for replacing or appending to path. A target that exists but is
    // not a regular file gives EINVAL (replacing it would lose, say, a device).
    int Open(std::string const& path, bool append);
    // Writes all bytes at the end (ENOSPC when the system takes none). A
    // block of kWritebackBytes or more is handed to the disk at once
    // (sync_file_range), without waiting for it.
    int Write(void const* data, std::size_t bytes);
    // Overwrites bytes at offset from the start of what this file wrote
    // (a header patched at the end); not for appending.
    int WriteAt(std::int64_t offset, void const* data, std::size_t bytes);
    // Makes the new contents the target's. On failure the target is as it was.
    int Commit();
    // Gives up: removes the temporary file, or cuts an appended file back.
    void Discard() noexcept;

    bool IsOpen() const { return m_fd >= 0; }
    // The temporary file's path while replacing (empty otherwise).
    std::string const& TemporaryPath() const { return m_temporary; }

    static constexpr std::size_t kWritebackBytes = std::size_t(1) << 20;

  private:
    int Fail(int error) noexcept;

    int m_fd = -1;
    bool m_append = false;
    std::string m_path;
    std::string m_temporary;
    std::int64_t m_originalSize = 0;
    std::int64_t m_end = 0;  // where Write puts its next byte
};

}  // namespace QEL::Core

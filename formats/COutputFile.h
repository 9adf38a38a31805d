// SPDX-License-Identifier: MIT
// A file being written by one of the point-format writers (internal to the
// library), buffered, that never destroys what it replaces: a new file is
// written beside the target and renamed over it by Commit; an appended file
// is cut back to its old length if the writing fails.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace QEL::Core {

class COutputFile {
  public:
    COutputFile();
    // Without Commit, discards what was written.
    ~COutputFile();
    COutputFile(COutputFile const&) = delete;
    COutputFile& operator=(COutputFile const&) = delete;

    // Opens for writing, truncating or appending; false when it cannot.
    bool Open(std::string const& path, bool append);
    // Buffered write; throws reason 24 when the file cannot take the bytes.
    void Write(void const* data, std::size_t bytes);
    void Write(std::string_view text) { Write(text.data(), text.size()); }
    // Overwrites bytes at offset from the start (a header patched at the
    // end), after what was written before; for files opened without append.
    // Throws reason 24 as Write does.
    void WriteAt(std::int64_t offset, void const* data, std::size_t bytes);
    // Flushes and closes; renames the new file over the target. Throws reason 24.
    void Commit();

  private:
    void Flush();
    void Discard();

    int m_fd = -1;
    bool m_append = false;
    std::string m_path;
    std::string m_temporary;
    std::int64_t m_originalSize = 0;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
};

}  // namespace QEL::Core

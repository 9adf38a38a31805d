// SPDX-License-Identifier: MIT
// A file being written by one of the library's writers (internal to the
// library), buffered, that never destroys what it replaces: a CAtomicFile
// underneath, whose failures are thrown as CQEL_Exception reason 24.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/CAtomicFile.h"

namespace QEL::Core {

class COutputFile {
  public:
    COutputFile();
    // Without Commit, discards what was written.
    ~COutputFile();
    COutputFile(COutputFile const&) = delete;
    COutputFile& operator=(COutputFile const&) = delete;

    // Opens for replacing or appending; false when it cannot, with errno saying why.
    bool Open(std::string const& path, bool append);
    // Buffered write; throws reason 24 when the file cannot take the bytes.
    void Write(void const* data, std::size_t bytes);
    void Write(std::string_view text) { Write(text.data(), text.size()); }
    // Overwrites bytes at offset from the start (a header patched at the
    // end), after what was written before; for files opened without append.
    // Throws reason 24 as Write does.
    void WriteAt(std::int64_t offset, void const* data, std::size_t bytes);
    // Flushes and makes the new contents the target's. Throws reason 24.
    void Commit();

  private:
    void Flush();
    // Throws reason 24 for error, having discarded what was written.
    [[noreturn]] void Fail(int error);

    CAtomicFile m_file;
    std::string m_path;
    std::unique_ptr<char[]> m_buffer;
    std::size_t m_used = 0;
};

}  // namespace QEL::Core

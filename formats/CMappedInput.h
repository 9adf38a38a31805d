// SPDX-License-Identifier: MIT
// A whole input file in memory for the triangle readers (internal to the
// library): mapped where the system allows it (read in place, and by several
// threads at once, with no copy), else read into a buffer of the size the
// system reports. Only regular files open.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string_view>

#include "platform/CMappedFile.h"

namespace QEL::Core {

class CMappedInput {
  public:
    // False when path cannot be opened for reading or is no regular file.
    bool Open(char const* path) { return m_file.Open(path) == 0 && m_file.IsRegular(); }
    std::int64_t Size() const { return m_file.Size(); }

    // Reads the first count bytes (at most the size) into to; false on a read failure.
    bool ReadStart(void* to, std::int64_t count) const {
        return m_file.ReadAt(0, to, std::min(count, Size())) == 0;
    }

    // The whole file; false on a read failure (or a file that shrank).
    bool Load() {
        if (Size() == 0) return true;
        if (m_file.Map(true)) {
            m_data = m_file.Data();
            return true;
        }
        m_buffer = std::make_unique_for_overwrite<unsigned char[]>(std::size_t(Size()));
        if (m_file.ReadAt(0, m_buffer.get(), Size()) != 0) return false;
        m_data = m_buffer.get();
        return true;
    }
    unsigned char const* Data() const { return m_data; }
    std::string_view Text() const { return {reinterpret_cast<char const*>(m_data), std::size_t(Size())}; }

  private:
    CMappedFile m_file;
    std::unique_ptr<unsigned char[]> m_buffer;
    unsigned char const* m_data = nullptr;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "formats/COutputFile.h"

#include <cerrno>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

constexpr std::size_t kBufferBytes = 1 << 20;

}  // namespace

COutputFile::COutputFile() = default;
COutputFile::~COutputFile() = default;

bool COutputFile::Open(std::string const& path, bool append) {
    m_path = path;
    if (int const error = m_file.Open(path, append)) {
        errno = error;
        return false;
    }
    m_buffer = std::make_unique_for_overwrite<char[]>(kBufferBytes);
    m_used = 0;
    return true;
}

void COutputFile::Write(void const* data, std::size_t bytes) {
    if (m_used + bytes > kBufferBytes) Flush();
    if (bytes >= kBufferBytes) {
        // Large runs go straight through.
        if (int const error = m_file.Write(data, bytes)) Fail(error);
        return;
    }
    std::memcpy(m_buffer.get() + m_used, data, bytes);
    m_used += bytes;
}

void COutputFile::WriteAt(std::int64_t offset, void const* data, std::size_t bytes) {
    Flush();
    if (int const error = m_file.WriteAt(offset, data, bytes)) Fail(error);
}

void COutputFile::Flush() {
    std::size_t const used = m_used;
    m_used = 0;
    if (used > 0)
        if (int const error = m_file.Write(m_buffer.get(), used)) Fail(error);
}

void COutputFile::Commit() {
    Flush();
    if (int const error = m_file.Commit()) Fail(error);
}

void COutputFile::Fail(int error) {
    static CQEL_Operation const op("QEL::Core::COutputFile::Write");
    m_file.Discard();
    op.Throw(QEL_FILE_WRITE_ERROR, "path",
             CQEL_String::FromFormat("Cannot write %s: %s", m_path.c_str(), std::strerror(error)));
}

}  // namespace QEL::Core

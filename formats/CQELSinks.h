// SPDX-License-Identifier: MIT
// Where a container export goes (internal to the library): a stream, or a
// file written beside its target.
#pragma once

#include <cstdint>

#include "core/CQEL_String.h"
#include "core/CQEL_Stream.h"
#include "formats/COutputFile.h"
#include "formats/QEL_ContainerLayout.h"

namespace QEL::Core {

class IQELSink {
  public:
    virtual ~IQELSink() = default;
    virtual void Append(unsigned char const* data, std::int64_t bytes) = 0;
    // Writes the finished header over the first bytes.
    virtual void PutHeader(QELLayout::Block const& header) = 0;
};

class CStreamSink final : public IQELSink {
  public:
    explicit CStreamSink(CQEL_Stream& stream) : m_stream(stream) { m_stream.Reset(); }
    void Append(unsigned char const* data, std::int64_t bytes) override { m_stream.Put(data, bytes); }
    void PutHeader(QELLayout::Block const& header) override {
        m_stream.SeekPutPosition(0);
        m_stream.Put(header.data(), CQELParser::kBlockBytes);
        m_stream.SeekPutPosition(m_stream.SizeInBytes());
    }

  private:
    CQEL_Stream& m_stream;
};

// A file written beside the target and renamed over it by Commit; until
// then, and whenever writing fails, the target stays as it was.
class CFileSink final : public IQELSink {
  public:
    // Throws QEL_INVALID_PATH for an empty path, QEL_FILE_WRITE_ERROR when the file cannot be made.
    explicit CFileSink(CQEL_String const& path);
    void Append(unsigned char const* data, std::int64_t bytes) override {
        m_file.Write(data, std::size_t(bytes));
    }
    void PutHeader(QELLayout::Block const& header) override {
        m_file.WriteAt(0, header.data(), header.size());
    }
    void Commit() { m_file.Commit(); }

  private:
    COutputFile m_file;
};

}  // namespace QEL::Core

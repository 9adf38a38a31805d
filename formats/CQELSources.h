// SPDX-License-Identifier: MIT
// Where a container import reads from (internal to the library): a stream,
// or a file mapped into memory.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>

#include "core/CQEL_String.h"
#include "core/CQEL_Stream.h"
#include "platform/CMappedFile.h"

namespace QEL::Core {

class IQELSource {
  public:
    using Visit = std::function<void(unsigned char const*, std::int64_t)>;
    virtual ~IQELSource() = default;
    virtual std::int64_t Size() const = 0;
    // Calls visit for the runs of the bytes in [offset, offset + bytes), which the caller has checked.
    virtual void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const = 0;
    // Makes stream a view of the bytes in [offset, offset + bytes), which
    // the caller has checked, without copying them.
    virtual void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const = 0;

    void Read(std::int64_t offset, void* to, std::int64_t bytes) const {
        auto* at = static_cast<unsigned char*>(to);
        ForEachRun(offset, bytes, [&](unsigned char const* run, std::int64_t n) {
            std::memcpy(at, run, std::size_t(n));
            at += n;
        });
    }
};

class CStreamSource final : public IQELSource {
  public:
    explicit CStreamSource(CQEL_Stream& stream) : m_stream(stream) {}
    std::int64_t Size() const override { return m_stream.SizeInBytes(); }
    void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const override {
        m_stream.ForEachRun(offset, offset + bytes, visit);
    }
    void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const override {
        stream.AttachView(m_stream, offset, bytes);
    }

  private:
    CQEL_Stream& m_stream;
};

// A file mapped read-only, so that records are read where they lie; a file
// that cannot be mapped (a pipe, say) is read into a stream instead.
class CFileSource final : public IQELSource {
  public:
    // Throws QEL_FILE_NOT_FOUND or QEL_FILE_READ_ERROR as Import reports them.
    explicit CFileSource(CQEL_String const& path);
    ~CFileSource() override;
    CFileSource(CFileSource const&) = delete;
    CFileSource& operator=(CFileSource const&) = delete;

    std::int64_t Size() const override { return m_map ? m_file.Size() : m_stream.SizeInBytes(); }
    void ForEachRun(std::int64_t offset, std::int64_t bytes, Visit const& visit) const override {
        if (!m_map) return m_stream.ForEachRun(offset, offset + bytes, visit);
        if (bytes > 0) visit(m_map + offset, bytes);
    }
    void AttachView(CQEL_Stream& stream, std::int64_t offset, std::int64_t bytes) const override {
        if (m_map)
            stream.AttachView(m_map + offset, bytes);
        else
            stream.AttachView(m_stream, offset, bytes);
    }

  private:
    CMappedFile m_file;
    unsigned char const* m_map = nullptr;  // m_file's bytes when it is mapped
    CQEL_Stream m_stream;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CExportData: what an entity hands the native container when it serialises
// itself: the names under which the record is indexed, two 32-bit values of
// the entity's choosing, and the record bytes.
//
// Records are usually a sequence of chunks: an 8-byte ASCII tag padded with
// spaces, a 32-bit little-endian byte count, and that many bytes (PutChunk).
#pragma once

#include <cstdint>

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "platform/CQEL_Stream.h"

namespace QEL::Core {

class QEL_API CExportData {
  public:
    CExportData();
    ~CExportData();
    CExportData(CExportData const&) = delete;
    CExportData& operator=(CExportData const&) = delete;

    // The class identifier under which readers look up the record's creator
    // (a GUID string such as "C23E1C5E-1C72-4e3f-A39C-64FFEE58A73A"). The
    // container stores at most 255 bytes of it.
    void SetClassIdentifier(CQEL_String const& identifier) { m_classIdentifier = identifier; }
    CQEL_String const& GetClassIdentifier() const { return m_classIdentifier; }
    // The entity's run-time class name ("class QEL::Core::CPointSet"); at most 255 bytes are stored.
    void SetClassName(CQEL_String const& name) { m_className = name; }
    CQEL_String const& GetClassName() const { return m_className; }
    // The record's type name ("QEL_PointSet"); at most 255 bytes are stored.
    void SetTypeName(CQEL_String const& name) { m_typeName = name; }
    CQEL_String const& GetTypeName() const { return m_typeName; }
    // Two values stored in the record's index block; their meaning belongs to the entity type.
    void SetIndexField1(std::int32_t value) { m_indexField1 = value; }
    std::int32_t GetIndexField1() const { return m_indexField1; }
    void SetIndexField2(std::int32_t value) { m_indexField2 = value; }
    std::int32_t GetIndexField2() const { return m_indexField2; }

    // The record bytes, written at the stream's put position.
    CQEL_Stream& GetStream() { return m_stream; }
    CQEL_Stream const& GetStream() const { return m_stream; }
    std::int64_t SizeInBytes() const { return m_stream.SizeInBytes(); }

    // Appends a chunk: tag (at most 8 characters, padded with spaces), the
    // byte count as 32 bits, then the bytes. A tag longer than 8 characters
    // throws reason 14 ("tag"); a count above 2^32 - 1 throws reason 24
    // (the record cannot hold it).
    void PutChunk(char const* tag, void const* data, std::int64_t bytes);
    // Appends only the tag and count, for a chunk whose bytes the caller
    // writes next with GetStream().Put.
    void PutChunkHeader(char const* tag, std::int64_t bytes);

  private:
    CQEL_String m_classIdentifier;
    CQEL_String m_className;
    CQEL_String m_typeName;
    std::int32_t m_indexField1 = 0;
    std::int32_t m_indexField2 = 0;
    CQEL_Stream m_stream;
};

}  // namespace QEL::Core

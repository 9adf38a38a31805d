// SPDX-License-Identifier: MIT
// CImportData: one record of the native container as the reader hands it to
// the creator of its class: the names and values of its index block and the
// plain (deciphered, digest-checked) record bytes.
#pragma once

#include <cstdint>

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "core/CQEL_Stream.h"

namespace QEL::Core {

// A chunk's tag and where its bytes lie in the record.
struct SQELChunk {
    char tag[9] = {};           // the 8 tag characters and a terminator
    std::int64_t position = 0;  // offset of the first byte after the count
    std::int64_t bytes = 0;     // the byte count

    // True when the tag equals text padded with spaces to 8 characters.
    QEL_API bool Is(char const* text) const;
};

class QEL_API CImportData {
  public:
    CImportData();
    ~CImportData();
    CImportData(CImportData const&) = delete;
    CImportData& operator=(CImportData const&) = delete;

    CQEL_String const& GetClassIdentifier() const { return m_classIdentifier; }
    CQEL_String const& GetClassName() const { return m_className; }
    CQEL_String const& GetTypeName() const { return m_typeName; }
    std::int32_t GetIndexField1() const { return m_indexField1; }
    std::int32_t GetIndexField2() const { return m_indexField2; }
    // Number of the owning object (0 for an entity stored at top level).
    std::int32_t GetOwner() const { return m_owner; }
    // Position of the record in the file's index (0-based), for messages.
    int GetRecordNumber() const { return m_recordNumber; }

    // The record bytes; the get position starts at 0.
    CQEL_Stream& GetStream() { return m_stream; }
    CQEL_Stream const& GetStream() const { return m_stream; }

    // Reads the next chunk header at the get position into chunk and leaves
    // the get position at the chunk's first byte. Returns false at the end of
    // the record. A header cut short, or a count running past the end of the
    // record, throws reason 23 with a message naming the record and chunk.
    bool NextChunk(SQELChunk& chunk);
    // Moves the get position past chunk's bytes.
    void SkipChunk(SQELChunk const& chunk);

    // Set by the container before the record is handed on.
    void SetIndex(CQEL_String const& classIdentifier, CQEL_String const& className,
                  CQEL_String const& typeName, std::int32_t field1, std::int32_t field2, std::int32_t owner,
                  int recordNumber);

  private:
    CQEL_String m_classIdentifier;
    CQEL_String m_className;
    CQEL_String m_typeName;
    std::int32_t m_indexField1 = 0;
    std::int32_t m_indexField2 = 0;
    std::int32_t m_owner = 0;
    int m_recordNumber = 0;
    CQEL_Stream m_stream;
};

}  // namespace QEL::Core

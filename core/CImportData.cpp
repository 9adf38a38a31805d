// SPDX-License-Identifier: MIT
#include "core/CImportData.h"

#include <cstring>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

bool SQELChunk::Is(char const* text) const {
    char padded[8];
    std::memset(padded, ' ', sizeof padded);
    std::memcpy(padded, text, std::min<std::size_t>(std::strlen(text), 8));
    return std::memcmp(padded, tag, 8) == 0;
}

CImportData::CImportData() = default;
CImportData::~CImportData() = default;

void CImportData::SetIndex(CQEL_String const& classIdentifier, CQEL_String const& className,
                           CQEL_String const& typeName, std::int32_t field1, std::int32_t field2,
                           std::int32_t owner, int recordNumber) {
    m_classIdentifier = classIdentifier;
    m_className = className;
    m_typeName = typeName;
    m_indexField1 = field1;
    m_indexField2 = field2;
    m_owner = owner;
    m_recordNumber = recordNumber;
}

bool CImportData::NextChunk(SQELChunk& chunk) {
    static CQEL_Operation const op("QEL::Core::CImportData::NextChunk");
    return op.Run([&] {
        std::int64_t const start = m_stream.TellGetPosition();
        std::int64_t const remaining = m_stream.RemainingBytes();
        if (remaining == 0) return false;
        if (remaining < 12)
            op.Throw(QEL_FILE_READ_ERROR, "chunk",
                     CQEL_String::FromFormat(
                         "Record %d (%s): chunk header at byte %lld is cut short (%lld of 12 "
                         "bytes)",
                         m_recordNumber, m_typeName.GetArray(), (long long)start, (long long)remaining));
        m_stream.Get(chunk.tag, 8);
        chunk.tag[8] = 0;
        chunk.bytes = m_stream.GetValue<std::uint32_t>();
        chunk.position = m_stream.TellGetPosition();
        if (chunk.bytes > m_stream.RemainingBytes()) {
            m_stream.SeekGetPosition(start);
            op.Throw(
                QEL_FILE_READ_ERROR, "chunk",
                CQEL_String::FromFormat("Record %d (%s): chunk \"%.8s\" at byte %lld claims %lld bytes but "
                                        "only %lld remain",
                                        m_recordNumber, m_typeName.GetArray(), chunk.tag, (long long)start,
                                        (long long)chunk.bytes, (long long)(remaining - 12)));
        }
        return true;
    });
}

void CImportData::SkipChunk(SQELChunk const& chunk) {
    m_stream.SeekGetPosition(chunk.position + chunk.bytes);
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "core/CExportData.h"

#include <cstring>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CExportData::CExportData() = default;
CExportData::~CExportData() = default;

void CExportData::PutChunkHeader(char const* tag, std::int64_t bytes) {
    static CQEL_Operation const op("QEL::Core::CExportData::PutChunkHeader");
    op.Run([&] {
        op.Check(tag != nullptr, QEL_NULL_PARAMETER, "tag", "Null Pointer");
        std::size_t const length = std::strlen(tag);
        op.Check(length > 0 && length <= 8, QEL_INVALID_PARAMETER, "tag",
                 "A chunk tag has one to eight characters");
        op.Check(bytes >= 0, QEL_PARAMETER_OUT_OF_RANGE, "bytes", "Parameter out of range");
        op.Check(bytes <= std::int64_t(UINT32_MAX), QEL_FILE_WRITE_ERROR, "bytes",
                 CQEL_String::FromFormat("Chunk \"%s\" of %lld bytes exceeds the 4 GiB a record can hold",
                                         tag, (long long)bytes)
                     .GetArray());
        char padded[8];
        std::memset(padded, ' ', sizeof padded);
        std::memcpy(padded, tag, length);
        m_stream.Put(padded, sizeof padded);
        m_stream.PutValue<std::uint32_t>(std::uint32_t(bytes));
    });
}

void CExportData::PutChunk(char const* tag, void const* data, std::int64_t bytes) {
    PutChunkHeader(tag, bytes);
    if (bytes > 0) m_stream.Put(data, bytes);
}

}  // namespace QEL::Core

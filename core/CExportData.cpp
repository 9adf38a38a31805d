// SPDX-License-Identifier: MIT
#include "core/CExportData.h"

#include <cxxabi.h>

#include <cstdlib>
#include <cstring>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CExportData::CExportData() = default;
CExportData::~CExportData() = default;

void CExportData::SetClassName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    m_className =
        CQEL_String::FromASCII("class ") + CQEL_String::FromASCII(status == 0 ? name.get() : type.name());
}

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

void CExportData::PutBorrowed(void const* data, std::int64_t elements, std::int64_t elementBytes,
                              std::int64_t stride) {
    static CQEL_Operation const op("QEL::Core::CExportData::PutBorrowed");
    op.Run([&] {
        op.Check(elements >= 0 && elementBytes > 0, QEL_PARAMETER_OUT_OF_RANGE, "elements",
                 "Parameter out of range");
        op.Check(stride >= elementBytes, QEL_INVALID_PARAMETER, "stride",
                 "Elements cannot overlap: the stride is below the element size");
        op.Check(data != nullptr || elements == 0, QEL_NULL_PARAMETER, "data", "Null Pointer");
        op.Check(m_stream.TellPutPosition() == m_stream.SizeInBytes(), QEL_INVALID_OPERATION, "data",
                 "Borrowed bytes are appended: the put position must stand at the end of the stream");
        if (elements == 0) return;
        m_borrowed.push_back({m_stream.SizeInBytes(), static_cast<unsigned char const*>(data), elements,
                              elementBytes, stride});
        m_borrowedBytes += elements * elementBytes;
    });
}

void CExportData::PutChunkBorrowed(char const* tag, void const* data, std::int64_t elements,
                                   std::int64_t elementBytes, std::int64_t stride) {
    PutChunkHeader(tag, elements * elementBytes);
    PutBorrowed(data, elements, elementBytes, stride);
}

}  // namespace QEL::Core

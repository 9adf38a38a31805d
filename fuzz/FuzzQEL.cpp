// SPDX-License-Identifier: MIT
// Fuzzes the native container reader: header, index, record bounds, digests,
// decipherment (with QEL_FUZZ_KEY) and the records of every registered type.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "FuzzTarget.h"
#include "FuzzBlob.h"
#include "qel.h"

using namespace QEL::Core;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bool const registered = [] {
        static CObjectCreator<QEL::Fuzz::CFuzzBlob> creator;
        CQELParser::RegisterObjectCreator(CQEL_String::FromASCII(QEL::Fuzz::CFuzzBlob::kClassIdentifier),
                                          &creator);
        return true;
    }();
    (void)registered;
#ifdef QEL_FUZZ_KEY
    CQEL_String const key = CQEL_String::FromASCII(QEL_FUZZ_KEY);
    // Key stretching costs time in proportion to the file's iteration count
    // (up to seconds); the reader's range check of that count is all there is
    // to cover above the seeds' count, so costly inputs are left out.
    if (size >= 300) {
        std::uint32_t iterations = 0;
        std::memcpy(&iterations, data + 296, 4);
        if (iterations > 20000) return 0;
    }
#else
    CQEL_String const key;
#endif
    CQEL_Stream stream;
    stream.Put(data, std::int64_t(size));
    QEL::Fuzz::ExpectOnlyQELExceptions([&] {
        CQELParser parser;
        parser.Import(stream, key);
        CQEL_Array<SQELRecordInfo> records;
        parser.Inspect(stream, key, records);
    });
    return 0;
}

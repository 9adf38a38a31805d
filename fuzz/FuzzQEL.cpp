// SPDX-License-Identifier: MIT
// Fuzzes the native container reader: header, index, record bounds, digests,
// decipherment (with QEL_FUZZ_KEY) and the records of every registered type.
#include <cstddef>
#include <cstdint>

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

// SPDX-License-Identifier: MIT
// Fuzzes one point-format reader, chosen by QEL_FUZZ_EXTENSION (".asc",
// ".dat", ".bin", ".cut", ".xyz" or ".pts"): the input becomes a file, read into a point set.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "FuzzTarget.h"
#include "qel.h"

using namespace QEL::Core;

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static std::string const path =
        "/tmp/qel_fuzz_" + std::to_string(::getpid()) + std::string(QEL_FUZZ_EXTENSION);
    static SPointFormat const* const format = FindPointFormat(CQEL_String::FromASCII(path.c_str()));
    if (!format) std::abort();
    if (std::FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    } else {
        return 0;
    }
    QEL::Fuzz::ExpectOnlyQELExceptions([&] {
        CPointSet set;
        format->read(CQEL_String::FromASCII(path.c_str()), &set);
        if (set.GetNumPts() > 0) (void)set.GetMax();
    });
    return 0;
}

// SPDX-License-Identifier: MIT
// A minimal host: links the installed library, uses its containers and
// catches its exceptions.
#include <qel.h>

#include <cstdio>

using namespace QEL::Core;

int main() {
    CQEL_Array<double> values;
    for (int i = 0; i < 10; ++i)
        values.PushBack(i * 0.5);
    std::printf("QEL %s: %d values, MD5 %s\n", QEL_VERSION_STRING, values.Count(),
                values.GetCRC().ToHex().c_str());
    try {
        values.Swap(-1, 0);
    } catch (CQEL_Exception const& e) {
        std::printf("caught reason %d: %s\n", int(e.GetExceptionReason()), e.what());
        return e.GetExceptionReason() == QEL_PARAMETER_OUT_OF_RANGE ? 0 : 1;
    }
    return 1;
}

// SPDX-License-Identifier: MIT
// The point set's record of the native container. The container (formats/)
// owns the record layout; until it is linked in, a point set cannot be
// written or read, and says so.
#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"

namespace QEL::Core {

bool CPointSet::Serialise(CExportData*) const {
    static CQEL_Operation const op("QEL::Core::CPointSet::Serialise");
    return op.Run([&]() -> bool {
        op.Throw(QEL_INVALID_OPERATION, "", "The native container is not part of this build");
    });
}

bool CPointSet::Deserialise(CImportData*) {
    static CQEL_Operation const op("QEL::Core::CPointSet::Deserialise");
    return op.Run([&]() -> bool {
        op.Throw(QEL_INVALID_OPERATION, "", "The native container is not part of this build");
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The triangulation's record of the native container. Until the record
// exists, both directions refuse clearly instead of writing or reading
// something that could not be read back.
#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

bool CTriangulation::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Serialise");
    return op.Run([&]() -> bool {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        op.Throw(QEL_UNSUPPORTED_FORMAT, "data", "The triangulation record is not available in this build");
    });
}

bool CTriangulation::Deserialise(CImportData* data) {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Deserialise");
    return op.Run([&]() -> bool {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        op.Throw(QEL_UNSUPPORTED_FORMAT, "data", "The triangulation record is not available in this build");
    });
}

}  // namespace QEL::Core

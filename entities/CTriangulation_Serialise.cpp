// SPDX-License-Identifier: MIT
// The triangulation's record of the native container: the entity names
// itself, the record layout lives in CTriangulation_QELParser.
#include <typeinfo>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"
#include "entities/CTriangulation_QELParser.h"

namespace QEL::Core {

bool CTriangulation::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Serialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetClassIdentifier(GetClassGUID());
        data->SetClassName(typeid(*this));
        CTriangulation_QELParser::Serialise(*this, data);
        return true;
    });
}

bool CTriangulation::Deserialise(CImportData* data) {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Deserialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        CTriangulation_QELParser::Deserialise(*this, data);
        return true;
    });
}

}  // namespace QEL::Core

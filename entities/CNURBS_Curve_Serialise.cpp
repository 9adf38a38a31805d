// SPDX-License-Identifier: MIT
// The NURBS curve's record of the native container: the entity names
// itself, the record layout lives in CNURBS_Curve_QELParser.
#include <typeinfo>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CNURBS_Curve_QELParser.h"

namespace QEL::Core {

bool CNURBS_Curve::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::Serialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetClassIdentifier(GetClassGUID());
        data->SetClassName(typeid(*this));
        CNURBS_Curve_QELParser::Serialise(*this, data);
        return true;
    });
}

bool CNURBS_Curve::Deserialise(CImportData* data) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::Deserialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        CNURBS_Curve_QELParser::Deserialise(*this, data);
        return true;
    });
}

}  // namespace QEL::Core

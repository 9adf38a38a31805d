// SPDX-License-Identifier: MIT
// The point set's record of the native container: the entity names itself,
// the record layout lives in CPointSet_QELParser.
#include <typeinfo>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_QELParser.h"

namespace QEL::Core {

bool CPointSet::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CPointSet::Serialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetClassIdentifier(GetClassGUID());
        data->SetClassName(typeid(*this));
        CPointSet_QELParser::Serialise(*this, data);
        return true;
    });
}

bool CPointSet::Deserialise(CImportData* data) {
    static CQEL_Operation const op("QEL::Core::CPointSet::Deserialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        CPointSet_QELParser::Deserialise(*this, data);
        return true;
    });
}

}  // namespace QEL::Core

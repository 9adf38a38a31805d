// SPDX-License-Identifier: MIT
// The NURBS curve's record of the native container: the entity names
// itself, the record layout lives in CNURBS_Curve_QELParser.
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CNURBS_Curve_QELParser.h"

namespace QEL::Core {

namespace {

// The run-time class name in the form files carry ("class QEL::Core::CNURBS_Curve").
CQEL_String RunTimeClassName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return CQEL_String::FromASCII("class ") + CQEL_String::FromASCII(status == 0 ? name.get() : type.name());
}

}  // namespace

bool CNURBS_Curve::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::Serialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetClassIdentifier(GetClassGUID());
        data->SetClassName(RunTimeClassName(typeid(*this)));
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

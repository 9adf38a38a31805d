// SPDX-License-Identifier: MIT
// The triangulation's record of the native container: the entity names
// itself, the record layout lives in CTriangulation_QELParser.
#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_Operation.h"
#include "entities/CTriangulation.h"
#include "entities/CTriangulation_QELParser.h"

namespace QEL::Core {

namespace {

// The run-time class name in the form files carry ("class QEL::Core::CTriangulation").
CQEL_String RunTimeClassName(std::type_info const& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    return CQEL_String::FromASCII("class ") + CQEL_String::FromASCII(status == 0 ? name.get() : type.name());
}

}  // namespace

bool CTriangulation::Serialise(CExportData* data) const {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Serialise");
    return op.Run([&] {
        op.Check(data != nullptr, QEL_NULL_PARAMETER, "data", "Null Pointer");
        data->SetClassIdentifier(GetClassGUID());
        data->SetClassName(RunTimeClassName(typeid(*this)));
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

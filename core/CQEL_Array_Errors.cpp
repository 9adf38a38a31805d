// SPDX-License-Identifier: MIT
#include "core/CQEL_Array_Errors.h"

#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"

namespace QEL::Core::Detail {

namespace {
CQEL_String Location(SContainerSite const& site) {
    CQEL_String const name =
        CQEL_String::FromFormat("QEL::Core::%s<%.*s>::%s", site.container, int(site.typeName.size()),
                                site.typeName.data(), site.operation);
    return GetQELExceptionLocation(name.GetArray(), site.line);
}
}  // namespace

void ThrowContainerError(SContainerSite const& site, EQELExceptionReason reason) {
    throw CQEL_Exception(reason, Location(site));
}

void ThrowContainerError(SContainerSite const& site, EQELExceptionReason reason, char const* paramName,
                         char const* message) {
    throw CQEL_Exception(reason, CQEL_String::FromASCII(paramName), CQEL_String::FromASCII(message),
                         Location(site));
}

void ArrayDebugOut(int count) {
    CQEL_Output_Events::Debug(CQEL_String::FromFormat("Number of elements in array: %d", count));
}

}  // namespace QEL::Core::Detail

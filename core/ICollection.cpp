// SPDX-License-Identifier: MIT
#include "core/ICollection.h"

#include "core/CDataManager.h"

namespace QEL::Core {

// Out of line, so that the interface's type information has one home in the
// library and element copies between collections made in the library and in a
// host recognise each other.
ICollection::~ICollection() = default;

void ICollection::ForgetAppendSlots(CDataManager* manager) {
    if (manager) manager->ForgetAppendPlan();
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "core/ICollection.h"

namespace QEL::Core {

// Out of line, so that the interface's type information has one home in the
// library and element copies between collections made in the library and in a
// host recognise each other.
ICollection::~ICollection() = default;

}  // namespace QEL::Core

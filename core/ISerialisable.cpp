// SPDX-License-Identifier: MIT
#include "core/ISerialisable.h"

namespace QEL::Core {

// Out of line, so that the interface's type information lives in the library.
ISerialisable::~ISerialisable() = default;

}  // namespace QEL::Core

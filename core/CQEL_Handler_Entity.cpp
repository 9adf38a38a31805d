// SPDX-License-Identifier: MIT
#include "core/CQEL_Handler_Entity.h"

namespace QEL::Core {

// Out of line so that the class's vtable and type information live in the library.
CQEL_Handler_Entity::~CQEL_Handler_Entity() = default;

}  // namespace QEL::Core

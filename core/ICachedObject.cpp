// SPDX-License-Identifier: MIT
#include "core/ICachedObject.h"

#include "core/CCache_Flag.h"

namespace QEL::Core {

ICachedObject::~ICachedObject() {
    // Last registered first; each unregistration removes its entry.
    while (!m_flags.IsEmpty()) {
        CCache_Flag* const flag = m_flags.Back();
        if (!flag->UnregisterObject(this)) m_flags.PopBack(1);
    }
}

ICachedObject::ICachedObject(ICachedObject const&) : CQEL_Handler_Entity() {}

ICachedObject& ICachedObject::operator=(ICachedObject const&) {
    return *this;
}

void ICachedObject::Destroy(CCache_Flag const&) {}

void ICachedObject::FlagDestroyed(CCache_Flag& flag) {
    ForgetFlag(&flag);
    Destroy(flag);
}

void ICachedObject::ForgetFlag(CCache_Flag const* flag) {
    for (int i = m_flags.Count() - 1; i >= 0; --i)
        if (m_flags[i] == flag) {
            m_flags.Remove(i, 1);
            return;
        }
}

}  // namespace QEL::Core

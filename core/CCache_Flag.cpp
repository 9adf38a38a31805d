// SPDX-License-Identifier: MIT
#include "core/CCache_Flag.h"

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CCache_Flag::CCache_Flag()
    : m_modified(false),
      m_raising(false),
      m_invalidation(CQEL_String::FromASCII("CCache_Flag::Invalidated")),
      m_destruction(CQEL_String::FromASCII("CCache_Flag::Destroyed")) {}

CCache_Flag::~CCache_Flag() {
    // Subscribers drop this flag from their lists in their handlers; the
    // handlers themselves go with the events. The flags this one listens to
    // are left by the ICachedObject part.
    try {
        m_destruction.NotifyAll(*this, *this);
    } catch (...) {
        // A destructor cannot report; the registrations still end with the events.
    }
}

bool CCache_Flag::Validate() {
    if (!m_modified) return false;
    FlagInvalid();
    m_modified = false;
    return true;
}

void CCache_Flag::FlagInvalid() {
    if (m_raising) return;  // a cycle of chained flags came back here
    m_raising = true;
    try {
        m_invalidation.NotifyAll(*this, *this);
    } catch (...) {
        m_raising = false;
        throw;
    }
    m_raising = false;
}

void CCache_Flag::Reset() {
    FlagInvalid();
    m_modified = false;
}

bool CCache_Flag::RegisterObject(ICachedObject* object) {
    static CQEL_Operation const op("QEL::Core::CCache_Flag::RegisterObject");
    return op.Run([&] {
        op.Check(object != nullptr, QEL_NULL_PARAMETER, "pObject", "Cached object is null");
        op.Check(object != this, QEL_INVALID_PARAMETER, "pObject", "A cache flag cannot depend on itself");
        if (!m_invalidation.Register(object, &ICachedObject::InvalidateCache)) return false;
        try {
            m_destruction.Register(object, &ICachedObject::FlagDestroyed);
            object->m_flags.PushBack(this);
        } catch (...) {
            m_invalidation.Unregister(object, &ICachedObject::InvalidateCache);
            m_destruction.Unregister(object, &ICachedObject::FlagDestroyed);
            throw;
        }
        return true;
    });
}

bool CCache_Flag::UnregisterObject(ICachedObject* object) {
    if (!object) return false;
    bool const found = m_invalidation.Unregister(object, &ICachedObject::InvalidateCache);
    m_destruction.Unregister(object, &ICachedObject::FlagDestroyed);
    if (found) object->ForgetFlag(this);
    return found;
}

void CCache_Flag::InvalidateCache(CCache_Flag&) {
    FlagInvalid();
}

void CCache_Flag::Destroy(CCache_Flag const&) {}

}  // namespace QEL::Core

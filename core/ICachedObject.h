// SPDX-License-Identifier: MIT
// ICachedObject: something that holds data derived from an entity's data (a
// bounding box, computed normals) and must discard it when that data changes.
//
// A cached object is registered on one or more cache flags
// (CCache_Flag::RegisterObject). When a flag finds, on Validate(), that its
// data was modified, it calls InvalidateCache on every registered object; the
// object discards what it holds and recomputes it on its next use. When a flag
// is destroyed, it calls Destroy on every registered object, which then lets
// go of it.
//
// The object keeps the list of flags it is registered on, and its destructor
// unregisters it from all of them, so a cached object may die before its flags.
// A copy of a cached object is registered nowhere.
#pragma once

#include "core/CQEL_Array.h"
#include "core/CQEL_Handler_Entity.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CCache_Flag;

class QEL_API ICachedObject : public virtual CQEL_Handler_Entity {
  public:
    // Unregisters from every flag the object is still registered on.
    ~ICachedObject() override;

    // The data behind flag changed: discard what was derived from it.
    virtual void InvalidateCache(CCache_Flag& flag) = 0;
    // flag is being destroyed; the registration is already gone. Nothing by default.
    virtual void Destroy(CCache_Flag const& flag);

    // The flags the object is registered on, in registration order.
    int GetNumFlags() const { return m_flags.Count(); }
    CCache_Flag* GetFlag(int index) const { return m_flags[index]; }

  protected:
    ICachedObject() = default;
    ICachedObject(ICachedObject const&);
    ICachedObject& operator=(ICachedObject const&);

  private:
    friend class CCache_Flag;
    // Handler of a flag's destruction event.
    void FlagDestroyed(CCache_Flag& flag);
    void ForgetFlag(CCache_Flag const* flag);

    CQEL_Array<CCache_Flag*> m_flags;
};

}  // namespace QEL::Core

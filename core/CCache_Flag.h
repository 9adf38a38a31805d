// SPDX-License-Identifier: MIT
// CCache_Flag: lazy invalidation of data derived from an entity's data.
//
// An entity hands GetFlag() to its collections (SetDataModifiedFlag), which
// set it on every change; setting it costs one store and does nothing else.
// Cached objects (ICachedObject) register on the flag. Whoever needs derived
// data first calls Validate(): if the data changed since the last validation,
// the invalidation event tells every registered object to discard what it
// holds (they recompute on their next use), and the flag is cleared.
//
// Events: the invalidation event and the destruction event are
// CQEL_Event<CCache_Flag, CCache_Flag&>, raised with this flag as sender and
// argument. RegisterObject subscribes an object to both; the destructor raises
// the destruction event, so that registered objects let go of the flag.
//
// Chaining: a flag is itself a cached object. Registered on another flag, it
// passes every invalidation of that flag on to its own objects at once
// (InvalidateCache calls FlagInvalid), so one entity flag can stand for several
// sources. Cycles are cut: a flag already raising its event ignores a second
// invalidation that its own handlers cause.
//
// A flag is not copyable: subscriptions belong to one flag. Flags, like the
// entities that own them, are used from one thread at a time.
#pragma once

#include "core/CQEL_Event.h"
#include "core/ICachedObject.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CCache_Flag : public ICachedObject {
  public:
    using Event = CQEL_Event<CCache_Flag, CCache_Flag&>;

    // The modified flag starts cleared.
    CCache_Flag();
    // Raises the destruction event, then leaves the flags this one is registered on.
    ~CCache_Flag() override;
    CCache_Flag(CCache_Flag const&) = delete;
    CCache_Flag& operator=(CCache_Flag const&) = delete;

    // Sets the modified flag; nothing else.
    void SetModified() noexcept { m_modified = true; }
    bool IsModified() const noexcept { return m_modified; }
    // If the flag is set: FlagInvalid(), then clears the flag and returns true.
    // Otherwise returns false. If a handler throws, the flag stays set and the
    // exception propagates (the next Validate tries again).
    bool Validate();
    // Raises the invalidation event: every registered object discards its data.
    virtual void FlagInvalid();
    // FlagInvalid(), then clears the flag.
    void Reset();
    // The modified flag itself, for a collection's SetDataModifiedFlag. Valid
    // as long as the flag lives.
    bool* GetFlag() noexcept { return &m_modified; }

    // Subscribes object to the invalidation and destruction events. Returns
    // false if it was registered already. A null object throws reason 0
    // ("pObject"); the flag itself throws reason 14 ("pObject").
    bool RegisterObject(ICachedObject* object);
    // Unsubscribes object; returns whether it was registered.
    bool UnregisterObject(ICachedObject* object);
    // Number of registered objects.
    int GetNumObjects() const { return m_invalidation.GetHandlerCount(); }

    Event& GetInvalidationEvent() { return m_invalidation; }
    Event& GetDestructionEvent() { return m_destruction; }

    // As a cached object registered on source: source's data changed, so this
    // flag's objects are invalid too.
    void InvalidateCache(CCache_Flag& source) override;
    // Handler of the destruction event of a flag this one is registered on.
    void Destroy(CCache_Flag const& source) override;

  private:
    bool m_modified;
    bool m_raising;
    Event m_invalidation;
    Event m_destruction;
};

}  // namespace QEL::Core

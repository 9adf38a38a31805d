// SPDX-License-Identifier: MIT
// CCollection_CachedData<T>: a per-element collection of derived data (the
// normals or centres of a triangulation's triangles) that is recomputed on
// demand.
//
// The collection takes part in its data manager's lockstep like any other, so
// it always holds one element per entity element; but its values are computed,
// not stored by callers. A derived class supplies the computation:
//
//     class CTrisNms : public CCollection_CachedData<CVector3<double>> {
//         void Recompute(std::span<CVector3<double>> normals) override { ...one per triangle... }
//     };
//
// and the entity makes it depend on the cache flags of the data it is derived
// from (DependOn(vertexFlag), DependOn(triangleFlag)).
//
// Validity. The values are valid after a recomputation until one of these:
//  - a flag it depends on reports a change (the flag's invalidation event);
//  - the manager changes the collection's structure (any change of size or
//    order, element copies, activation): new or moved elements hold defaults
//    or stale values;
//  - Invalidate() by hand.
// Every read through this class (Refresh, GetAsArray, Get, operator[],
// GetAll) first validates the flags it depends on (CCache_Flag::Validate, so
// pending changes raise their invalidation events) and recomputes all
// elements if the values are not valid. Recomputation is whole: one call of
// Recompute over all elements. If Recompute throws, the values stay invalid
// and the exception propagates.
//
// These readers are non-const, because reading may recompute. The const reads
// of CCollection<T>, reached through a base reference, return the values as
// they are, possibly stale.
#pragma once

#include <span>

#include "core/CCache_Flag.h"
#include "core/CCollection.h"
#include "core/ICachedObject.h"

namespace QEL::Core {

template <class T>
class CCollection_CachedData : public CCollection<T>, public ICachedObject {
  public:
    // As CCollection<T>: couples to pDataManager, allocated in step when active.
    // The values start invalid.
    CCollection_CachedData(CDataManager* pDataManager, bool active) : CCollection<T>(pDataManager, active) {}

    // Makes the values depend on the data behind flag (registers on it).
    // Returns false if they depended on it already.
    bool DependOn(CCache_Flag& flag) {
        m_valid = false;
        return flag.RegisterObject(this);
    }
    // Ends that dependency; returns whether there was one.
    bool StopDependingOn(CCache_Flag& flag) { return flag.UnregisterObject(this); }

    bool IsValid() const { return m_valid; }
    // Marks the values invalid: the next read recomputes them.
    void Invalidate() { m_valid = false; }

    // Validates the flags depended on and recomputes the values if needed.
    void Refresh() {
        // Validate may raise events whose handlers change the registrations:
        // walk a copy.
        CQEL_Array<CCache_Flag*> flags;
        for (int i = 0; i < GetNumFlags(); ++i)
            flags.PushBack(GetFlag(i));
        for (CCache_Flag* flag : flags)
            flag->Validate();
        if (m_valid) return;
        if (this->Count() > 0) Recompute(std::span<T>(this->Elements(), std::size_t(this->Count())));
        m_valid = true;
    }

    CQEL_Array<T> const& GetAsArray() {
        Refresh();
        return CCollection<T>::GetAsArray();
    }
    std::span<T const> GetAll() {
        Refresh();
        return CCollection<T>::GetAll();
    }
    T const& Get(int i) {
        Refresh();
        return CCollection<T>::Get(i);
    }
    T const& operator[](int i) {
        Refresh();
        return CCollection<T>::operator[](i);
    }

  protected:
    // Computes every value from the entity's data; values holds Count() elements.
    virtual void Recompute(std::span<T> values) = 0;

    void InvalidateCache(CCache_Flag&) override { m_valid = false; }

    void CheckSpace(int n) override {
        if (n != this->Count()) m_valid = false;
        CCollection<T>::CheckSpace(n);
    }
    void Insert(int index) override {
        m_valid = false;
        CCollection<T>::Insert(index);
    }
    void Remove(int index) override {
        m_valid = false;
        CCollection<T>::Remove(index);
    }
    void Reverse() override {
        m_valid = false;
        CCollection<T>::Reverse();
    }
    void Reset() override {
        m_valid = false;
        CCollection<T>::Reset();
    }
    void CopyElement(int to, int from) override {
        m_valid = false;
        CCollection<T>::CopyElement(to, from);
    }
    void CopyElement(int to, int from, ICollection const* source) override {
        m_valid = false;
        CCollection<T>::CopyElement(to, from, source);
    }
    void Copy(ICollection const* source) override {
        m_valid = false;
        CCollection<T>::Copy(source);
    }
    void AllocateExplicit(int count, int allocate, int offset) override {
        m_valid = false;
        CCollection<T>::AllocateExplicit(count, allocate, offset);
    }

  private:
    bool m_valid = false;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CCollection_Internal_InBuilt<T>: an internal collection whose elements can
// also be changed in place, out of the collection's sight.
//
// Two cases are covered:
//  - Updatable elements, which carry a pointer to a modified flag themselves
//    (any T with a member AttachToFlag(bool*), such as the updatable points and
//    the triangulation's vertices, half-edges and triangles): the collection
//    attaches every element to its data-modified flag, so that an element's
//    own mutating operations (a Transform, a SetVertex) set the collection's
//    flag. Elements are attached when they are created by the data manager's
//    growth or activation, when they receive a copy from elsewhere, and all of
//    them when the flag changes.
//  - Bulk changes through pointers that the collection never sees: the owner
//    calls SetModified() afterwards.
// For other element types the collection behaves as CCollection_Internal<T>.
//
// Attaching is a plain (non-virtual) call per created element, made only for
// the elements that an operation creates or copies.
#pragma once

#include "core/CCollection_Internal.h"

namespace QEL::Core {

// An element type that carries a pointer to a modified flag.
template <class T>
concept CQEL_FlagAttachable = requires(T& element, bool* flag) {
    element.AttachToFlag(flag);
};

template <class T>
class CCollection_Internal_InBuilt : public CCollection_Internal<T> {
  public:
    // As CCollection<T>: couples to pDataManager, allocated in step when active.
    CCollection_Internal_InBuilt(CDataManager* pDataManager, bool active)
        : CCollection_Internal<T>(pDataManager, active) {}

    // Raises the data-modified flag by hand (after changes made in place).
    void SetModified() noexcept { this->MarkDataModified(); }

  protected:
    void DataModifiedFlagChanged() override { Attach(0, this->Count()); }

    void CheckSpace(int n) override {
        int const old = this->Count();
        CCollection_Internal<T>::CheckSpace(n);
        Attach(old, n - old);
    }
    void Insert(int index) override {
        CCollection_Internal<T>::Insert(index);
        Attach(index, 1);
    }
    void CopyElement(int to, int from) override {
        CCollection_Internal<T>::CopyElement(to, from);
        Attach(to, 1);
    }
    void CopyElement(int to, int from, ICollection const* source) override {
        CCollection_Internal<T>::CopyElement(to, from, source);
        Attach(to, 1);
    }
    void Copy(ICollection const* source) override {
        CCollection_Internal<T>::Copy(source);
        Attach(0, this->Count());
    }
    void AllocateExplicit(int count, int allocate, int offset) override {
        CCollection_Internal<T>::AllocateExplicit(count, allocate, offset);
        Attach(0, count);
    }

  private:
    void Attach(int first, int n) {
        if constexpr (CQEL_FlagAttachable<T>) {
            T* const elements = this->Elements();
            for (int i = first; i < first + n; ++i)
                elements[i].AttachToFlag(this->m_pDataModified);
        } else {
            (void)first;
            (void)n;
        }
    }
};

}  // namespace QEL::Core

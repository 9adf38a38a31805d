// SPDX-License-Identifier: MIT
// CCollection_Internal_InBuilt<T>: an internal collection whose elements can
// also be changed in place, out of the collection's sight.
//
// Writes through the collection (Set, Edit, EditAll) raise the data-modified
// flag as in CCollection_Internal. What this variant adds covers changes made
// later through references or spans kept from those calls:
//  - Elements that carry a pointer to a modified flag (any T with a member
//    AttachToFlag(bool*), such as the triangulation's vertices, half-edges and
//    triangles): the collection attaches every element to its data-modified
//    flag, so that an element's own mutating operations (a SetVertex) set the
//    collection's flag directly. Elements are attached when the data manager's
//    growth, insertion or activation creates them, when they receive a copy
//    from elsewhere, and all of them when the flag is replaced.
//  - Elements that mark themselves (any T with IsModified() and
//    ClearModified(), such as the updatable points and vectors, whose
//    Transform and setters mark them): CollectElementChanges() gathers those
//    marks into the collection's flag. It is a sweep over the elements, made
//    on demand, typically right before the owner validates its cache flag.
//  - Anything else changed in place: the owner calls SetModified().
//
// Attaching is a plain (non-virtual) call per created element, made only for
// the elements that an operation creates or copies.
#pragma once

#include <concepts>
#include <span>
#include <typeinfo>

#include "core/CCollection_Internal.h"

namespace QEL::Core {

// An element type that carries a pointer to a modified flag.
template <class T>
concept CQEL_FlagAttachable = requires(T& element, bool* flag) {
    element.AttachToFlag(flag);
};

// An element type that marks itself modified.
template <class T>
concept CQEL_SelfMarking = requires(T& element, T const& constElement) {
    { constElement.IsModified() } -> std::convertible_to<bool>;
    element.ClearModified();
};

template <class T>
class CCollection_Internal_InBuilt : public CCollection_Internal<T> {
  public:
    // As CCollection<T>: couples to pDataManager, allocated in step when active.
    CCollection_Internal_InBuilt(CDataManager* pDataManager, bool active)
        : CCollection_Internal<T>(pDataManager, active) {}

    // Raises the data-modified flag by hand (after changes made in place).
    void SetModified() noexcept { this->MarkDataModified(); }

    // For self-marking elements: if any element marked itself modified since
    // the last call, clears the marks, raises the data-modified flag and
    // returns true. Always false for other element types. Cost: one pass over
    // the elements.
    bool CollectElementChanges() noexcept {
        if constexpr (CQEL_SelfMarking<T>) {
            bool any = false;
            for (T& element : std::span<T>(this->Elements(), std::size_t(this->Count())))
                if (element.IsModified()) {
                    element.ClearModified();
                    any = true;
                }
            if (any) this->MarkDataModified();
            return any;
        } else {
            return false;
        }
    }

  protected:
    void DataModifiedFlagChanged() override { Attach(0, this->Count()); }

    // As for CCollection, only for this very class, and not for elements that
    // need a call to be attached to the flag.
    bool GetAppendSlot(ICollection::SAppendSlot& slot) override {
        if constexpr (CQEL_FlagAttachable<T>) {
            (void)slot;
            return false;
        } else {
            return typeid(*this) == typeid(CCollection_Internal_InBuilt) && this->DescribeAppend(slot);
        }
    }
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

// SPDX-License-Identifier: MIT
// ICollection: one per-element array of an entity, as the data manager sees it.
//
// A collection is coupled to one CDataManager, which keeps every active
// collection in lockstep: all hold the same number of elements in allocations
// of the same size with the same front slack, so they grow, shrink and shift at
// the same moments. The structural operations are therefore protected: only
// the data manager applies them, to all active collections at once. Callers
// change the number of elements through the manager, never through one
// collection.
//
// The typed implementation is CCollection<T> (core/CCollection.h).
#pragma once

#include <cstdint>

#include "core/QEL_Export.h"

namespace QEL::Core {

class CDataManager;

class QEL_API ICollection {
  public:
    virtual ~ICollection();

    // Activates the collection (it is then allocated in step with its data
    // manager and holds GetNumElements() elements) or deactivates it (its
    // storage is released). Setting the present state again does nothing.
    // Throws reason 30 if the collection is no longer coupled to its manager.
    virtual void SetActive(bool active) = 0;
    virtual bool IsActive() const = 0;
    // Number of elements held (0 for an inactive collection).
    virtual int Count() const = 0;
    // As CQEL_Array::RequiresAllocation: whether holding n elements would
    // reallocate the storage.
    virtual bool RequiresAllocation(int n) const = 0;

  protected:
    ICollection() = default;
    ICollection(ICollection const&) = default;
    ICollection& operator=(ICollection const&) = default;

    // --- structural operations, applied by the data manager to every active
    // collection in turn. Indices are checked by the manager before any
    // collection changes; the collections check them again and throw their
    // own CQEL_Exception rather than touch memory outside their elements.

    // Makes the count n: default elements are added at the back, or elements
    // removed from the back (as CQEL_Array::CheckSpace).
    virtual void CheckSpace(int n) = 0;
    // Inserts one default element at index (0 <= index <= Count()).
    virtual void Insert(int index) = 0;
    // Removes the element at index (0 <= index < Count()).
    virtual void Remove(int index) = 0;
    virtual void Reverse() = 0;
    // Destroys the elements and releases the storage.
    virtual void Reset() = 0;
    // Moves the elements into storage of exactly Count() slots.
    virtual void Compact() = 0;
    // As CQEL_Array::PreAllocate.
    virtual void PreAllocate(int n) = 0;
    // Assigns element from to element to, within this collection.
    virtual void CopyElement(int to, int from) = 0;
    // Assigns element from of source to element to of this collection; source
    // must hold the same element type (IsSameKind).
    virtual void CopyElement(int to, int from, ICollection const* source) = 0;
    // Makes this collection a copy of source's elements (CheckSpace to source's
    // count, then assignment); source must hold the same element type.
    virtual void Copy(ICollection const* source) = 0;
    // As CQEL_Array::AllocateExplicit: count default elements in exactly
    // allocate slots, the first one offset slots in. If the allocation fails
    // the collection is left empty, holding no storage.
    virtual void AllocateExplicit(int count, int allocate, int offset) = 0;

    virtual int GetNumAllocated() const = 0;
    virtual int GetMemoryOffset() const = 0;
    // Heap memory held for the elements, in bytes.
    virtual std::int64_t GetApproxSize() const = 0;

    // Whether other holds elements of the same type, so that elements can be
    // copied from it.
    virtual bool IsSameKind(ICollection const* other) const = 0;
    // Called by a data manager that is being destroyed: a collection coupled to
    // it forgets it (and from then on belongs to no manager).
    virtual void DataManagerDestroyed(CDataManager const* manager) = 0;

    // --- appending in place -------------------------------------------------------
    // Appending one element is what fill loops do, element by element. A
    // collection for which that only means copying its fill value into back
    // slack, raising its count and setting its flags describes how, and the
    // manager then appends to every such collection itself, without a call
    // per collection (CDataManager::CheckSpace).

  public:
    struct SAppendSlot {
        void const* elementsField;  // where the collection keeps its pointer to element 0 (a T*)
        unsigned char* elements;    // that pointer, as the manager last read it
        int* count;                 // the count to raise
        bool* flags[2];             // flags to set (null: none)
        int room;                   // elements that fit from element 0 on
        std::uint32_t size;         // bytes per element, at most sizeof(fill)
        alignas(16) unsigned char fill[32];
    };

  protected:
    // Describes the collection in slot and returns true, or returns false when
    // appending needs more than the above. Apart from its room, the
    // description holds across structural operations (it points to where the
    // collection keeps its element pointer and count) until the fill value or
    // the flags change; a collection whose fill value or flags change calls
    // ForgetAppendSlots.
    virtual bool GetAppendSlot(SAppendSlot& slot) {
        (void)slot;
        return false;
    }
    static void ForgetAppendSlots(CDataManager* manager);

    friend class CDataManager;
};

}  // namespace QEL::Core

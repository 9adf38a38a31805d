// SPDX-License-Identifier: MIT
// CDataManager: keeps the per-element arrays of an entity in lockstep.
//
// An entity (a point-set section, a triangulation's vertex or triangle group)
// keeps its per-element data as parallel arrays, one collection per attribute,
// all indexed by the same element number. The collections couple themselves to
// the entity's data manager on construction (at most 32, each identified by its
// position in coupling order, which is its bit in the active mask); the entity
// activates the ones it needs, and changes the number of elements only through
// the manager, which repeats every structural change on every active
// collection in coupling order.
//
// Invariants: every active collection holds exactly GetNumElements() elements,
// and all active collections share one allocated size and one front slack, so
// that, following the same growth rule (CQEL_Array), they reallocate at the
// same moments. An inactive collection holds no storage.
//
// Failures. Indices and counts are checked before any collection changes, so a
// rejected call leaves everything as it was. If a collection fails in the
// middle of a change (memory exhausted, an element's copy throwing), the
// collections already changed are changed back and the manager re-establishes
// its invariants (if even that fails, it empties its active collections and
// sends a warning), then the failure propagates. Callers can therefore rely on
// the invariants after any exception.
//
// Cost: every structural operation makes one virtual call per active
// collection; the work per element is that of CQEL_Array. Appending one
// element into back slack, what fill loops do element by element, is the
// exception: the manager keeps an append plan (ICollection::SAppendSlot) for
// its active collections and, while it holds, appends to all of them itself,
// with no call per collection: it writes the fill values into the back slack
// ahead, in batches, so that most appends only raise the counts and set the
// flags. The plan is made at the first such append and
// kept across the other structural operations (after one, the manager asks a
// single collection for the room they share); it is forgotten at any change
// of activation or coupling, and any change of a fill value or flag.
#pragma once

#include <cstdint>
#include <memory>

#include "core/CQEL_Array.h"
#include "core/ICollection.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class CQEL_Operation;
class CDataManager_AppendPlan;

class QEL_API CDataManager {
  public:
    static constexpr int kMaxCollections = 32;

    // An empty manager: no collections, no elements, nothing active.
    CDataManager();
    // The collections coupled through this manager that are still coupled
    // forget it (they belong to no manager afterwards); they are not owned and
    // not destroyed.
    virtual ~CDataManager();

    // Not copyable: the collections couple themselves to one manager, which
    // keeps their counts and its append plan. An entity's copy constructor
    // builds its own collections and then calls Copy().
    CDataManager(CDataManager const&) = delete;
    CDataManager& operator=(CDataManager const&) = delete;

    // --- coupling and activation ------------------------------------------------

    // Appends collection to the coupled collections and allocates it in step
    // (AllocateCollection). Coupling an already coupled collection changes
    // nothing. Throws reason 30 "Collection group is full" when 32 collections
    // are coupled already, reason 0 for a null collection.
    void CoupleCollection(ICollection* collection);
    // Removes collection from the coupled collections (nothing if it is not
    // coupled). Its storage is left as it is; the bits of the collections
    // after it move down by one.
    void UncoupleCollection(ICollection* collection);
    // Brings a coupled collection in step with its present state: an inactive
    // one is reset and its bit cleared; an active one gets GetNumElements()
    // default elements in an allocation of the same size and front slack as
    // the first active collection (or exactly GetNumElements() slots when no
    // other collection holds storage) and its bit is set. Any elements it held
    // are discarded. Throws reason 30, parameter "pCollection", "Collection to
    // be allocated must belong to the current data manager" for a collection
    // that is not coupled.
    void AllocateCollection(ICollection* collection);

    int GetNumCollections() const { return m_collections.Count(); }
    // The collection at position index in coupling order (0 <= index <
    // GetNumCollections()); throws reason 5, parameter "index", otherwise.
    ICollection* GetCollection(int index) const;

    // Bit i is set when the collection at position i is active.
    unsigned GetActiveCollections() const { return m_activeMask; }
    // For each coupled collection whose bit in mask differs from its present
    // state, in coupling order, SetActive with the bit. Bits beyond the
    // coupled collections are ignored.
    void SetActiveCollections(unsigned mask);
    // SetActive(true) on every inactive collection whose bit is set in mask.
    void ActivateCollections(unsigned mask);
    // SetActive(false) on every active collection whose bit is set in mask.
    void DeactivateCollections(unsigned mask);

    // --- structural operations, applied to every active collection ------------

    int GetNumElements() const { return m_count; }
    // Makes every active collection hold n elements (default elements added at
    // the back, or elements removed from the back), then records n as the
    // count; with no active collection it only records n. n < 0 throws reason 4.
    void CheckSpace(int n) {
        if (n == m_count + 1 && n <= m_appendRoom) [[likely]] {
            AppendInPlace();
            return;
        }
        CheckSpaceOutOfLine(n);
    }
    // Inserts one default element at index (0 <= index <= GetNumElements(),
    // else reason 5, parameter "index") in every active collection; with no
    // active collection it only counts the element.
    void Insert(int index);
    // Removes the element at index (0 <= index < GetNumElements(), else reason
    // 5, parameter "index") from every active collection. Throws reason 30
    // "Data manager must contain at least one active collection" when no
    // collection is active.
    void Remove(int index);
    // Copies element from onto element to in every active collection (both in
    // 0..GetNumElements()-1, else reason 5, parameter "to" or "from").
    void CopyElement(int to, int from);
    // Copies element from of source onto element to of this manager, in every
    // collection that is active here and whose counterpart (same position) is
    // active in source; the other collections keep their element. to must be
    // in 0..GetNumElements()-1 and from in 0..source.GetNumElements()-1 (reason
    // 5, parameter "to" or "from"); corresponding collections of different
    // element types throw reason 14, parameter "source".
    void CopyElement(int to, int from, CDataManager const& source);
    // Makes this manager an element-for-element copy of source: the
    // collections take source's active states (a collection beyond source's
    // list is deactivated), the count becomes source's and every active
    // collection takes its counterpart's elements. Corresponding collections
    // of different element types throw reason 14, parameter "source", before
    // anything changes.
    void Copy(CDataManager const& source);
    // Copies the elements of the collections selected by mask from source,
    // without changing which collections are active here: the count becomes
    // source's; a selected collection active in both takes its counterpart's
    // elements; every other active collection is resized in step as by
    // CheckSpace (keeping its leading elements, default elements beyond).
    // Type mismatches throw as for Copy.
    void Set(CDataManager const& source, unsigned mask);
    // Reverses the element order in every active collection.
    void Reverse();
    // Releases the storage of every active collection (they stay active) and
    // sets the count to 0.
    void Reset();
    // Moves every active collection into storage of exactly GetNumElements() slots.
    void Compact();
    // Ensures that n elements fit from the first element to the end of the
    // storage in every active collection (as CQEL_Array::PreAllocate).
    void PreAllocate(int n);

    // Allocated slots and front slack of the active collections (which agree);
    // 0 when none is active.
    int GetNumAllocated() const;
    int GetMemoryOffset() const;
    // Whether holding n elements would reallocate the active collections;
    // false when none is active.
    bool RequiresAllocation(int n) const;
    // Sum of the active collections' approximate sizes (heap bytes).
    std::int64_t GetApproxSize() const;

  private:
    friend class ICollection;

    void CheckSpaceOutOfLine(int n);
    // The append plan: made from the active collections' slots when each has
    // one (m_appendRoom is then the room they share), else none (room 0).
    bool MakeAppendPlan();
    // The room of a known plan after a structural operation.
    bool MeasureAppendRoom();
    // After a change of activation, coupling, a fill value or a flag.
    void ForgetAppendPlan() {
        m_appendRoom = 0;
        m_appendImpossible = false;
        m_appendPlanKnown = false;
    }
    // After any other structural operation: the storage may have moved or
    // changed size; the plan reads the element pointers where they are kept.
    void DropAppendRoom() { m_appendRoom = 0; }
    // Appends one element to every active collection through the plan.
    void AppendInPlace() noexcept;

    int FindCollection(ICollection const* collection) const;
    ICollection* FirstActive(ICollection const* except) const;
    void CheckSameKinds(CDataManager const& source, unsigned mask, CQEL_Operation const& op, long line) const;
    bool AllocationsAgree() const;
    void Resynchronise(int count) noexcept;
    template <class Apply, class Undo>
    void ApplyToActive(Apply apply, Undo undo, int countAfterUndo);

    // Rebuilds the list of active collections from mask.
    void SetMask(unsigned mask);

    CQEL_Array<ICollection*> m_collections;
    int m_count;
    unsigned m_activeMask;
    // The active collections in coupling order, with their positions: what
    // every structural operation walks.
    int m_numActive;
    ICollection* m_active[kMaxCollections];
    int m_activePositions[kMaxCollections];
    // The append plan (core/CDataManager_AppendPlan.h), usable while
    // m_appendRoom > 0 and kept across structural operations; allocated by the
    // first plan (most managers never append one by one).
    std::unique_ptr<CDataManager_AppendPlan> m_appendPlan;
    int m_appendRoom = 0;
    bool m_appendPlanKnown = false;   // made since the last change of activation, coupling, fill or flag
    bool m_appendImpossible = false;  // a collection has no slot: no plan to try
};

}  // namespace QEL::Core

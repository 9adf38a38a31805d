// SPDX-License-Identifier: MIT
#include "core/CDataManager.h"

#include <algorithm>
#include <bit>
#include <memory>

#include "core/CDataManager_AppendPlan.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

// Visits the positions of the set bits of mask, lowest first (coupling order).
template <class Visit>
inline void ForEachBit(unsigned mask, Visit visit) {
    while (mask != 0) {
        visit(std::countr_zero(mask));
        mask &= mask - 1;
    }
}

inline unsigned Bit(int position) {
    return 1u << unsigned(position);
}

// Removes bit position from mask, moving the bits above it down by one.
unsigned RemoveBit(unsigned mask, int position) {
    unsigned const below = mask & (Bit(position) - 1u);
    unsigned const above = position >= 31 ? 0u : (mask >> unsigned(position + 1)) << unsigned(position);
    return below | above;
}

}  // namespace

CDataManager::CDataManager() : m_count(0), m_activeMask(0), m_numActive(0) {}

// The collections outlive their manager in any order: each forgets it.
CDataManager::~CDataManager() {
    for (ICollection* collection : m_collections)
        collection->DataManagerDestroyed(this);
}

// --- coupling and activation ----------------------------------------------------

int CDataManager::FindCollection(ICollection const* collection) const {
    for (int i = 0; i < m_collections.Count(); ++i)
        if (m_collections.Unsafe_Get(i) == collection) return i;
    return -1;
}

void CDataManager::SetMask(unsigned mask) {
    ForgetAppendPlan();
    m_activeMask = mask;
    m_numActive = 0;
    ForEachBit(mask, [&](int i) {
        m_active[m_numActive] = m_collections.Unsafe_Get(i);
        m_activePositions[m_numActive] = i;
        ++m_numActive;
    });
}

ICollection* CDataManager::FirstActive(ICollection const* except) const {
    unsigned mask = m_activeMask;
    if (except) {
        int const self = FindCollection(except);
        if (self >= 0) mask &= ~Bit(self);
    }
    return mask == 0 ? nullptr : m_collections.Unsafe_Get(std::countr_zero(mask));
}

void CDataManager::CoupleCollection(ICollection* collection) {
    static CQEL_Operation const op("QEL::Core::CDataManager::CoupleCollection");
    op.Run([&] {
        op.Check(collection != nullptr, QEL_NULL_PARAMETER, "pCollection", "Collection is null");
        if (FindCollection(collection) >= 0) return;
        op.Check(m_collections.Count() < kMaxCollections, QEL_INVALID_OPERATION, "pCollection",
                 "Collection group is full");
        m_collections.PushBack(collection);
        try {
            AllocateCollection(collection);
        } catch (...) {
            // A collection that cannot be allocated is not kept: its constructor fails.
            m_collections.PopBack(1);
            throw;
        }
    });
}

void CDataManager::UncoupleCollection(ICollection* collection) {
    ForgetAppendPlan();
    int const position = FindCollection(collection);
    if (position < 0) return;
    m_collections.Remove(position, 1);
    SetMask(RemoveBit(m_activeMask, position));
}

void CDataManager::AllocateCollection(ICollection* collection) {
    ForgetAppendPlan();
    static CQEL_Operation const op("QEL::Core::CDataManager::AllocateCollection");
    op.Run([&] {
        int const position = FindCollection(collection);
        op.Check(position >= 0, QEL_INVALID_OPERATION, "pCollection",
                 "Collection to be allocated must belong to the current data manager");
        if (!collection->IsActive()) {
            collection->Reset();
            SetMask(m_activeMask & ~Bit(position));
            return;
        }
        // Take the shape of the collections already in step, so that the new
        // one reallocates at the same moments as they do.
        ICollection const* reference = FirstActive(collection);
        int const allocated = reference ? reference->GetNumAllocated() : 0;
        int const offset = reference ? reference->GetMemoryOffset() : 0;
        SetMask(m_activeMask & ~Bit(position));
        if (allocated > 0 || m_count < 1)
            collection->AllocateExplicit(m_count, allocated, offset);
        else
            collection->AllocateExplicit(m_count, m_count, 0);
        SetMask(m_activeMask | Bit(position));
    });
}

ICollection* CDataManager::GetCollection(int index) const {
    static CQEL_Operation const op("QEL::Core::CDataManager::GetCollection");
    op.CheckParameter(index >= 0 && index < m_collections.Count(), "index");
    return m_collections.Unsafe_Get(index);
}

void CDataManager::SetActiveCollections(unsigned mask) {
    static CQEL_Operation const op("QEL::Core::CDataManager::SetActiveCollections");
    op.Run([&] {
        for (int i = 0; i < m_collections.Count(); ++i) {
            bool const wanted = (mask & Bit(i)) != 0;
            if (wanted != ((m_activeMask & Bit(i)) != 0)) m_collections.Unsafe_Get(i)->SetActive(wanted);
        }
    });
}

void CDataManager::ActivateCollections(unsigned mask) {
    static CQEL_Operation const op("QEL::Core::CDataManager::ActivateCollections");
    op.Run([&] {
        for (int i = 0; i < m_collections.Count(); ++i)
            if ((mask & Bit(i)) && !(m_activeMask & Bit(i))) m_collections.Unsafe_Get(i)->SetActive(true);
    });
}

void CDataManager::DeactivateCollections(unsigned mask) {
    static CQEL_Operation const op("QEL::Core::CDataManager::DeactivateCollections");
    op.Run([&] {
        for (int i = 0; i < m_collections.Count(); ++i)
            if ((mask & Bit(i)) && (m_activeMask & Bit(i))) m_collections.Unsafe_Get(i)->SetActive(false);
    });
}

// --- lockstep ---------------------------------------------------------------------

bool CDataManager::AllocationsAgree() const {
    ICollection const* reference = FirstActive(nullptr);
    if (!reference) return true;
    bool agree = true;
    ForEachBit(m_activeMask, [&](int i) {
        ICollection const* c = m_collections.Unsafe_Get(i);
        agree = agree && c->Count() == reference->Count() &&
                c->GetNumAllocated() == reference->GetNumAllocated() &&
                c->GetMemoryOffset() == reference->GetMemoryOffset();
    });
    return agree;
}

// After a collection failed in the middle of a change: every active collection
// is brought to count elements; if their allocations then differ, compacting
// all of them gives them one shape again. Should that fail too, they are
// emptied: consistent but without data, which the host is told.
void CDataManager::Resynchronise(int count) noexcept {
    ForgetAppendPlan();
    try {
        ForEachBit(m_activeMask, [&](int i) {
            ICollection* c = m_collections.Unsafe_Get(i);
            if (c->Count() != count) c->CheckSpace(count);
        });
        if (!AllocationsAgree())
            ForEachBit(m_activeMask, [&](int i) { m_collections.Unsafe_Get(i)->Compact(); });
        if (!AllocationsAgree()) throw QEL_OPERATION_FAILED;
        m_count = count;
    } catch (...) {
        ForEachBit(m_activeMask, [&](int i) { m_collections.Unsafe_Get(i)->Reset(); });
        m_count = 0;
        try {
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII("Data manager emptied: its collections could not be kept in step"));
        } catch (...) {
        }
    }
}

// Applies apply(collection, position) to every active collection in coupling order. If one throws,
// undo is applied to those already changed, the invariants are restored with
// countAfterUndo elements, and the exception propagates.
template <class Apply, class Undo>
void CDataManager::ApplyToActive(Apply apply, Undo undo, int countAfterUndo) {
    DropAppendRoom();
    int done = 0;
    try {
        for (; done < m_numActive; ++done)
            apply(m_active[done], m_activePositions[done]);
    } catch (...) {
        for (int k = 0; k < done; ++k) {
            try {
                undo(m_active[k]);
            } catch (...) {
            }
        }
        Resynchronise(countAfterUndo);
        throw;
    }
}

void CDataManager::CheckSameKinds(CDataManager const& source, unsigned mask, CQEL_Operation const& op,
                                  long line) const {
    int const n = std::min(m_collections.Count(), source.m_collections.Count());
    for (int i = 0; i < n; ++i) {
        if (!(mask & Bit(i))) continue;
        if (!m_collections.Unsafe_Get(i)->IsSameKind(source.m_collections.Unsafe_Get(i)))
            throw CQEL_Exception(
                QEL_INVALID_PARAMETER, CQEL_String::FromASCII("source"),
                CQEL_String::FromFormat("Collection %d holds a different element type in source", i),
                op.Location(line));
    }
}

// --- structural operations ----------------------------------------------------------
// CheckSpace, Insert, Remove and CopyElement run once per appended or moved
// element in the fill loops of the entities, so they check their arguments
// directly instead of going through the counted exception frame.

void CDataManager::CheckSpaceOutOfLine(int n) {
    if (n < 0) {
        static CQEL_Operation const op("QEL::Core::CDataManager::CheckSpace");
        op.Throw(QEL_INDEX_OUT_OF_RANGE);
    }
    // An append with no plan (it was forgotten, or there never was one): make
    // one, so that the appends that follow take the inline path.
    if (n == m_count + 1 && m_appendRoom == 0 && !m_appendImpossible &&
        (m_appendPlanKnown ? MeasureAppendRoom() : MakeAppendPlan()) && n <= m_appendRoom) {
        AppendInPlace();
        return;
    }
    int const old = m_count;
    ApplyToActive([n](ICollection* c, int) { c->CheckSpace(n); },
                  [old](ICollection* c) { c->CheckSpace(old); }, old);
    m_count = n;
}

bool CDataManager::MakeAppendPlan() {
    if (m_numActive == 0) return false;
    ICollection::SAppendSlot described[kMaxCollections];
    for (int k = 0; k < m_numActive; ++k) {
        if (!m_active[k]->GetAppendSlot(described[k])) {
            m_appendImpossible = true;  // until activation, coupling, a fill value or a flag changes
            return false;
        }
        if (*described[k].count != m_count) return false;
    }
    if (!m_appendPlan) m_appendPlan = std::make_unique<CDataManager_AppendPlan>();
    m_appendRoom = m_appendPlan->Make(described, m_numActive, m_count);
    m_appendPlanKnown = true;
    return m_appendRoom > m_count;
}

bool CDataManager::MeasureAppendRoom() {
    // The active collections agree on their allocation and front slack, and
    // their counts change only through this manager.
    ICollection const* const first = m_active[0];
    m_appendRoom = first->GetNumAllocated() - first->GetMemoryOffset();
    m_appendPlan->Restart(m_count);
    return m_appendRoom > m_count;
}

void CDataManager::AppendInPlace() noexcept {
    m_appendPlan->Append(m_count, m_appendRoom);
    ++m_count;
}

void CDataManager::Insert(int index) {
    if (index < 0 || index > m_count) {
        static CQEL_Operation const op("QEL::Core::CDataManager::Insert");
        op.CheckParameter(false, "index");
    }
    int const old = m_count;
    ApplyToActive([index](ICollection* c, int) { c->Insert(index); },
                  [index](ICollection* c) { c->Remove(index); }, old);
    m_count = old + 1;
}

void CDataManager::Remove(int index) {
    static CQEL_Operation const op("QEL::Core::CDataManager::Remove");
    if (m_activeMask == 0)
        op.Throw(QEL_INVALID_OPERATION, "", "Data manager must contain at least one active collection");
    op.CheckParameter(index >= 0 && index < m_count, "index");
    int const old = m_count;
    // A removed value cannot be brought back: an undone collection holds a
    // default element at index instead.
    ApplyToActive([index](ICollection* c, int) { c->Remove(index); },
                  [index](ICollection* c) { c->Insert(index); }, old);
    m_count = old - 1;
}

void CDataManager::CopyElement(int to, int from) {
    if (to < 0 || to >= m_count || from < 0 || from >= m_count) {
        static CQEL_Operation const op("QEL::Core::CDataManager::CopyElement");
        op.CheckParameter(to >= 0 && to < m_count, "to");
        op.CheckParameter(from >= 0 && from < m_count, "from");
    }
    ApplyToActive([to, from](ICollection* c, int) { c->CopyElement(to, from); }, [](ICollection*) {},
                  m_count);
}

void CDataManager::CopyElement(int to, int from, CDataManager const& source) {
    if (&source == this) {
        CopyElement(to, from);
        return;
    }
    static CQEL_Operation const op("QEL::Core::CDataManager::CopyElement");
    op.CheckParameter(to >= 0 && to < m_count, "to");
    op.CheckParameter(from >= 0 && from < source.m_count, "from");
    unsigned const shared = m_activeMask & source.m_activeMask;
    CheckSameKinds(source, shared, op, __LINE__);
    ICollection* const* const theirs = source.m_collections.begin();
    ApplyToActive(
        [&](ICollection* c, int i) {
            if (shared & Bit(i)) c->CopyElement(to, from, theirs[i]);
        },
        [](ICollection*) {}, m_count);
}

void CDataManager::Copy(CDataManager const& source) {
    if (&source == this) return;
    static CQEL_Operation const op("QEL::Core::CDataManager::Copy");
    op.Run([&] {
        int const common = std::min(m_collections.Count(), source.m_collections.Count());
        unsigned const commonMask = common >= 32 ? ~0u : Bit(common) - 1u;
        CheckSameKinds(source, source.m_activeMask & commonMask, op, __LINE__);
        SetActiveCollections(source.m_activeMask & commonMask);
        Set(source, ~0u);
    });
}

void CDataManager::Set(CDataManager const& source, unsigned mask) {
    DropAppendRoom();
    if (&source == this) return;
    static CQEL_Operation const op("QEL::Core::CDataManager::Set");
    op.Run([&] {
        unsigned const selected = mask & m_activeMask & source.m_activeMask;
        CheckSameKinds(source, selected, op, __LINE__);
        int const n = source.m_count;
        ICollection* const* const theirs = source.m_collections.begin();
        // Copy() and CheckSpace() make the same change of size, so the
        // collections stay in step whichever of the two they get.
        ApplyToActive(
            [&](ICollection* c, int i) {
                if (selected & Bit(i))
                    c->Copy(theirs[i]);
                else
                    c->CheckSpace(n);
            },
            [](ICollection*) {}, n);
        m_count = n;
    });
}

void CDataManager::Reverse() {
    static CQEL_Operation const op("QEL::Core::CDataManager::Reverse");
    op.Run([&] {
        ApplyToActive([](ICollection* c, int) { c->Reverse(); }, [](ICollection* c) { c->Reverse(); },
                      m_count);
    });
}

void CDataManager::Reset() {
    DropAppendRoom();
    ForEachBit(m_activeMask, [&](int i) { m_collections.Unsafe_Get(i)->Reset(); });
    m_count = 0;
}

void CDataManager::Compact() {
    static CQEL_Operation const op("QEL::Core::CDataManager::Compact");
    op.Run([&] { ApplyToActive([](ICollection* c, int) { c->Compact(); }, [](ICollection*) {}, m_count); });
}

void CDataManager::PreAllocate(int n) {
    static CQEL_Operation const op("QEL::Core::CDataManager::PreAllocate");
    op.Run([&] {
        ApplyToActive([n](ICollection* c, int) { c->PreAllocate(n); }, [](ICollection*) {}, m_count);
    });
}

// --- sizes ---------------------------------------------------------------------------

int CDataManager::GetNumAllocated() const {
    ICollection const* first = FirstActive(nullptr);
    return first ? first->GetNumAllocated() : 0;
}

int CDataManager::GetMemoryOffset() const {
    ICollection const* first = FirstActive(nullptr);
    return first ? first->GetMemoryOffset() : 0;
}

bool CDataManager::RequiresAllocation(int n) const {
    ICollection const* first = FirstActive(nullptr);
    return first ? first->RequiresAllocation(n) : false;
}

std::int64_t CDataManager::GetApproxSize() const {
    std::int64_t size = 0;
    ForEachBit(m_activeMask, [&](int i) { size += m_collections.Unsafe_Get(i)->GetApproxSize(); });
    return size;
}

}  // namespace QEL::Core

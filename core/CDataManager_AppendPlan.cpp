// SPDX-License-Identifier: MIT
#include "core/CDataManager_AppendPlan.h"

#include <cstring>
#include <limits>
#include <utility>

namespace QEL::Core {

int CDataManager_AppendPlan::Group(std::uint32_t size) {
    int g = 0;
    while (g < kGroups - 1 && kSizes[g] != size)
        ++g;
    return g;
}

int CDataManager_AppendPlan::Make(ICollection::SAppendSlot const* described, int n, int count) {
    if (m_numSlots < n) {
        m_slots = std::make_unique<ICollection::SAppendSlot[]>(std::size_t(n));
        m_numSlots = n;
    }
    // Placed group by group, in coupling order within a group (a counting sort).
    int group[kMaxSlots];
    int start[kGroups] = {};
    int room = std::numeric_limits<int>::max();
    m_numFlags = 0;
    for (int k = 0; k < n; ++k) {
        room = std::min(room, described[k].room);
        group[k] = Group(described[k].size);
        ++start[group[k]];
        for (bool* flag : described[k].flags)
            if (flag && std::find(m_flags, m_flags + m_numFlags, flag) == m_flags + m_numFlags)
                m_flags[m_numFlags++] = flag;
    }
    for (int g = 0, sum = 0; g < kGroups; ++g) {
        sum += start[g];
        m_groupEnd[g] = sum;
        start[g] = sum - start[g];
    }
    for (int k = 0; k < n; ++k) {
        m_counts[k] = described[k].count;
        m_slots[start[group[k]]++] = described[k];
    }
    Restart(count);
    return room;
}

// Reads each slot's element pointer as bytes, whatever the element type it
// points to.
void CDataManager_AppendPlan::Restart(int count) {
    for (int k = 0; k < m_groupEnd[kGroups - 1]; ++k)
        std::memcpy(&m_slots[k].elements, m_slots[k].elementsField, sizeof m_slots[k].elements);
    m_restartedAt = m_filledTo = count;
}

void CDataManager_AppendPlan::FillAhead(int from, int to) noexcept {
    FillFixed(from, to, std::make_index_sequence<kGroups - 1>());
    for (int k = m_groupEnd[kGroups - 2]; k < m_groupEnd[kGroups - 1]; ++k) {
        ICollection::SAppendSlot const& slot = m_slots[k];
        for (int i = from; i < to; ++i)
            std::memcpy(slot.elements + std::size_t(i) * slot.size, slot.fill, slot.size);
    }
    m_filledTo = to;
}

template <std::size_t... G>
void CDataManager_AppendPlan::FillFixed(int from, int to, std::index_sequence<G...>) const noexcept {
    (FillGroup<kSizes[G]>(G == 0 ? 0 : m_groupEnd[G - 1], m_groupEnd[G], from, to), ...);
}

template <std::uint32_t Size>
void CDataManager_AppendPlan::FillGroup(int first, int last, int from, int to) const noexcept {
    for (int k = first; k < last; ++k) {
        unsigned char fill[Size];
        std::memcpy(fill, m_slots[k].fill, Size);
        unsigned char* const elements = m_slots[k].elements;
        for (int i = from; i < to; ++i)
            std::memcpy(elements + std::size_t(i) * Size, fill, Size);
    }
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CDataManager_AppendPlan: how a data manager appends one element to every
// active collection without a call per collection.
//
// Appending one element is what fill loops do, element by element. For the
// library's own collections of plain element types it means only copying the
// fill value into back slack, raising the count and setting the flags; each
// such collection describes where those live (ICollection::SAppendSlot) and
// the plan does the appends for all of them. Slots are grouped by element
// size, so that each group copies its fill values with moves of a fixed size,
// and each distinct flag is set once per append.
//
// The fill values are written ahead, in batches, into the back slack (plain
// storage that no one reads), so that most appends only raise the counts and
// set the flags. A batch covers as many elements as were appended since the
// plan was last restarted, between 4 and 64, and never more than the room: a
// fill loop that appends thousands of elements writes them in batches of 64,
// while appends that alternate with other operations write little that is not
// used.
//
// Internal to the data manager (not installed).
#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>

#include "core/ICollection.h"

namespace QEL::Core {

class CDataManager_AppendPlan {
  public:
    static constexpr int kMaxSlots = 32;

    // Takes the descriptions of n (1..kMaxSlots) collections that all hold
    // count elements, and restarts at count. Returns the room they share:
    // elements that fit from element 0 on without reallocation.
    int Make(ICollection::SAppendSlot const* described, int n, int count);
    // After a structural operation: the storage may have moved, so the
    // element pointers are read again where the collections keep them, and
    // what the slack holds is not known any more.
    void Restart(int count);

    // Appends element at (< room, the room measured since the last Make or
    // Restart) to every collection: its fill value, its count, its flags.
    void Append(int at, int room) noexcept {
        if (at >= m_filledTo) [[unlikely]]
            FillAhead(at, std::min(room, at + std::clamp(at - m_restartedAt, kLeastBatch, kMostBatch)));
        int const n = m_groupEnd[kGroups - 1], f = m_numFlags;  // held: the counts' stores could alias them
        for (int k = 0; k < n; ++k)
            *m_counts[k] = at + 1;
        for (int k = 0; k < f; ++k)
            *m_flags[k] = true;
    }

  private:
    static constexpr std::uint32_t kSizes[] = {2, 4, 8, 16, 24, 32};
    static constexpr int kGroups = int(std::size(kSizes)) + 1;  // the last one: any other size
    static constexpr int kLeastBatch = 4, kMostBatch = 64;

    static int Group(std::uint32_t size);
    // Writes the fill values into elements [from, to) of every collection.
    void FillAhead(int from, int to) noexcept;
    template <std::size_t... G>
    void FillFixed(int from, int to, std::index_sequence<G...>) const noexcept;
    template <std::uint32_t Size>
    void FillGroup(int first, int last, int from, int to) const noexcept;

    std::unique_ptr<ICollection::SAppendSlot[]> m_slots;  // grouped by element size
    int m_numSlots = 0;                                   // allocated
    int m_groupEnd[kGroups] = {};
    int* m_counts[kMaxSlots] = {};
    bool* m_flags[2 * kMaxSlots] = {};
    int m_numFlags = 0;
    int m_restartedAt = 0;  // the count at the last Make or Restart
    int m_filledTo = 0;     // slots below this hold the fill value in every collection
};

}  // namespace QEL::Core

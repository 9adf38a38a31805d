// SPDX-License-Identifier: MIT
// CPointSet_Modify: structural changes of a point set's section list.
//
// Bound to one point set, which must outlive it. Every call keeps the set's
// point count, index cache and derived data consistent.
#pragma once

#include "core/QEL_Export.h"
#include "entities/CPointSet.h"

namespace QEL::Core {

class QEL_API CPointSet_Modify {
  public:
    explicit CPointSet_Modify(CPointSet& target) : m_target(target) {}

    // Inserts a copy of section directly after the section at index after;
    // after = -1 inserts at the front, after = GetNumSec() - 1 appends.
    // after outside -1..GetNumSec()-1 throws reason 5 "after". section may be
    // one of the target's own sections. Returns the new section.
    CPointSet_Section& AddSection_After(int after, CPointSet_Section const& section);
    // The same, taking ownership of section (deleted if the insertion fails).
    // A section that already belongs to a point set throws reason 30
    // ("section") and is left with its set; null throws reason 0 ("section").
    CPointSet_Section& AddSection_After(int after, CPointSet_Section* section);
    // A new empty section with the attributes flags (plus def), after the last.
    CPointSet_Section& AppendSection(CPtsData flags = CPtsData::def);
    // Deletes the section at index (0..GetNumSec()-1, else reason 5 "index").
    void DeleteSection(int index);
    // Takes the section at index out of the set; the caller owns it.
    CPointSet_Section* DetachSection(int index);
    // Deletes every section that holds no point; returns how many went.
    int RemoveEmptySections();

  private:
    CPointSet& m_target;
};

}  // namespace QEL::Core

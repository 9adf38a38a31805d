// SPDX-License-Identifier: MIT
// CPointSet_Merge: joining point sets.
//
// Bound to the target point set, which must outlive it.
#pragma once

#include "core/QEL_Export.h"
#include "entities/CPointSet.h"

namespace QEL::Core {

class QEL_API CPointSet_Merge {
  public:
    explicit CPointSet_Merge(CPointSet& target) : m_target(target) {}

    // Appends a copy of every section of source, in order, after the target's
    // last section. Each copied section keeps its own attributes, so a merged
    // set may mix sections with and without, say, normals. source may be the
    // target itself (its sections then appear twice). The target is left
    // unchanged if the copy fails (memory).
    void Basic(CPointSet const& source);

  private:
    CPointSet& m_target;
};

}  // namespace QEL::Core

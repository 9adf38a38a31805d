// SPDX-License-Identifier: MIT
#include "operations/pointset/CPointSet_Merge.h"

#include "core/CQEL_Operation.h"
#include "core/CQEL_Ptr_Array.h"

namespace QEL::Core {

void CPointSet_Merge::Basic(CPointSet const& source) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Merge::Basic");
    op.Run([&] {
        // Copy everything first, then hand the copies over: no half-merged target.
        CQEL_Ptr_Array<CPointSet_Section> copies;
        int const count = source.GetNumSec();
        copies.PreAllocate(count);
        for (int s = 0; s < count; ++s)
            copies.Add(new CPointSet_Section(source.get_Sec(s)));
        m_target.m_sections.PreAllocate(m_target.GetNumSec() + count);
        copies.Reverse();  // detach from the back: constant time each
        for (int s = 0; s < count; ++s)
            m_target.InsertSectionAtIndex(copies.Detach(copies.Count() - 1), m_target.GetNumSec());
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "operations/pointset/CPointSet_Modify.h"

#include <memory>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CPointSet_Section& CPointSet_Modify::AddSection_After(int after, CPointSet_Section const& section) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::AddSection_After");
    return op.Run([&]() -> CPointSet_Section& {
        op.CheckRange(after, -1, m_target.GetNumSec() - 1, "after");
        // Copy first: section may be one of ours, and the insertion may move the list.
        return *m_target.InsertSectionAtIndex(new CPointSet_Section(section), after + 1);
    });
}

CPointSet_Section& CPointSet_Modify::AddSection_After(int after, CPointSet_Section* section) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::AddSection_After");
    return op.Run([&]() -> CPointSet_Section& {
        op.Check(section != nullptr, QEL_NULL_PARAMETER, "section", "Null Pointer");
        // Another set's section is refused without being touched.
        op.Check(section->GetOwner() == nullptr, QEL_INVALID_OPERATION, "section",
                 "Section already belongs to a point set");
        std::unique_ptr<CPointSet_Section> owned(section);
        op.CheckRange(after, -1, m_target.GetNumSec() - 1, "after");
        return *m_target.InsertSectionAtIndex(owned.release(), after + 1);
    });
}

CPointSet_Section& CPointSet_Modify::AppendSection(CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::AppendSection");
    return op.Run([&]() -> CPointSet_Section& {
        return *m_target.InsertSectionAtIndex(new CPointSet_Section(0, flags), m_target.GetNumSec());
    });
}

void CPointSet_Modify::DeleteSection(int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::DeleteSection");
    op.Run([&] {
        op.CheckRange(index, 0, m_target.GetNumSec() - 1, "index");
        m_target.DeleteSection(index);
    });
}

CPointSet_Section* CPointSet_Modify::DetachSection(int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::DetachSection");
    return op.Run([&] {
        op.CheckRange(index, 0, m_target.GetNumSec() - 1, "index");
        return m_target.DetachSection(index);
    });
}

int CPointSet_Modify::RemoveEmptySections() {
    static CQEL_Operation const op("QEL::Core::CPointSet_Modify::RemoveEmptySections");
    return op.Run([&] {
        int removed = 0;
        for (int s = m_target.GetNumSec() - 1; s >= 0; --s) {
            if (std::as_const(m_target).get_Sec(s).GetNumPts() != 0) continue;
            m_target.DeleteSection(s);
            ++removed;
        }
        return removed;
    });
}

}  // namespace QEL::Core

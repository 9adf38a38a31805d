// SPDX-License-Identifier: MIT
#include "formats/CPointSectionAppender.h"

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointSetParser.h"

namespace QEL::Core {

void CPointSectionAppender::Flush() {
    if (m_count == 0) return;
    static CQEL_Operation const op("QEL::Core::CPointSetParser::Read");
    if (!m_section) m_section = &Resolve();
    CPointSet_Section& section = *m_section;
    int const base = section.GetNumPts();
    int const count = m_count;
    if (std::int64_t(m_target.GetNumPts()) + count > kMaxPointsInSet)
        op.Throw(QEL_INVALID_POINTSET, "target",
                 CQEL_String::FromFormat("A point set holds at most %d points", kMaxPointsInSet));
    section.AddMetaData(m_flags);
    section.CheckSpace(base + count, section.GetMetaDataFlags());
    // Positions in one pass over the section's array (one change mark).
    CPointSet_Section::Point* const points = section.EditPts().data() + base;
    for (int r = 0; r < count; ++r) {
        SPointRow const& row = m_rows[std::size_t(r)];
        points[r].x = row.x, points[r].y = row.y, points[r].z = row.z;
    }
    bool const normals = m_flags.Contains(CPtsData::nms);
    bool const uvs = m_flags.Contains(CPtsData::cuv);
    bool const errors = m_flags.Contains(CPtsData::err);
    bool const vels = m_flags.Contains(CPtsData::vel);
    if (normals || uvs || errors || vels)
        for (int r = 0; r < count; ++r) {
            SPointRow const& row = m_rows[std::size_t(r)];
            int const at = base + r;
            if (normals) section.set_Nms(at, CVector3<double>(row.i, row.j, row.k));
            if (uvs) section.set_CUV(at, CPoint2<double>(row.u, row.v));
            if (errors) section.set_Err(at, row.e);
            if (vels) section.set_Vel(at, row.vel);
        }
    m_points += count;
    m_count = 0;
}

CPointSet_Section& CPointSectionAppender::Resolve() {
    int const sections = m_target.GetNumSec();
    if (m_kind == ETarget::Last && sections > 0) return m_target.GetTail();
    if (m_kind == ETarget::First && sections > 0) return m_target.GetHead();
    return CPointSetParser::AppendSection(m_target);
}

void ReportPoints(int points) {
    CQEL_Output_Events::Text(
        CQEL_String::FromFormat("  a total of %d points were read from the file", points));
}

void WarnSkipped(std::int64_t lines, char const* what) {
    if (lines > 0)
        CQEL_Output_Events::Warning(
            CQEL_String::FromFormat("  %lld line%s %s", (long long)lines, lines == 1 ? "" : "s", what));
}

std::string FileLabel(char const* verb, CQEL_String const& path) {
    return std::string(verb) + " " + path.GetArray();
}

}  // namespace QEL::Core

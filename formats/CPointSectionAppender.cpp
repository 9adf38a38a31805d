// SPDX-License-Identifier: MIT
#include "formats/CPointSectionAppender.h"

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointSetParser.h"

namespace QEL::Core {

void CPointSectionAppender::Flush() {
    if (m_count == 0) return;
    CQEL_Operation const& op = m_op;
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
        double const* const v = m_rows[std::size_t(r)].value;
        points[r].x = v[0], points[r].y = v[1], points[r].z = v[2];
    }
    // The other attributes that have columns, in the slots of their columns.
    for (int a = 0; a < CPtsData::kCount; ++a) {
        SPointAttribute const& attribute = kPointAttributes[a];
        int const slot = kAscColumns.first[a];
        if (slot < 0 || attribute.bit == CPtsData::def.GetBits() ||
            !m_flags.Contains(PointAttributeFlag(attribute)))
            continue;
        VisitPointElement(attribute.element, [&]<EPointElement E>() {
            if constexpr (E != EPointElement::Pointer) {
                auto& collection = PointAttributeCollection<E>(section, attribute);
                for (int r = 0; r < count; ++r)
                    collection.Set(base + r, FromComponents<E>(m_rows[std::size_t(r)].value + slot));
            }
        });
    }
    if (m_flags.Contains(CPtsData::vel))
        for (int r = 0; r < count; ++r)
            section.set_Vel(base + r, m_rows[std::size_t(r)].vel);
    m_points += count;
    m_count = 0;
}

void CPointSectionAppender::SetAttributes(CPtsData flags) {
    Flush();
    m_flags = flags;
    if (m_section) m_section->AddMetaData(flags);
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

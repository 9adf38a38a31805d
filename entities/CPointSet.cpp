// SPDX-License-Identifier: MIT
#include "entities/CPointSet.h"

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CPointSet::CPointSet() : m_cache(*this) {}

CPointSet::CPointSet(int numSections, int numPts, CPtsData flags) : m_cache(*this) {
    CheckSpace(numSections, numPts, flags);
}

CPointSet::CPointSet(CPointSet_Section const& section) : m_cache(*this) {
    AddSectionAtIndex(section, 0);
}

CPointSet::CPointSet(CPointSet const& other)
    : CQEL_Handler_Entity(),
      CPointSet_Base(other),
      CQEL_Type(other),
      ISerialisable(),
      CIdentifiable<CPointSet>(),
      m_cache(*this) {}

CPointSet::CPointSet(CPoint3<double> const& point) : CPointSet(1, &point) {}

CPointSet::CPointSet(double x, double y, double z) : CPointSet(CPoint3<double>(x, y, z)) {}

CPointSet::CPointSet(int count, CPoint3<double> const* points) : m_cache(*this) {
    static CQEL_Operation const op("QEL::Core::CPointSet::CPointSet");
    op.Run([&] {
        op.CheckRange(count, 0, 1000000000, "count");
        op.Check(count == 0 || points != nullptr, QEL_NULL_PARAMETER, "points", "Null Pointer");
        CheckSpace(1, count, CPtsData::def);
        CPointSet_Section& section = get_Sec(0);
        for (int i = 0; i < count; ++i)
            section.set_Pts(i, points[i]);
    });
}

CPointSet::~CPointSet() = default;

CPointSet& CPointSet::operator=(CPointSet const& other) {
    Copy(other);
    return *this;
}

void CPointSet::Copy(CPointSet const& other) {
    if (this == &other) return;
    CPointSet_Base::Copy(other);
    CQEL_Type::operator=(other);
}

void CPointSet::Reset() {
    CPointSet_Base::Reset();
}

void CPointSet::Transform(CEntityTransform const& transform) {
    static CQEL_Operation const op("QEL::Core::CPointSet::Transform");
    op.Run([&] {
        for (int s = 0; s < GetNumSec(); ++s)
            get_Sec(s).Transform(transform);
        GetCacheFlag().SetModified();
    });
}

CPoint3<double> CPointSet::GetCenMass() const {
    return m_cache.GetCenMass();
}
CPoint3<double> CPointSet::GetMin() const {
    return m_cache.GetMin();
}
CPoint3<double> CPointSet::GetMax() const {
    return m_cache.GetMax();
}
SErrorStats const* CPointSet::GetErrorStats() const {
    return &m_cache.GetErrorStats();
}

CQEL_Type* CPointSet::TypeCopy() const {
    return new CPointSet(*this);
}

}  // namespace QEL::Core

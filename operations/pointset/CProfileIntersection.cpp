// SPDX-License-Identifier: MIT
#include "operations/pointset/CProfileIntersection.h"

#include "core/CQEL_Operation.h"

namespace QEL::Core {

using V3 = CVector3<double>;

CProfileIntersection::CProfileIntersection(CPoint3<double> const& planePoint,
                                           CVector3<double> const& planeNormal) {
    static CQEL_Operation const op("QEL::Core::CProfileIntersection::CProfileIntersection");
    op.Run([&] {
        V3 const n(planeNormal);
        op.Check(n.Mag() >= 1e-12 && n.IsFinite(), QEL_INVALID_PARAMETER, "planeNormal",
                 "Vectors must not have zero magnitude.");
        V3 const unit = n.GetNormalised();
        m_point[0] = planePoint.x;
        m_point[1] = planePoint.y;
        m_point[2] = planePoint.z;
        m_normal[0] = unit.x;
        m_normal[1] = unit.y;
        m_normal[2] = unit.z;
    });
}

double CProfileIntersection::SignedDistance(CPoint3<double> const& p) const {
    return (p.x - m_point[0]) * m_normal[0] + (p.y - m_point[1]) * m_normal[1] +
           (p.z - m_point[2]) * m_normal[2];
}

int CProfileIntersection::Intersect(CPointSet_Section const& section, int sectionIndex,
                                    CQEL_Array<SProfileHit>& hits) const {
    auto const& points = section.GetPtsArray();
    int const n = points.Count();
    int found = 0;
    auto add = [&](CPoint3<double> const& p, int segment, double t) {
        SProfileHit& hit = hits.New();
        hit.point = p;
        hit.section = sectionIndex;
        hit.segment = segment;
        hit.t = t;
        ++found;
    };
    double dPrev = 0.0;
    for (int i = 0; i < n; ++i) {
        auto const& p = points.Unsafe_Get(i);
        double const d = SignedDistance(p);
        if (i > 0 && ((dPrev < 0.0 && d > 0.0) || (dPrev > 0.0 && d < 0.0))) {
            auto const& a = points.Unsafe_Get(i - 1);
            double const t = dPrev / (dPrev - d);
            add(CPoint3<double>(a.x + t * (p.x - a.x), a.y + t * (p.y - a.y), a.z + t * (p.z - a.z)), i - 1,
                t);
        }
        if (d == 0.0) add(CPoint3<double>(p.x, p.y, p.z), i, 0.0);
        dPrev = d;
    }
    return found;
}

int CProfileIntersection::Intersect(CPointSet const& source, CQEL_Array<SProfileHit>& hits) const {
    int found = 0;
    for (int s = 0; s < source.GetNumSec(); ++s)
        found += Intersect(source.get_Sec(s), s, hits);
    return found;
}

}  // namespace QEL::Core

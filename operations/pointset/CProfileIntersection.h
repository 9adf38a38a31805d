// SPDX-License-Identifier: MIT
// CProfileIntersection: where a plane cuts the sections of a point set.
//
// Each section is read as a polyline through its points in order. A point
// lying exactly on the plane is a hit; a segment whose ends lie strictly on
// opposite sides of the plane is a hit at the crossing, linearly
// interpolated. So a polyline that crosses the plane at a vertex gives that
// vertex once, and one that only touches the plane at a vertex gives it too.
// Hits come in section order, and along each section in point order.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CPointSet.h"

namespace QEL::Core {

struct SProfileHit {
    CPoint3<double> point;  // the intersection point
    int section = 0;        // section of the source
    int segment = 0;        // local index of the segment's first point
    double t = 0.0;         // point = P[segment] + t (P[segment + 1] - P[segment]), 0 <= t < 1
};

class QEL_API CProfileIntersection {
  public:
    // The plane through planePoint with normal planeNormal. A normal shorter
    // than 1e-12 (or not finite) throws reason 14 ("planeNormal", "Vectors must
    // not have zero magnitude.").
    CProfileIntersection(CPoint3<double> const& planePoint, CVector3<double> const& planeNormal);

    // Appends the hits of every section of source to hits and returns how many
    // were appended. One pass over the points.
    int Intersect(CPointSet const& source, CQEL_Array<SProfileHit>& hits) const;
    // The hits of one section, tagged with sectionIndex.
    int Intersect(CPointSet_Section const& section, int sectionIndex, CQEL_Array<SProfileHit>& hits) const;

    // Signed distance of p from the plane, positive on the side the normal points to.
    double SignedDistance(CPoint3<double> const& p) const;

  private:
    double m_point[3];
    double m_normal[3];  // unit
};

}  // namespace QEL::Core

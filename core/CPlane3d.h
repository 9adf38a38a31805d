// SPDX-License-Identifier: MIT
// CPlane3d: an oriented plane in space, held as a point on it and a unit
// normal. The normal's side is the positive side: signed distances are
// positive there. A plain value (48 bytes, trivially copyable); the normal is
// unit by construction, so a plane is never degenerate.
#pragma once

#include <type_traits>

#include "core/CPoint3.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"

namespace QEL::Elements {

class QEL_API CPlane3d {
  public:
    // The plane z = 0 with normal +Z.
    CPlane3d() = default;
    // The plane through point with the given normal (any nonzero length; it
    // is normalised). Throws CQEL_Exception reason 14 (QEL_INVALID_PARAMETER),
    // parameter "normal", "Plane normal has zero length" for a zero normal, and
    // reason 5 ("point" or "normal") for non-finite components.
    CPlane3d(CPoint3<double> const& point, CVector3<double> const& normal);
    // The plane through three points, normal (b - a) x (c - a): counter-
    // clockwise points seen from the positive side. Throws reason 14,
    // parameter "a, b, c", "Points are collinear" when the points do not span
    // a plane (the normal's length is below 1e-12 times the product of the
    // two edge lengths, or zero).
    static CPlane3d FromThreePoints(CPoint3<double> const& a, CPoint3<double> const& b,
                                    CPoint3<double> const& c);

    CPoint3<double> const& GetPoint() const { return m_point; }
    CVector3<double> const& GetNormal() const { return m_normal; }
    // d of the equation n . x = d (the signed distance of the origin, negated).
    double GetD() const { return m_normal.Dot(m_point.ToVector()); }

    // Signed distance of p: positive on the normal's side.
    double SignedDistance(CPoint3<double> const& p) const { return (p - m_point).Dot(m_normal); }
    double Distance(CPoint3<double> const& p) const;
    // The foot of the perpendicular from p.
    CPoint3<double> Project(CPoint3<double> const& p) const { return p - m_normal * SignedDistance(p); }
    // The part of v parallel to the plane.
    CVector3<double> Project(CVector3<double> const& v) const { return v - m_normal * v.Dot(m_normal); }

    // Intersection with the line point + t direction. Returns false, leaving
    // the outputs untouched, when the direction is zero or parallel to the
    // plane (|sin| of the angle between direction and plane below 1e-12);
    // otherwise stores the point (when result is not null) and t (when
    // parameter is not null; t is in units of direction's length).
    bool IntersectLine(CPoint3<double> const& point, CVector3<double> const& direction,
                       CPoint3<double>* result, double* parameter = nullptr) const;

    // The same plane with the normal reversed.
    CPlane3d GetFlipped() const;
    // The image of the plane under an affine transform: the point is moved as a
    // point, the normal by the inverse transpose of the linear part and
    // renormalised (so it stays perpendicular under scaling and shear). A
    // transform whose linear part is singular (|determinant| below 1e-40)
    // does not map the plane onto a plane: reason 14, parameter "transform",
    // "Transform is singular". Projective parts are ignored for the normal.
    CPlane3d GetTransformed(CTransform4<double> const& transform) const;

    // Exact comparison of point and normal (two descriptions of one plane
    // with different points compare unequal; use IsCoincident for geometry).
    bool operator==(CPlane3d const&) const = default;
    // The same plane within tolerance: each point lies within tolerance
    // (absolute distance) of the other plane and the sine of the angle between
    // the normals is at most tolerance. Opposite normals count only when
    // ignoreOrientation is set.
    bool IsCoincident(CPlane3d const& other, double tolerance, bool ignoreOrientation = false) const;

  private:
    CPoint3<double> m_point;
    CVector3<double> m_normal{0.0, 0.0, 1.0};
};

static_assert(std::is_trivially_copyable_v<CPlane3d> && sizeof(CPlane3d) == 48);

}  // namespace QEL::Elements

// SPDX-License-Identifier: MIT
#include "core/CPlane3d.h"

#include <cmath>

#include "core/CQEL_Operation.h"

namespace QEL::Elements {

using Core::CQEL_Operation;

namespace {

constexpr double kParallelSine = 1e-12;

bool IsFinite(CVector3<double> const& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

}  // namespace

CPlane3d::CPlane3d(CPoint3<double> const& point, CVector3<double> const& normal) {
    static CQEL_Operation const op("QEL::Elements::CPlane3d::CPlane3d");
    op.Run([&] {
        op.CheckParameter(IsFinite(point.ToVector()), "point");
        op.CheckParameter(IsFinite(normal), "normal");
        op.Check(!normal.IsZero(), Core::QEL_INVALID_PARAMETER, "normal", "Plane normal has zero length");
        // Scale first so that tiny normals keep their direction.
        double const largest =
            std::fmax(std::fabs(normal.x), std::fmax(std::fabs(normal.y), std::fabs(normal.z)));
        m_point = point;
        m_normal = (normal / largest).GetNormalised();
    });
}

CPlane3d CPlane3d::FromThreePoints(CPoint3<double> const& a, CPoint3<double> const& b,
                                   CPoint3<double> const& c) {
    static CQEL_Operation const op("QEL::Elements::CPlane3d::FromThreePoints");
    return op.Run([&] {
        CVector3<double> const u = b - a, v = c - a;
        CVector3<double> const n = u.Cross(v);
        double const scale = u.Mag() * v.Mag();
        op.CheckParameter(std::isfinite(scale), "a, b, c");
        op.Check(scale > 0.0 && n.Mag() >= kParallelSine * scale, Core::QEL_INVALID_PARAMETER, "a, b, c",
                 "Points are collinear");
        return CPlane3d(a, n);
    });
}

double CPlane3d::Distance(CPoint3<double> const& p) const {
    return std::fabs(SignedDistance(p));
}

bool CPlane3d::IntersectLine(CPoint3<double> const& point, CVector3<double> const& direction,
                             CPoint3<double>* result, double* parameter) const {
    double const length = direction.Mag();
    double const along = direction.Dot(m_normal);
    if (!(length > 0.0) || !(std::fabs(along) >= kParallelSine * length)) return false;
    double const t = -SignedDistance(point) / along;
    if (result) *result = point + direction * t;
    if (parameter) *parameter = t;
    return true;
}

CPlane3d CPlane3d::GetFlipped() const {
    CPlane3d flipped(*this);
    flipped.m_normal = -m_normal;
    return flipped;
}

CPlane3d CPlane3d::GetTransformed(CTransform4<double> const& transform) const {
    static CQEL_Operation const op("QEL::Elements::CPlane3d::GetTransformed");
    return op.Run([&] {
        // The same criterion as the inversion's (for an affine map the product
        // of the pivots is the determinant of the linear part, up to sign).
        op.Check(std::fabs(transform.GetLinearDeterminant()) >= 1e-40, Core::QEL_INVALID_PARAMETER,
                 "transform", "Transform is singular");
        // Row vectors map x -> x L, so a normal n (n . x = d) maps to L^-1 n
        // taken as a column: component i is sum over j of Linv[i][j] n_j.
        CTransform4<double> const inverse = transform.GetLinearMap().GetInverted();
        CVector3<double> n;
        for (int i = 0; i < 3; ++i)
            n[i] = inverse[4 * i] * m_normal.x + inverse[4 * i + 1] * m_normal.y +
                   inverse[4 * i + 2] * m_normal.z;
        return CPlane3d(transform.Apply(m_point), n);
    });
}

bool CPlane3d::IsCoincident(CPlane3d const& other, double tolerance, bool ignoreOrientation) const {
    double const d = m_normal.Dot(other.m_normal);
    if (!ignoreOrientation && d < 0.0) return false;
    return Distance(other.m_point) <= tolerance && other.Distance(m_point) <= tolerance &&
           m_normal.Cross(other.m_normal).Mag() <= tolerance;
}

}  // namespace QEL::Elements

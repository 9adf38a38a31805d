// SPDX-License-Identifier: MIT
// CCtrlPoint: one weighted control point of a NURBS curve or surface.
//
// Stored homogeneously: x, y, z are w times the Cartesian position, w is the
// weight (never 0 for a usable point). The default point is (0, 0, 0) with
// w = 1; a point made from a CPoint3 has w = 1. 40 bytes: the four doubles and
// the owner binding of CUpdatable_Entity.
//
// Marking (the owner's derived data are recomputed): set_x .. set_w, the
// compound operators and transforms, assignment. Not marking: ref_x .. ref_w
// and the RawSet... setters, for bulk writers that mark once at the end.
#pragma once

#include "core/CEntityTransform.h"
#include "core/CPoint3.h"
#include "core/QEL_Export.h"
#include "entities/CUpdatable_Entity.h"

namespace QEL::Core {

using Elements::CEntityTransform;
using Elements::CPoint3;

class QEL_API CCtrlPoint : public CUpdatable_Entity {
  public:
    constexpr CCtrlPoint() = default;
    // The Cartesian point p with weight 1 (implicit).
    constexpr CCtrlPoint(CPoint3<double> const& p) : m_x(p.x), m_y(p.y), m_z(p.z) {}  // NOLINT
    // Homogeneous components as they are stored.
    constexpr CCtrlPoint(double x, double y, double z, double w) : m_x(x), m_y(y), m_z(z), m_w(w) {}
    CCtrlPoint(CCtrlPoint const&) = default;
    // Takes other's four components, keeps this slot's binding and marks it.
    CCtrlPoint& operator=(CCtrlPoint const& other) {
        m_x = other.m_x, m_y = other.m_y, m_z = other.m_z, m_w = other.m_w;
        MarkModified();
        return *this;
    }

    // Throws reason 14, "The Control Point's weight cannot be zero", when w is exactly 0.
    void Validate() const;
    // (x/w, y/w, z/w), after Validate.
    CPoint3<double> GetCartesianPt() const;
    operator CPoint3<double>() const { return GetCartesianPt(); }  // NOLINT(google-explicit-constructor)
    operator CPoint3<float>() const;                               // NOLINT(google-explicit-constructor)

    // Euclidean distance over the four stored components.
    double CalcDist4DFrom(CCtrlPoint const& other) const;

    // Transforms the Cartesian point by the 4 x 4 matrix including its
    // projective row and stores it back in homogeneous form; w is kept.
    // When the projective result is exactly 0 the transformed x, y, z are
    // taken undivided. Marks modified.
    CCtrlPoint& operator*=(CEntityTransform const& transform);

    // -1, 0 or 1 by the Cartesian coordinates scaled by the larger of the two
    // magnitudes, x, y, z in turn, each followed by the weights; a difference
    // counts only above tol. Reversed order: the point with the larger
    // coordinate (or weight) compares as -1.
    int Compare(CCtrlPoint const& other, double tol) const;

    // Component-wise over all four stored values.
    CCtrlPoint operator+(CCtrlPoint const& other) const;
    CCtrlPoint operator-(CCtrlPoint const& other) const;
    CCtrlPoint operator*(double factor) const;
    CCtrlPoint operator/(double divisor) const;
    // All four stored components equal.
    bool operator==(CCtrlPoint const& other) const;
    // 0 .. 3 for x, y, z, w; any other index yields the library's invalid reference.
    double const& operator[](int i) const;
    double& operator[](int i);

    constexpr double get_x() const { return m_x; }
    constexpr double get_y() const { return m_y; }
    constexpr double get_z() const { return m_z; }
    constexpr double get_w() const { return m_w; }
    constexpr void set_x(double v) { m_x = v, MarkModified(); }
    constexpr void set_y(double v) { m_y = v, MarkModified(); }
    constexpr void set_z(double v) { m_z = v, MarkModified(); }
    constexpr void set_w(double v) { m_w = v, MarkModified(); }
    constexpr double& ref_x() { return m_x; }
    constexpr double& ref_y() { return m_y; }
    constexpr double& ref_z() { return m_z; }
    constexpr double& ref_w() { return m_w; }
    constexpr void RawSetX(double v) { m_x = v; }
    constexpr void RawSetY(double v) { m_y = v; }
    constexpr void RawSetZ(double v) { m_z = v; }
    constexpr void RawSetW(double v) { m_w = v; }
    // Stores p as the homogeneous (x, y, z) as given and w; no mark.
    constexpr void RawSet(CPoint3<double> const& p, double w) { m_x = p.x, m_y = p.y, m_z = p.z, m_w = w; }

  private:
    double m_x = 0.0, m_y = 0.0, m_z = 0.0, m_w = 1.0;
};

}  // namespace QEL::Core

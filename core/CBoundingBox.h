// SPDX-License-Identifier: MIT
// CBoundingBox: the axis-aligned box of a set of CPoint3<double>.
//
// A box starts empty and grows by Add. Empty is a state of its own, not a
// box of size zero: a box holding one point is not empty and has diagonal 0.
// The queries of an empty box answer with the library's undefined marker
// (kUndefinedValue in every component) for its corners and centre, a zero
// diagonal, and false for every containment test. Non-finite points are
// ignored by Add (a NaN would otherwise poison the box silently); Add of a
// point returns whether the point was taken.
//
// A plain value (48 bytes, trivially copyable); Add is inline and cheap, so
// boxes can be built in hot loops.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <type_traits>

#include "core/CPoint3.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"
#include "core/QEL_Elements_Common.h"
#include "core/QEL_Export.h"

namespace QEL::Elements {

class QEL_API CBoundingBox {
  public:
    // The empty box.
    CBoundingBox() = default;
    // The box of two corners given in any order.
    CBoundingBox(CPoint3<double> const& a, CPoint3<double> const& b) {
        Add(a);
        Add(b);
    }

    // Back to the empty box.
    void Reset() { *this = CBoundingBox(); }
    bool IsEmpty() const { return !(m_min.x <= m_max.x); }

    // Grows the box to hold p; non-finite points are ignored (returns false).
    bool Add(CPoint3<double> const& p) {
        if (!(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z))) return false;
        m_min = {std::min(m_min.x, p.x), std::min(m_min.y, p.y), std::min(m_min.z, p.z)};
        m_max = {std::max(m_max.x, p.x), std::max(m_max.y, p.y), std::max(m_max.z, p.z)};
        return true;
    }
    // Grows the box to hold box (an empty box adds nothing).
    void Add(CBoundingBox const& box) {
        if (box.IsEmpty()) return;
        Add(box.m_min);
        Add(box.m_max);
    }
    // Moves every face outwards by margin (inwards for a negative margin; a
    // box that turns inside out becomes empty). An empty box stays empty.
    void Inflate(double margin);

    // The corners and centre; the undefined point when empty.
    CPoint3<double> GetMin() const { return IsEmpty() ? CPoint3<double>::Undefined() : m_min; }
    CPoint3<double> GetMax() const { return IsEmpty() ? CPoint3<double>::Undefined() : m_max; }
    CPoint3<double> GetCentre() const {
        return IsEmpty() ? CPoint3<double>::Undefined() : Midpoint(m_min, m_max);
    }
    // max - min: the extents along x, y, z; the zero vector when empty.
    CVector3<double> GetDiagonal() const { return IsEmpty() ? CVector3<double>() : m_max - m_min; }
    // The length of the diagonal; 0 when empty.
    double GetDiagonalLength() const { return GetDiagonal().Mag(); }

    // p lies inside or on the box grown by tolerance (>= 0) on every side.
    bool Contains(CPoint3<double> const& p, double tolerance = 0.0) const {
        return !IsEmpty() && p.x >= m_min.x - tolerance && p.x <= m_max.x + tolerance &&
               p.y >= m_min.y - tolerance && p.y <= m_max.y + tolerance && p.z >= m_min.z - tolerance &&
               p.z <= m_max.z + tolerance;
    }
    // box is non-empty and lies entirely in this box (within tolerance).
    bool Contains(CBoundingBox const& box, double tolerance = 0.0) const {
        return !box.IsEmpty() && Contains(box.m_min, tolerance) && Contains(box.m_max, tolerance);
    }
    // The two boxes share at least one point (touching counts).
    bool Intersects(CBoundingBox const& box, double tolerance = 0.0) const;

    // The box of the eight transformed corners (points transformed by the
    // projective rule of CTransform4); an empty box stays empty.
    CBoundingBox GetTransformed(CTransform4<double> const& transform) const;

    // Exact comparison; all empty boxes are equal.
    bool operator==(CBoundingBox const& other) const {
        return (IsEmpty() && other.IsEmpty()) || (m_min == other.m_min && m_max == other.m_max);
    }

  private:
    static constexpr double kInf = std::numeric_limits<double>::infinity();
    CPoint3<double> m_min{kInf, kInf, kInf};
    CPoint3<double> m_max{-kInf, -kInf, -kInf};
};

static_assert(std::is_trivially_copyable_v<CBoundingBox> && sizeof(CBoundingBox) == 48);

}  // namespace QEL::Elements

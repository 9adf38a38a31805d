// SPDX-License-Identifier: MIT
// GetVectorNormal: the unit normal of the plane through three points.
#pragma once

#include "core/CPoint3.h"
#include "core/CVector3.h"

namespace QEL::Elements {

// (p1 - p0) x (p2 - p0), scaled to unit length: counter-clockwise corners
// seen from the tip of the normal. Collinear or coincident points give the
// zero vector (see CVector3::Normalise).
template <class T>
CVector3<T> GetVectorNormal(CPoint3<T> const& p0, CPoint3<T> const& p1, CPoint3<T> const& p2) {
    CVector3<T> normal = (p1 - p0).Cross(p2 - p0);
    normal.Normalise();
    return normal;
}

}  // namespace QEL::Elements

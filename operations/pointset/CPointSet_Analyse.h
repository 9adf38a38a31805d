// SPDX-License-Identifier: MIT
// CPointSet_Analyse: measurements of a point set that leave it unchanged.
//
// Bound to one point set, which must outlive it.
#pragma once

#include "core/CPoint3.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CPointSet.h"

namespace QEL::Core {

// The point farthest along a direction.
struct SFarthestPoint {
    int index = -1;         // global index of the point (the first one on ties)
    CPoint3<double> point;  // its position
    double distance = 0.0;  // its coordinate along the unit direction, point . direction / |direction|
};

// Principal axes of a point cloud: the eigenvectors of its covariance matrix.
struct SPrincipalAxes {
    CPoint3<double> centre;    // centre of mass
    CVector3<double> axes[3];  // unit axes, by decreasing variance; axes[2] = axes[0] x axes[1]
    double variances[3] = {};  // variance of the points along each axis (population, divided by n)
};

class QEL_API CPointSet_Analyse {
  public:
    explicit CPointSet_Analyse(CPointSet const& set) : m_set(set) {}

    // The point with the largest coordinate along direction. A direction
    // whose length is below 1e-12 throws reason 14 ("direction", "Vectors must
    // not have zero magnitude."); an empty set throws reason 15 ("Point set
    // cannot be empty."). One pass over the points.
    SFarthestPoint ComputeFarthestPointAlongDirection(CVector3<double> const& direction) const;

    // Principal axes of all points (symmetric 3 x 3 eigen-decomposition of the
    // covariance, accumulated about the centre for accuracy). Axes of equal
    // variance are any orthonormal pair spanning their plane. An empty set
    // throws reason 15 ("Point set cannot be empty."). Two passes over the points.
    SPrincipalAxes ComputePrincipalAxes() const;

  private:
    CPointSet const& m_set;
};

}  // namespace QEL::Core

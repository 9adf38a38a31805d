// SPDX-License-Identifier: MIT
// INURBS_Curve_ClosestPointFinder: projection of points onto one curve.
//
// A finder is made for a curve as it stands (the curve's cache builds one on
// first request and keeps it until the curve changes) and answers, for a
// query point, the closest point of the curve, its parameter and the
// distance. Which implementation is made is decided by a factory that hosts
// can replace (CNURBS_Curve::RegisterQueryCPF for one curve,
// RegisterQueryCPF_Static for all); the library's own is
// CNURBS_Curve_ClosestPoint.
#pragma once

#include <cmath>
#include <memory>

#include "core/CPoint3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

using Elements::CPoint3;

class CNURBS_Curve;

// The answer to one query.
struct SClosestCurvePoint {
    CPoint3<double> point;  // foot point on the curve
    double param = 0.0;     // its parameter
    double distance = HUGE_VAL;
};

class QEL_API INURBS_Curve_ClosestPointFinder {
  public:
    virtual ~INURBS_Curve_ClosestPointFinder();
    // The closest point of the curve to query; false (distance HUGE_VAL) for
    // a curve without a usable shape.
    virtual bool FindClosest(CPoint3<double> const& query, SClosestCurvePoint& result) const = 0;
};

// Makes a finder for curve (which outlives it and does not change while it lives).
using QueryCPF_Factory = std::unique_ptr<INURBS_Curve_ClosestPointFinder> (*)(CNURBS_Curve const& curve);

}  // namespace QEL::Core

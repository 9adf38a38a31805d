// SPDX-License-Identifier: MIT
// CNURBS_Curve_Analyse: what a NURBS curve looks like at a parameter and
// along its length: points, derivatives, tangent, curvature, arc length.
//
// Bound to one curve, which it reads as it stands at each call. A parameter
// outside [GetStartU(), GetEndU()] (or NaN) throws reason 5
// ("parameter_value"); a curve without a usable shape (order 1 .. 50, at
// least order control points, knots = control points + order) throws reason
// 10 ("This is an invalid curve").
//
// Points and derivatives cost one span search (starting from the previous
// call's span, so that runs of nearby parameters need no bisection) and one
// basis-function evaluation; points within the previous call's span reuse
// its reciprocal knot differences (checked against the knots each time), so
// that a sampling run divides once per span. Nothing is allocated. An instance is used from
// one thread at a time.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve_Evaluator.h"

namespace QEL::Core {

using Elements::CPoint3;
using Elements::CVector3;

class CNURBS_Curve;

class QEL_API CNURBS_Curve_Analyse {
  public:
    explicit CNURBS_Curve_Analyse(CNURBS_Curve const& curve);

    // The point at u: the basis values and span i at u, the sum of N[j] times
    // (x, y, z, w) of control point i - degree + j; with W the summed weight
    // the summed x, y, z are the result as they stand when W is within 1e-6
    // of 1 or exactly 0, else they are divided by W. Not counted per call by
    // the operation frame (a per-point call); failures still carry the
    // location "QEL::Core::CNURBS_Curve_Analyse::ComputePoint".
    CPoint3<double> ComputePoint(double u) const;

    // The derivatives C^(0) .. C^(num_derivs) at u into pDerivs (resized to
    // num_derivs + 1; entry 0 is the point, as a vector). num_derivs outside
    // 0 .. degree throws reason 5 ("num_derivs"); null pDerivs reason 0.
    // Rational curves by the quotient rule (The NURBS Book A4.2).
    void ComputeDerivatives(double u, int num_derivs, CQEL_Array<CVector3<double>>* pDerivs) const;
    // The unit tangent C'/|C'| at u; (0, 0, 0) where C' vanishes.
    CVector3<double> ComputeTangent(double u) const;
    // The curvature |C' x C''| / |C'|^3 at u (1 / radius); 0 where C'
    // vanishes, and for a curve of degree 1.
    double ComputeCurvature(double u) const;
    // The length of the curve between parameters u0 and u1 (either order;
    // both range checked), by 8-point Gauss-Legendre on each span, halved
    // where the halves disagree by more than 1e-13 of the span's length (at
    // most 20 halvings deep).
    double ComputeArcLength(double u0, double u1) const;
    // The whole curve's length.
    double ComputeArcLength() const;

  private:
    CNURBS_Curve const& m_curve;
    mutable int m_hint = -1;
    mutable CNURBS_Curve_Evaluator::SSpanCache m_spanCache;
};

}  // namespace QEL::Core

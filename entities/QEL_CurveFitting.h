// SPDX-License-Identifier: MIT
// The steps of fitting a B-spline curve to measured points, over plain
// arrays and a knot vector (internal to the library; CNURBS_Curve_Create and
// the curve's own FitToPoints1/2 put them together with their checks).
//
//   ScanParameters       chord length, centripetal or uniform parameters in [0, 1].
//   AveragedKnots        knots from parameters by averaging (The NURBS Book, eq. 9.8).
//   ParametersAtMaxima   the parameter of each basis function's maximum, by a
//                        safeguarded Newton iteration (at most 100 steps).
//   Interpolate          the collocation system of The NURBS Book A9.1, banded,
//                        factorised once and solved for x, y and z together.
//   LeastSquares         the normal equations of The NURBS Book 9.4.1, banded.
//
// All costs are linear in the number of points (times the square of the
// order); no dense matrix is ever formed.
#pragma once

#include <cstddef>

#include "core/CPoint3.h"
#include "entities/CNURBS_KnotVector.h"

namespace QEL::Core::CurveFitting {

// count points of x, y, z held stride doubles apart (3 for CPoint3<double>,
// 4 for the point set's positions).
struct SPoints {
    double const* xyz = nullptr;
    std::size_t stride = 3;
    int count = 0;

    Elements::CPoint3<double> operator[](int i) const {
        double const* p = xyz + std::size_t(i) * stride;
        return {p[0], p[1], p[2]};
    }
};

enum class EFitStatus {
    Ok,
    // Two consecutive points coincide (chord length and centripetal
    // parameters would repeat), or all points coincide.
    CoincidentPoints,
    // The system has no unique solution: parameters repeat, or a knot span
    // holds no parameter (least squares).
    Singular,
};

// Parameterisation codes of the scan operations.
enum EParameterisation { ChordLength = 0, Centripetal = 1, BasisMaxima = 2, Uniform = 3 };

// t[0] = 0, t[n-1] = 1 and the interior by code: ChordLength (distances),
// Centripetal (square roots of distances) or Uniform (i / (n - 1)); any other
// code is not handled here. n >= 2. Consecutive points that coincide give
// CoincidentPoints unless allowRepeats (least squares takes repeated
// parameters); points that all coincide always do.
EFitStatus ScanParameters(SPoints points, int code, bool allowRepeats, double* t);

// The n + degree + 1 knots of a clamped curve interpolating at the n
// parameters t: degree + 1 copies of t[0], each interior knot the mean of
// degree consecutive parameters, degree + 1 copies of t[n-1]. n > degree >= 1.
void AveragedKnots(double const* t, int n, int degree, double* knots);

// For a clamped knot vector of n control points, the parameter at which
// basis function i is largest: the ends for the first and last, the knot
// itself for degree 1, else a Newton iteration on the first derivative,
// started at the Greville abscissa and kept inside the bracket where the
// derivative changes sign, stopped after 100 steps or when the step is
// below 1e-15 of the range.
void ParametersAtMaxima(CNURBS_KnotVector const& knots, double* t);

// The n control points (x, y, z per row, weights 1) of the curve on knots
// that passes through points[i] at t[i]; n = points.count = knots' control
// point count. Singular when the collocation matrix cannot be factorised.
EFitStatus Interpolate(CNURBS_KnotVector const& knots, SPoints points, double const* t, double* ctrl);

// The control points (x, y, z per row) on knots closest to the points at
// parameters t in the sum of squared distances, every point weighted alike.
// With pinEnds the first and last control points are the first and last
// points (the curve passes through both ends) and the rest are free;
// otherwise all are free. t must lie in the knots' range.
EFitStatus LeastSquares(CNURBS_KnotVector const& knots, SPoints points, double const* t, bool pinEnds,
                        double* ctrl);

}  // namespace QEL::Core::CurveFitting

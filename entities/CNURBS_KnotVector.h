// SPDX-License-Identifier: MIT
// CNURBS_KnotVector: the order and the knots U[0] .. U[m-1] (non-decreasing)
// of a B-spline, with span search and basis functions. Shared by curves and
// surfaces.
//
// Derived quantities, with m knots and order k: degree k-1, GetNumCtrl m-k,
// GetNumKnotSpans m-2k+1, GetStart U[k-1], GetEnd U[m-k], GetRange their
// difference. A new knot vector has
// order -1 (unset) and no knots.
//
// Changing the order or a knot marks the owner modified (CUpdatable_Entity).
// Evaluation uses at most order 50 (the working arrays of the recursions).
#pragma once

#include "core/CQEL_Array.h"
#include "core/QEL_Export.h"
#include "entities/CUpdatable_Entity.h"

namespace QEL::Core {

class QEL_API CNURBS_KnotVector : public CUpdatable_Entity {
  public:
    CNURBS_KnotVector() = default;
    CNURBS_KnotVector(CNURBS_KnotVector const&) = default;
    // Takes other's order and knots, keeps this one's binding and marks it.
    CNURBS_KnotVector& operator=(CNURBS_KnotVector const&) = default;

    int GetOrder() const { return m_order; }
    int GetDegree() const { return m_order - 1; }
    void SetOrder(int order) { m_order = order, MarkModified(); }
    int GetNumKnots() const { return m_knots.Count(); }
    int GetNumCtrl() const { return m_knots.Count() - m_order; }
    int GetNumKnotSpans() const { return m_knots.Count() - 2 * m_order + 1; }
    // U[k-1], U[m-k] and their difference; unchecked (the library's invalid
    // reference for a knot vector without that knot).
    double GetStart() const { return m_knots[m_order - 1]; }
    double GetEnd() const { return m_knots[m_knots.Count() - m_order]; }
    double GetRange() const { return GetEnd() - GetStart(); }

    // U[i]; i outside 0 .. m-1 throws reason 4 ("knot_index").
    double get_Knots(int i) const;
    // Sets U[i] and marks; i outside 0 .. m-1 throws reason 4 ("knot_index").
    void set_Knots(int i, double value);
    CQEL_Array<double> const& GetKnots() const { return m_knots; }
    // The knots for bulk writing; marks modified (the caller keeps them non-decreasing).
    CQEL_Array<double>& EditKnots() {
        MarkModified();
        return m_knots;
    }

    // The span i with U[i] <= u < U[i+1] (The NURBS Book, A2.1): at the start
    // of the range the last knot equal to the start (at most m-k-1), at the
    // end the last span of non-zero length, at an interior knot the span that
    // starts there. u outside [U[k-1], U[m-k]] (or NaN) throws reason 5
    // ("parameter_value"); a knot vector with fewer than 2k knots or an order
    // below 1 throws reason 10 ("This is an invalid curve").
    int FindKnotSpan(double u) const;
    // The k non-zero basis functions at u into pBasisCoefficients[0 .. k-1],
    // for control points i-k+1 .. i (A2.2); returns the span i. Null throws
    // reason 0 ("pBasisCoefficients"); an order above 50 reason 5 ("order").
    int CalcBasisFuns(double u, double* pBasisCoefficients) const;
    // The basis functions and their derivatives up to order num_derivs
    // (0 .. k-1, else reason 5 "num_derivs") at u (A2.3): ders[j][r] is the
    // j-th derivative of function r; ders holds num_derivs + 1 rows of k
    // values. Returns the span. Null throws reason 0 ("ders").
    int CalcBasisFunsAndDerivs(double u, int num_derivs, double** ders) const;
    // How many knots equal u exactly (0 when u is not a knot); u is range
    // checked as by FindKnotSpan.
    int ComputeMultiplicity(double u) const;
    // pts_per_knot_span + 1 evenly spaced parameters per span of non-zero
    // length (its start included, its end not), then the end parameter.
    // Null throws reason 0 ("pValues"); pts_per_knot_span outside
    // 0 .. 1000000000 reason 5 ("pts_per_knot_span").
    void ComputeInfilledParams(int pts_per_knot_span, CQEL_Array<double>* pValues) const;

    // Order unset, no knots; marks.
    void Reset();

  private:
    int m_order = -1;
    CQEL_Array<double> m_knots;
};

}  // namespace QEL::Core

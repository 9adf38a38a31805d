// SPDX-License-Identifier: MIT
// CNURBS_Curve_Evaluator: points and derivatives of one curve as it stands,
// without allocation and without the operation frame, for the per-point
// paths (the curve's cache, the closest-point finder, CNURBS_Curve_Analyse).
//
// It reads the curve's arrays in place, so it is valid only while the curve
// keeps its shape (no CheckSpace, Reset or knot change). Construction checks
// the shape once: order 1 .. 50, at least order control points and exactly
// knots - order of them, else reason 10 ("This is an invalid curve"). The
// per-point calls check nothing: u must lie within [GetStart(), GetEnd()].
// The span search starts from the span of the previous call (successive
// parameters mostly share a span) and falls back to bisection; an
// evaluator is therefore used from one thread at a time.
#pragma once

#include "core/CPoint3.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve_Base.h"
#include "entities/NURBS_Basis.h"

namespace QEL::Core {

using Elements::CVector3;

class QEL_API CNURBS_Curve_Evaluator {
  public:
    // The reciprocal knot differences of the last span evaluated, kept by a
    // caller across evaluators (CNURBS_Curve_Analyse does), so that runs of
    // parameters in one span need no division. It holds the knots they came
    // from and is used only while they are unchanged, whichever curve and
    // whatever edits come between.
    struct SSpanCache {
        int span = -1;
        int order = 0;
        double knots[2 * NURBS::kMaxOrder];  // U[span-k+2 .. span+k-1]
        double inv[NURBS::kMaxOrder * (NURBS::kMaxOrder - 1) / 2];
    };

    // hint: a span from an earlier evaluator of the same curve (GetHint), or
    // -1; cache: span reciprocals to keep between evaluators, or null.
    explicit CNURBS_Curve_Evaluator(CNURBS_Curve_Base const& curve, int hint = -1,
                                    SSpanCache* cache = nullptr)
        : m_U(curve.GetKnotVector().GetKnots().begin()),
          m_P(curve.GetCtrlPts().begin()),
          m_m(curve.GetNumKnots()),
          m_k(curve.GetOrder()),
          m_n(curve.GetCtrlPts().Count()),
          m_hint(hint),
          m_cache(cache) {
        if (m_k < 1 || m_k > NURBS::kMaxOrder || m_n < m_k || m_m != m_n + m_k) ThrowInvalid();
    }

    double GetStart() const { return m_U[m_k - 1]; }
    double GetEnd() const { return m_U[m_m - m_k]; }
    int GetOrder() const { return m_k; }
    int GetNumCtrl() const { return m_n; }
    double const* GetKnots() const { return m_U; }
    int GetHint() const { return m_hint; }

    // The span of u (the rules of CNURBS_KnotVector::FindKnotSpan).
    int Span(double u) const {
        m_hint = NURBS::FindSpanHinted(m_U, m_m, m_k, u, m_hint);
        return m_hint;
    }

    // The curve point at u: the homogeneous sum of the k control points of
    // u's span weighted by the basis functions; with W the summed weight,
    // the summed x, y, z stand as they are when W is within 1e-6 of 1 or
    // exactly 0, and are divided by W otherwise.
    CPoint3<double> Point(double u) const {
        double N[NURBS::kMaxOrder];
        int const span = Span(u);
        Basis(span, u, N);
        double x = 0.0, y = 0.0, z = 0.0, w = 0.0;
        int const first = span - (m_k - 1);
        int const count = first + m_k <= m_n ? m_k : m_n - first;
        CCtrlPoint const* const P = m_P + first;
        for (int j = 0; j < count; ++j) {
            x += N[j] * P[j].get_x();
            y += N[j] * P[j].get_y();
            z += N[j] * P[j].get_z();
            w += N[j] * P[j].get_w();
        }
        if (w == 0.0 || (w - 1.0 <= 1e-6 && 1.0 - w <= 1e-6)) return {x, y, z};
        return {x / w, y / w, z / w};
    }

    // The point (d[0], as a vector from the origin) and its derivatives
    // d[1] .. d[n] at u, n below kMaxOrder; orders above the degree are
    // returned as zero (not computed). Rational curves by The NURBS Book A4.2
    // over the homogeneous derivatives of A3.2; the point is always divided
    // by its weight here.
    void Derivs(double u, int n, CVector3<double>* d) const;

  private:
    [[noreturn]] static void ThrowInvalid();

    // The basis functions at u in span: through the span cache when there is one.
    void Basis(int span, double u, double* N) const {
        if (!m_cache) return NURBS::BasisFuns(m_U, span, u, m_k, N);
        double const* const used = m_U + span - m_k + 2;  // the knots A2.2 reads in this span
        int const count = 2 * m_k - 2;
        bool same = m_cache->span == span && m_cache->order == m_k;
        for (int j = 0; same && j < count; ++j)
            same = m_cache->knots[j] == used[j];
        if (!same) {
            NURBS::SpanReciprocals(m_U, span, m_k, m_cache->inv);
            for (int j = 0; j < count; ++j)
                m_cache->knots[j] = used[j];
            m_cache->span = span, m_cache->order = m_k;
        }
        switch (m_k) {
            case 3:
                return NURBS::BasisFunsWithReciprocals<3>(m_U, span, u, 3, m_cache->inv, N);
            case 4:
                return NURBS::BasisFunsWithReciprocals<4>(m_U, span, u, 4, m_cache->inv, N);
            default:
                return NURBS::BasisFunsWithReciprocals(m_U, span, u, m_k, m_cache->inv, N);
        }
    }

    double const* m_U;
    CCtrlPoint const* m_P;
    int m_m, m_k, m_n;
    mutable int m_hint;
    SSpanCache* m_cache;
};

}  // namespace QEL::Core

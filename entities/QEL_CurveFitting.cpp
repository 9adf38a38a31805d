// SPDX-License-Identifier: MIT
#include "entities/QEL_CurveFitting.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/CQEL_BandedLU.h"
#include "entities/NURBS_Basis.h"

namespace QEL::Core::CurveFitting {

namespace {

// The span of u (as CNURBS_KnotVector::FindKnotSpan), walking on from the
// span of the previous parameter: fitted parameters come in increasing
// order, so the walk costs a comparison or two. Out-of-order or far jumps
// and the ends of the range fall back to the bisection.
int NextSpan(double const* U, int m, int k, double u, int previous) {
    if (!(u > U[k - 1] && u < U[m - k]) || previous < k - 1 || U[previous] > u)
        return NURBS::FindSpan(U, m, k, u);
    int span = previous;
    for (int steps = 0; U[span + 1] <= u; ++steps) {
        if (steps == 8) return NURBS::FindSpan(U, m, k, u);
        ++span;  // stops by m - k - 1, as u < U[m - k]
    }
    return span;
}

}  // namespace

EFitStatus ScanParameters(SPoints points, int code, bool allowRepeats, double* t) {
    int const n = points.count;
    t[0] = 0.0;
    t[n - 1] = 1.0;
    if (code == Uniform) {
        for (int i = 1; i < n - 1; ++i)
            t[i] = double(i) / double(n - 1);
        return EFitStatus::Ok;
    }
    // Cumulative (powered) chord lengths first, then divided by the total.
    double sum = 0.0;
    Elements::CPoint3<double> previous = points[0];
    for (int i = 1; i < n; ++i) {
        Elements::CPoint3<double> const p = points[i];
        double d = previous.Distance(p);
        if (!(d > 0.0) && !allowRepeats) return EFitStatus::CoincidentPoints;
        if (code == Centripetal) d = std::sqrt(d);
        sum += d;
        t[i] = sum;
        previous = p;
    }
    if (!(sum > 0.0) || !std::isfinite(sum)) return EFitStatus::CoincidentPoints;
    for (int i = 1; i < n - 1; ++i)
        t[i] /= sum;
    t[n - 1] = 1.0;
    return EFitStatus::Ok;
}

void AveragedKnots(double const* t, int n, int degree, double* knots) {
    for (int j = 0; j <= degree; ++j) {
        knots[j] = t[0];
        knots[n + j] = t[n - 1];
    }
    // u[j + degree] = (t[j] + ... + t[j + degree - 1]) / degree, summed afresh
    // for each knot: a running sum would carry its rounding along the scan.
    for (int j = 1; j < n - degree; ++j) {
        double sum = 0.0;
        for (int i = j; i < j + degree; ++i)
            sum += t[i];
        knots[j + degree] = sum / degree;
    }
}

void ParametersAtMaxima(CNURBS_KnotVector const& knots, double* t) {
    int const order = knots.GetOrder();
    int const degree = order - 1;
    int const n = knots.GetNumCtrl();
    double const start = knots.GetStart(), end = knots.GetEnd();
    t[0] = start;
    t[n - 1] = end;
    auto greville = [&](int i) {
        double sum = 0.0;
        for (int j = i + 1; j <= i + degree; ++j)
            sum += knots.get_Knots(j);
        return sum / degree;
    };
    if (degree == 1) {
        // A hat function peaks at its middle knot, which is its Greville abscissa.
        for (int i = 1; i < n - 1; ++i)
            t[i] = greville(i);
        return;
    }
    // The derivatives by the kernel behind CalcBasisFunsAndDerivs (A2.3); the
    // parameters stay inside the knots' range.
    double const* U = knots.GetKnots().begin();
    int const m = knots.GetNumKnots();
    int lastSpan = order - 1;
    double row0[NURBS::kMaxOrder], row1[NURBS::kMaxOrder], row2[NURBS::kMaxOrder];
    double* ders[3] = {row0, row1, row2};
    double ndu[NURBS::kMaxOrder][NURBS::kMaxOrder];
    double const tol = 1e-15 * (end - start);
    for (int i = 1; i < n - 1; ++i) {
        // Basis function i lives on [U[i], U[i + order]] and rises, then falls.
        double lo = std::max(knots.get_Knots(i), start);
        double hi = std::min(knots.get_Knots(i + order), end);
        double u = greville(i);
        for (int iteration = 0; iteration < 100; ++iteration) {
            int const span = NextSpan(U, m, order, u, lastSpan);
            lastSpan = span;
            NURBS::BasisFunsDerivs(U, span, u, order, 2, ders, ndu);
            int const r = i - (span - degree);
            double const d1 = (r >= 0 && r <= degree) ? row1[r] : 0.0;
            double const d2 = (r >= 0 && r <= degree) ? row2[r] : 0.0;
            if (d1 == 0.0) break;
            if (d1 > 0.0)
                lo = u;
            else
                hi = u;
            // Newton where the function is concave, halving the bracket
            // elsewhere; a Newton step below the tolerance has converged (it
            // may be below one ulp of u, so it is not tested against the bracket).
            double const step = d2 < 0.0 ? -d1 / d2 : HUGE_VAL;
            if (std::fabs(step) <= tol) {
                u += step;
                break;
            }
            double next = u + step;
            if (!(next > lo && next < hi)) next = 0.5 * (lo + hi);
            bool const done = hi - lo <= tol;
            u = next;
            if (done) break;
        }
        t[i] = u;
    }
}

EFitStatus Interpolate(CNURBS_KnotVector const& knots, SPoints points, double const* t, double* ctrl) {
    int const n = points.count;
    int const order = knots.GetOrder();
    int const degree = order - 1;
    double const* U = knots.GetKnots().begin();
    int const m = knots.GetNumKnots();
    // Spans first: row i has its values in columns span - degree .. span, and
    // the band is the widest reach below and above the diagonal over all rows.
    std::vector<int> spans(static_cast<std::size_t>(n));
    int kl = 0, ku = 0;
    for (int i = 0, span = order - 1; i < n; ++i) {
        span = spans[std::size_t(i)] = NextSpan(U, m, order, t[i], span);
        kl = std::max(kl, i - (span - degree));
        ku = std::max(ku, span - i);
    }
    CQEL_BandedLU system;
    system.Reset(n, std::min(kl, n - 1), std::min(ku, n - 1));
    // The basis values straight into their rows (A2.2).
    for (int i = 0; i < n; ++i) {
        int const span = spans[std::size_t(i)];
        NURBS::BasisFuns(U, span, t[i], order, system.RowSpan(i, span - degree, order));
    }
    if (!system.Factorise()) return EFitStatus::Singular;
    for (int i = 0; i < n; ++i) {
        Elements::CPoint3<double> const p = points[i];
        ctrl[3 * i] = p.x;
        ctrl[3 * i + 1] = p.y;
        ctrl[3 * i + 2] = p.z;
    }
    system.Solve(ctrl, 3);
    return EFitStatus::Ok;
}

EFitStatus LeastSquares(CNURBS_KnotVector const& knots, SPoints points, double const* t, bool pinEnds,
                        double* ctrl) {
    int const m = points.count;
    int const order = knots.GetOrder();
    int const degree = order - 1;
    int const n = knots.GetNumCtrl();
    int const offset = pinEnds ? 1 : 0;
    int const unknowns = n - 2 * offset;
    Elements::CPoint3<double> const first = points[0], last = points[m - 1];
    if (pinEnds) {
        ctrl[0] = first.x, ctrl[1] = first.y, ctrl[2] = first.z;
        ctrl[3 * (n - 1)] = last.x, ctrl[3 * (n - 1) + 1] = last.y, ctrl[3 * (n - 1) + 2] = last.z;
    }
    if (unknowns <= 0) return EFitStatus::Ok;

    // Normal equations (N^T N) P = N^T R, R the points less the pinned ends'
    // share; N^T N is symmetric with half-band degree.
    int const band = std::min(degree, unknowns - 1);
    CQEL_BandedLU system;
    system.Reset(unknowns, band, band);
    std::vector<double> rhs(std::size_t(unknowns) * 3, 0.0);
    double basis[NURBS::kMaxOrder];
    double const* U = knots.GetKnots().begin();
    int const numKnots = knots.GetNumKnots();
    int span = order - 1;
    for (int k = 0; k < m; ++k) {
        span = NextSpan(U, numKnots, order, t[k], span);
        NURBS::BasisFuns(U, span, t[k], order, basis);
        Elements::CPoint3<double> r = points[k];
        int const firstCtrl = span - degree;
        if (pinEnds) {
            // Subtract the pinned control points' share of this point.
            for (int a = 0; a < order; ++a) {
                int const j = firstCtrl + a;
                Elements::CPoint3<double> const& pinned = j == 0 ? first : last;
                if (j == 0 || j == n - 1) {
                    r.x -= basis[a] * pinned.x;
                    r.y -= basis[a] * pinned.y;
                    r.z -= basis[a] * pinned.z;
                }
            }
        }
        for (int a = 0; a < order; ++a) {
            int const ua = firstCtrl + a - offset;
            if (ua < 0 || ua >= unknowns || basis[a] == 0.0) continue;
            rhs[3 * std::size_t(ua)] += basis[a] * r.x;
            rhs[3 * std::size_t(ua) + 1] += basis[a] * r.y;
            rhs[3 * std::size_t(ua) + 2] += basis[a] * r.z;
            int const lo = std::max(0, firstCtrl - offset),
                      hi = std::min(unknowns - 1, firstCtrl + degree - offset);
            double* row = system.RowSpan(ua, lo, hi - lo + 1);
            for (int ub = lo; ub <= hi; ++ub)
                row[ub - lo] += basis[a] * basis[ub - firstCtrl + offset];
        }
    }
    if (!system.Factorise()) return EFitStatus::Singular;
    system.Solve(rhs.data(), 3);
    std::copy(rhs.begin(), rhs.end(), ctrl + 3 * offset);
    return EFitStatus::Ok;
}

}  // namespace QEL::Core::CurveFitting

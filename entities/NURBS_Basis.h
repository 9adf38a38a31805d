// SPDX-License-Identifier: MIT
// The B-spline kernels behind knot vectors, curve evaluation and fitting:
// span search and basis functions on a raw knot array, inline, without
// checks and without allocation, for the per-point paths.
//
// The algorithms are the textbook ones (Piegl and Tiller, The NURBS Book):
// A2.1 span search with our end rules, A2.2 basis functions, A2.3 basis
// functions with derivatives. U holds m knots, k is the order (1 .. kMaxOrder).
// The callers check the parameter's range and the knot vector's shape
// (CNURBS_KnotVector does, with its messages).
#pragma once

namespace QEL::Core::NURBS {

// The working arrays of the recursions hold this many entries.
inline constexpr int kMaxOrder = 50;

// Span index i with U[i] <= u < U[i+1] for u within [U[k-1], U[m-k]]:
//  - at the start of the range, the last knot equal to the start (not beyond m-k-1);
//  - at the end, the last span of non-zero length (m-k-1 if there is none);
//  - inside, by bisection: at an interior knot equal to u, the span that
//    starts there (the last one of a repeated knot).
inline int FindSpan(double const* U, int m, int k, double u) {
    int const first = k - 1, last = m - k;
    if (u == U[first]) {
        int i = first;
        while (i < last - 1 && U[i + 1] == u)
            ++i;
        return i;
    }
    if (u == U[last]) {
        for (int i = last - 1; i >= first; --i)
            if (U[i] != u) return i;
        return last - 1;
    }
    int low = first, high = last;
    for (;;) {
        // Never reached with non-decreasing knots; keeps damaged knots from looping.
        if (high - low <= 1) return low;
        int const mid = (low + high) / 2;
        if (U[mid] > u)
            high = mid;
        else if (u >= U[mid + 1])
            low = mid;
        else
            return mid;
    }
}

// As FindSpan, trying the span hint first: successive parameters usually
// fall into the same span, which then costs two comparisons. Same answers as
// FindSpan (a span of non-zero length holding u strictly inside the range
// is the one bisection finds).
inline int FindSpanHinted(double const* U, int m, int k, double u, int hint) {
    if (hint >= k - 1 && hint < m - k && U[hint] <= u && u < U[hint + 1] && u != U[k - 1]) return hint;
    return FindSpan(U, m, k, u);
}

// A2.2: the k non-zero basis functions at u in span i, for control points
// i-k+1 .. i, into N[0 .. k-1].
inline void BasisFuns(double const* U, int i, double u, int k, double* N) {
    double left[kMaxOrder], right[kMaxOrder];
    N[0] = 1.0;
    for (int j = 1; j < k; ++j) {
        left[j] = u - U[i + 1 - j];
        right[j] = U[i + j] - u;
        double saved = 0.0;
        for (int r = 0; r < j; ++r) {
            double const temp = N[r] / (right[r + 1] + left[j - r]);
            N[r] = saved + right[r + 1] * temp;
            saved = left[j - r] * temp;
        }
        N[j] = saved;
    }
}

// The reciprocals of the knot differences that A2.2 divides by in span i:
// at step j (1 .. k-1) and term r (0 .. j-1), 1 / (U[i+r+1] - U[i+r+1-j]),
// stored at inv[j (j-1) / 2 + r] (k (k-1) / 2 values). They depend on the
// span only, so that runs of parameters in one span divide once.
inline void SpanReciprocals(double const* U, int i, int k, double* inv) {
    for (int j = 1; j < k; ++j)
        for (int r = 0; r < j; ++r)
            inv[j * (j - 1) / 2 + r] = 1.0 / (U[i + r + 1] - U[i + r + 1 - j]);
}

// A2.2 with the span's reciprocals (SpanReciprocals) in place of the
// divisions: right[r+1] + left[j-r] is that knot difference. K is the order
// when known at compile time (unrolled), 0 for the run-time order k.
template <int K = 0>
inline void BasisFunsWithReciprocals(double const* U, int i, double u, int k, double const* inv, double* N) {
    constexpr int kFixed = K;
    int const order = kFixed > 0 ? kFixed : k;
    double left[kFixed > 0 ? kFixed : kMaxOrder], right[kFixed > 0 ? kFixed : kMaxOrder];
    N[0] = 1.0;
    for (int j = 1; j < order; ++j) {
        left[j] = u - U[i + 1 - j];
        right[j] = U[i + j] - u;
        double saved = 0.0;
        double const* row = inv + j * (j - 1) / 2;
        for (int r = 0; r < j; ++r) {
            double const temp = N[r] * row[r];
            N[r] = saved + right[r + 1] * temp;
            saved = left[j - r] * temp;
        }
        N[j] = saved;
    }
}

// A2.3: the basis functions and their derivatives up to order n (0 .. k-1)
// at u in span i: ders[j][r] is the j-th derivative of function r. ndu is
// the caller's kMaxOrder x kMaxOrder working table.
inline void BasisFunsDerivs(double const* U, int i, double u, int k, int n, double* const* ders,
                            double (*ndu)[kMaxOrder]) {
    int const p = k - 1;
    double left[kMaxOrder], right[kMaxOrder], a[2][kMaxOrder];
    // Basis values in the upper triangle, knot differences in the lower one.
    ndu[0][0] = 1.0;
    for (int j = 1; j <= p; ++j) {
        left[j] = u - U[i + 1 - j];
        right[j] = U[i + j] - u;
        double saved = 0.0;
        for (int r = 0; r < j; ++r) {
            ndu[j][r] = right[r + 1] + left[j - r];
            double const temp = ndu[r][j - 1] / ndu[j][r];
            ndu[r][j] = saved + right[r + 1] * temp;
            saved = left[j - r] * temp;
        }
        ndu[j][j] = saved;
    }
    for (int j = 0; j <= p; ++j)
        ders[0][j] = ndu[j][p];
    // Derivatives by the two alternating rows of coefficients.
    for (int r = 0; r <= p; ++r) {
        int s1 = 0, s2 = 1;
        a[0][0] = 1.0;
        for (int kk = 1; kk <= n; ++kk) {
            double d = 0.0;
            int const rk = r - kk, pk = p - kk;
            if (r >= kk) {
                a[s2][0] = a[s1][0] / ndu[pk + 1][rk];
                d = a[s2][0] * ndu[rk][pk];
            }
            int const j1 = rk >= -1 ? 1 : -rk;
            int const j2 = r - 1 <= pk ? kk - 1 : p - r;
            for (int j = j1; j <= j2; ++j) {
                a[s2][j] = (a[s1][j] - a[s1][j - 1]) / ndu[pk + 1][rk + j];
                d += a[s2][j] * ndu[rk + j][pk];
            }
            if (r <= pk) {
                a[s2][kk] = -a[s1][kk - 1] / ndu[pk + 1][r];
                d += a[s2][kk] * ndu[r][pk];
            }
            ders[kk][r] = d;
            int const t = s1;
            s1 = s2, s2 = t;
        }
    }
    // The factor p (p-1) ... (p-j+1) of the j-th derivative.
    int factor = p;
    for (int kk = 1; kk <= n; ++kk) {
        for (int j = 0; j <= p; ++j)
            ders[kk][j] *= factor;
        factor *= p - kk;
    }
}

}  // namespace QEL::Core::NURBS

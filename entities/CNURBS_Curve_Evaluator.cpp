// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve_Evaluator.h"

#include <algorithm>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

void CNURBS_Curve_Evaluator::ThrowInvalid() {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Evaluator::CNURBS_Curve_Evaluator");
    op.Throw(QEL_INVALID_CURVE, "curve", "This is an invalid curve");
}

void CNURBS_Curve_Evaluator::Derivs(double u, int n, CVector3<double>* d) const {
    int const p = m_k - 1;
    // Beyond the degree a polynomial piece has no derivative; rational ones are not computed.
    for (int j = p + 1; j <= n; ++j)
        d[j] = CVector3<double>(0.0, 0.0, 0.0);
    if (n > p) n = p;
    if (n < 0) n = 0;
    double rows[NURBS::kMaxOrder][NURBS::kMaxOrder];
    double* ders[NURBS::kMaxOrder];
    for (int j = 0; j <= n; ++j)
        ders[j] = rows[j];
    double ndu[NURBS::kMaxOrder][NURBS::kMaxOrder];
    int const span = Span(u);
    NURBS::BasisFunsDerivs(m_U, span, u, m_k, n, ders, ndu);
    // A3.2 in homogeneous space: A[j] (x, y, z) and w[j].
    CVector3<double> A[NURBS::kMaxOrder];
    double w[NURBS::kMaxOrder];
    int const first = span - p;
    for (int j = 0; j <= n; ++j) {
        double x = 0.0, y = 0.0, z = 0.0, ww = 0.0;
        for (int r = 0; r <= p; ++r) {
            CCtrlPoint const& P = m_P[first + r];
            x += ders[j][r] * P.get_x();
            y += ders[j][r] * P.get_y();
            z += ders[j][r] * P.get_z();
            ww += ders[j][r] * P.get_w();
        }
        A[j] = CVector3<double>(x, y, z);
        w[j] = ww;
    }
    if (w[0] == 1.0 && std::all_of(w + 1, w + n + 1, [](double v) { return v == 0.0; })) {
        for (int j = 0; j <= n; ++j)
            d[j] = A[j];
        return;
    }
    // A4.2: C(k) = (A(k) - sum_{i=1..k} binom(k, i) w(i) C(k-i)) / w(0).
    for (int kk = 0; kk <= n; ++kk) {
        CVector3<double> v = A[kk];
        double binom = 1.0;
        for (int i = 1; i <= kk; ++i) {
            binom = binom * double(kk - i + 1) / double(i);
            v -= d[kk - i] * (binom * w[i]);
        }
        d[kk] = v / w[0];
    }
}

}  // namespace QEL::Core

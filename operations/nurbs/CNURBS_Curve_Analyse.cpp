// SPDX-License-Identifier: MIT
#include "operations/nurbs/CNURBS_Curve_Analyse.h"

#include <algorithm>
#include <cmath>

#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CNURBS_Curve_Evaluator.h"

namespace QEL::Core {

namespace {

// Nodes and weights of 8-point Gauss-Legendre on [-1, 1] (symmetric halves).
constexpr double kNodes[4] = {0.1834346424956498, 0.5255324099163290, 0.7966664774136267, 0.9602898564975363};
constexpr double kWeights[4] = {0.3626837833783620, 0.3137066458778873, 0.2223810344533745,
                                0.1012285362903763};
constexpr int kMaxDepth = 20;

double GaussLength(CNURBS_Curve_Evaluator const& eval, double a, double b) {
    double const mid = 0.5 * (a + b), half = 0.5 * (b - a);
    double sum = 0.0;
    CVector3<double> d[2];
    for (int i = 0; i < 4; ++i)
        for (double const sign : {-1.0, 1.0}) {
            eval.Derivs(mid + sign * half * kNodes[i], 1, d);
            sum += kWeights[i] * d[1].Mag();
        }
    return sum * half;
}

double AdaptiveLength(CNURBS_Curve_Evaluator const& eval, double a, double b, double whole, int depth) {
    double const mid = 0.5 * (a + b);
    double const left = GaussLength(eval, a, mid), right = GaussLength(eval, mid, b);
    // A length that is not finite (a weight of 0 inside the range) cannot improve by halving.
    if (depth >= kMaxDepth || !std::isfinite(left + right) ||
        std::fabs(left + right - whole) <= 1e-13 * std::fabs(left + right))
        return left + right;
    return AdaptiveLength(eval, a, mid, left, depth + 1) + AdaptiveLength(eval, mid, b, right, depth + 1);
}

// The evaluator for the curve as it stands, after the parameter's range check.
CNURBS_Curve_Evaluator Checked(CQEL_Operation const& op, CNURBS_Curve const& curve, int hint, double u,
                               CNURBS_Curve_Evaluator::SSpanCache* cache = nullptr) {
    CNURBS_Curve_Evaluator eval(curve, hint, cache);
    if (!(u >= eval.GetStart() && u <= eval.GetEnd())) op.CheckParameter(false, "parameter_value");
    return eval;
}

}  // namespace

CNURBS_Curve_Analyse::CNURBS_Curve_Analyse(CNURBS_Curve const& curve) : m_curve(curve) {}

CPoint3<double> CNURBS_Curve_Analyse::ComputePoint(double u) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Analyse::ComputePoint");
    // Checked without the frame's Run: this is the per-point call of every
    // sampling loop, and the checks below throw with this location themselves.
    CNURBS_Curve_Evaluator const eval = Checked(op, m_curve, m_hint, u, &m_spanCache);
    CPoint3<double> const p = eval.Point(u);
    m_hint = eval.GetHint();
    return p;
}

void CNURBS_Curve_Analyse::ComputeDerivatives(double u, int num_derivs,
                                              CQEL_Array<CVector3<double>>* pDerivs) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Analyse::ComputeDerivatives");
    op.Run([&] {
        op.Check(pDerivs != nullptr, QEL_NULL_PARAMETER, "pDerivs", "Null Pointer");
        CNURBS_Curve_Evaluator const eval = Checked(op, m_curve, m_hint, u);
        op.CheckRange(num_derivs, 0, eval.GetOrder() - 1, "num_derivs");
        pDerivs->CheckSpace(num_derivs + 1);
        eval.Derivs(u, num_derivs, pDerivs->begin());
        m_hint = eval.GetHint();
    });
}

CVector3<double> CNURBS_Curve_Analyse::ComputeTangent(double u) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Analyse::ComputeTangent");
    return op.Run([&] {
        CNURBS_Curve_Evaluator const eval = Checked(op, m_curve, m_hint, u);
        CVector3<double> d[2];
        eval.Derivs(u, 1, d);
        m_hint = eval.GetHint();
        double const length = d[1].Mag();
        return length > 0.0 ? d[1] / length : CVector3<double>(0.0, 0.0, 0.0);
    });
}

double CNURBS_Curve_Analyse::ComputeCurvature(double u) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Analyse::ComputeCurvature");
    return op.Run([&] {
        CNURBS_Curve_Evaluator const eval = Checked(op, m_curve, m_hint, u);
        CVector3<double> d[3];
        eval.Derivs(u, 2, d);
        m_hint = eval.GetHint();
        double const speed = d[1].Mag();
        return speed > 0.0 ? d[1].Cross(d[2]).Mag() / (speed * speed * speed) : 0.0;
    });
}

double CNURBS_Curve_Analyse::ComputeArcLength(double u0, double u1) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Analyse::ComputeArcLength");
    return op.Run([&] {
        CNURBS_Curve_Evaluator const eval = Checked(op, m_curve, m_hint, u0);
        if (!(u1 >= eval.GetStart() && u1 <= eval.GetEnd())) op.CheckParameter(false, "parameter_value");
        double a = std::min(u0, u1), b = std::max(u0, u1);
        double const* U = eval.GetKnots();
        double length = 0.0;
        // Piece by piece between the knots: the integrand is smooth within a span only.
        for (int i = eval.GetOrder() - 1; i < eval.GetNumCtrl(); ++i) {
            double const lo = std::max(a, U[i]), hi = std::min(b, U[i + 1]);
            if (!(hi > lo)) continue;
            length += AdaptiveLength(eval, lo, hi, GaussLength(eval, lo, hi), 0);
        }
        return length;
    });
}

double CNURBS_Curve_Analyse::ComputeArcLength() const {
    CNURBS_Curve_Evaluator const eval(m_curve);
    return ComputeArcLength(eval.GetStart(), eval.GetEnd());
}

}  // namespace QEL::Core

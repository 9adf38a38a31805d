// SPDX-License-Identifier: MIT
// Curve analysis: points by their definition, exact circles from rational
// curves, derivatives against finite differences, curvature and length.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <string>

#include "core/CQEL_Exception.h"
#include "entities/CNURBS_Curve.h"
#include "operations/nurbs/CNURBS_Curve_Analyse.h"

using namespace QEL::Core;

namespace {

int ReasonAndParam(std::function<void()> const& call, std::string& text) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        text = e.what();
        return e.GetExceptionReason();
    }
    return -1;
}

// The quarter circle of radius r in the xy plane: weights 1, sqrt(2)/2, 1.
CNURBS_Curve QuarterCircle(double r) {
    CNURBS_Curve curve;
    curve.CheckSpace(3, 2);
    double const w = std::sqrt(2.0) / 2;
    curve.set_CtrlPts(0, CCtrlPoint(r, 0, 0, 1));
    curve.set_CtrlPts(1, CCtrlPoint(r * w, r * w, 0, w));
    curve.set_CtrlPts(2, CCtrlPoint(0, r, 0, 1));
    return curve;
}

CNURBS_Curve RandomCurve(int numCtrl, int degree, bool rational, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> coord(-5, 5), weight(0.3, 3);
    CNURBS_Curve curve;
    curve.CheckSpace(numCtrl, degree);
    // Uneven knots with one repeated interior knot.
    CQEL_Array<double>& U = curve.EditKnotVector().EditKnots();
    for (int i = degree + 1; i < numCtrl; ++i)
        U[i] = U[i - 1] + 0.2 + 0.8 * weight(random);
    if (numCtrl > degree + 3) U[degree + 2] = U[degree + 1];
    for (int i = numCtrl; i < numCtrl + degree + 1; ++i)
        U[i] = U[numCtrl - 1] + 1.0;
    for (int i = 0; i < numCtrl; ++i) {
        double const w = rational ? weight(random) : 1.0;
        curve.set_CtrlPts(i, CCtrlPoint(coord(random) * w, coord(random) * w, coord(random) * w, w));
    }
    return curve;
}

}  // namespace

TEST(CNURBS_Curve_Analyse, ComputePoint_IsTheWeightedSumOfItsSpan) {
    CNURBS_Curve const curve = RandomCurve(9, 3, true, 3);
    CNURBS_Curve_Analyse const analyse(curve);
    CNURBS_KnotVector const& kv = curve.GetKnotVector();
    for (int i = 0; i <= 100; ++i) {
        double const u = kv.GetStart() + kv.GetRange() * i / 100.0;
        double N[4];
        int const span = kv.CalcBasisFuns(u, N);
        double s[4] = {0, 0, 0, 0};
        for (int j = 0; j < 4; ++j)
            for (int c = 0; c < 4; ++c)
                s[c] += N[j] * curve.get_CtrlPts(span - 3 + j)[c];
        CPoint3<double> const p = analyse.ComputePoint(u);
        bool const raw = std::fabs(s[3] - 1.0) <= 1e-6;
        EXPECT_NEAR(p.x, raw ? s[0] : s[0] / s[3], 1e-12);
        EXPECT_NEAR(p.y, raw ? s[1] : s[1] / s[3], 1e-12);
        EXPECT_NEAR(p.z, raw ? s[2] : s[2] / s[3], 1e-12);
    }
    // Knots edited in place between two points of one span: the second point follows the edit.
    CNURBS_Curve edited(curve);
    CNURBS_Curve_Analyse const before(edited);
    double const u = 0.5 * (kv.get_Knots(5) + kv.get_Knots(6));
    (void)before.ComputePoint(u);
    edited.EditKnotVector().set_Knots(4, 0.5 * (kv.get_Knots(3) + kv.get_Knots(4)));
    EXPECT_EQ(before.ComputePoint(u), CNURBS_Curve_Analyse(edited).ComputePoint(u));
    EXPECT_NE(before.ComputePoint(u), analyse.ComputePoint(u));
    std::string text;
    EXPECT_EQ(ReasonAndParam([&] { analyse.ComputePoint(std::nextafter(kv.GetEnd(), 1e9)); }, text),
              QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_NE(text.find("parameter_value"), std::string::npos);
    EXPECT_NE(text.find("QEL::Core::CNURBS_Curve_Analyse::ComputePoint"), std::string::npos);
    EXPECT_EQ(ReasonAndParam([] { CNURBS_Curve_Analyse(CNURBS_Curve()).ComputePoint(0.0); }, text),
              QEL_INVALID_CURVE);
}

TEST(CNURBS_Curve_Analyse, RationalQuarterCircle_LiesOnTheCircleWithItsCurvatureAndLength) {
    double const r = 2.5;
    CNURBS_Curve const curve = QuarterCircle(r);
    CNURBS_Curve_Analyse const analyse(curve);
    for (int i = 0; i <= 1000; ++i) {
        double const u = i / 1000.0;
        CPoint3<double> const p = analyse.ComputePoint(u);
        EXPECT_NEAR(std::hypot(p.x, p.y), r, 1e-14 * r) << u;
        EXPECT_EQ(p.z, 0.0);
        EXPECT_NEAR(analyse.ComputeCurvature(u), 1.0 / r, 1e-12);
        CVector3<double> const t = analyse.ComputeTangent(u);
        EXPECT_NEAR(t.x * p.x + t.y * p.y, 0.0, 1e-12);  // tangent perpendicular to the radius
    }
    EXPECT_NEAR(analyse.ComputeArcLength(), r * std::atan(1.0) * 2, 1e-12);
    EXPECT_NEAR(analyse.ComputeArcLength(1.0, 0.0), analyse.ComputeArcLength(), 0.0);
}

TEST(CNURBS_Curve_Analyse, Derivatives_MatchFiniteDifferencesUpToTheDegree) {
    for (bool rational : {false, true}) {
        CNURBS_Curve const curve = RandomCurve(12, 4, rational, rational ? 5u : 6u);
        CNURBS_Curve_Analyse const analyse(curve);
        CQEL_Array<CVector3<double>> d, lo, hi;
        double const* U = curve.GetKnotVector().GetKnots().begin();
        std::mt19937 random(9);
        std::uniform_real_distribution<double> param(curve.GetStartU(), curve.GetEndU());
        for (int trial = 0; trial < 100; ++trial) {
            double const u = param(random), h = 1e-5;
            int const span = curve.GetKnotVector().FindKnotSpan(u);
            if (u - h <= U[span] || u + h >= U[span + 1]) continue;  // differences across a knot
            analyse.ComputeDerivatives(u, 4, &d);
            analyse.ComputeDerivatives(u - h, 4, &lo);
            analyse.ComputeDerivatives(u + h, 4, &hi);
            CPoint3<double> const p = analyse.ComputePoint(u);
            if (!rational) {
                EXPECT_LT(CVector3<double>(p.x - d[0].x, p.y - d[0].y, p.z - d[0].z).Mag(), 1e-12);
            }
            for (int k = 1; k <= 4; ++k) {
                CVector3<double> const fd = (hi[k - 1] - lo[k - 1]) / (2 * h);
                EXPECT_LT((fd - d[k]).Mag(), 1e-5 * (1 + d[k].Mag()))
                    << "order " << k << " rational " << rational;
            }
        }
        std::string text;
        EXPECT_EQ(ReasonAndParam([&] { analyse.ComputeDerivatives(0.5, 5, &d); }, text),
                  QEL_PARAMETER_OUT_OF_RANGE);
        EXPECT_NE(text.find("num_derivs"), std::string::npos);
    }
}

TEST(CNURBS_Curve_Analyse, ArcLength_AgreesWithAFinePolyline) {
    CNURBS_Curve const curve = RandomCurve(30, 3, true, 8);
    CNURBS_Curve_Analyse const analyse(curve);
    double polyline = 0.0;
    int const pieces = 400000;
    CPoint3<double> prev = analyse.ComputePoint(curve.GetStartU());
    for (int i = 1; i <= pieces; ++i) {
        CPoint3<double> const p = analyse.ComputePoint(curve.GetStartU() + curve.GetRangeU() * i / pieces);
        polyline += p.Distance(prev);
        prev = p;
    }
    double const length = analyse.ComputeArcLength();
    EXPECT_GT(length, polyline);  // a chord is never longer than its arc
    EXPECT_NEAR(length, polyline, 1e-6 * length);
}

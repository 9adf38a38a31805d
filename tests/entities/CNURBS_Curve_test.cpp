// SPDX-License-Identifier: MIT
// The NURBS curve entity: control points in homogeneous form, the curve's
// shape and checks, its cache and its closest-point finder.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "PointSetTestUtil.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"
#include "core/CTransform4.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CNURBS_Curve_ClosestPoint.h"
#include "entities/CNURBS_Curve_Evaluator.h"
#include "test_helpers/ChannelLog.h"

using namespace QEL::Core;
using QEL::Elements::CTransform4;
using QEL::Test::SChannelLog;
using ::testing::ElementsAre;

namespace {

// A cubic through a wavy control polygon, clamped uniform knots on [0, 1].
CNURBS_Curve Wavy(int numCtrl, double weightWobble = 0.0) {
    CNURBS_Curve curve;
    curve.CheckSpace(numCtrl, 3);
    for (int i = 0; i < numCtrl; ++i) {
        double const w = 1.0 + weightWobble * std::sin(0.7 * i);
        CPoint3<double> const p(i, std::sin(0.9 * i) * 2.0, std::cos(0.4 * i));
        curve.set_CtrlPts(i, CCtrlPoint(p.x * w, p.y * w, p.z * w, w));
    }
    return curve;
}

}  // namespace

TEST(CCtrlPoint, HomogeneousStorageValidationAndArithmetic) {
    CCtrlPoint const unit(CPoint3<double>(1, 2, 3));
    EXPECT_EQ(unit.get_w(), 1.0);
    CCtrlPoint const weighted(2, 4, 6, 2);  // (1, 2, 3) at weight 2
    EXPECT_EQ(weighted.GetCartesianPt(), CPoint3<double>(1, 2, 3));
    EXPECT_EQ(CPoint3<float>(weighted), CPoint3<float>(1, 2, 3));
    EXPECT_DOUBLE_EQ(weighted.CalcDist4DFrom(unit), std::sqrt(1 + 4 + 9 + 1.0));
    EXPECT_EQ(weighted + unit, CCtrlPoint(3, 6, 9, 3));
    EXPECT_EQ(weighted - unit, CCtrlPoint(1, 2, 3, 1));
    EXPECT_EQ(unit * 2.0, weighted);
    EXPECT_EQ(weighted / 2.0, unit);
    EXPECT_EQ(weighted[3], 2.0);
    std::string const text =
        ExpectQelError([] { CCtrlPoint(1, 1, 1, 0).GetCartesianPt(); }, QEL_INVALID_PARAMETER, "w");
    EXPECT_NE(text.find("The Control Point's weight cannot be zero"), std::string::npos);
}

TEST(CCtrlPoint, Compare_LargerCoordinateComesFirstThenWeight) {
    CCtrlPoint const a(CPoint3<double>(2, 0, 0)), b(CPoint3<double>(1, 0, 0));
    EXPECT_EQ(a.Compare(b, 1e-9), -1);
    EXPECT_EQ(b.Compare(a, 1e-9), 1);
    EXPECT_EQ(a.Compare(a, 1e-9), 0);
    EXPECT_EQ(a.Compare(b, 0.6), 0);  // |2/2 - 1/2| = 0.5 is within tol
    // Same Cartesian point, larger weight first.
    CCtrlPoint const heavy(4, 0, 0, 2);
    EXPECT_EQ(heavy.Compare(a, 1e-9), -1);
    EXPECT_EQ(a.Compare(heavy, 1e-9), 1);
}

TEST(CCtrlPoint, Transform_KeepsTheWeightAndAppliesTheProjectiveRow) {
    CTransform4<double> shift = CTransform4<double>::Identity();
    shift.SetTranslation({1, 0, 0});
    CCtrlPoint p(2, 4, 6, 2);
    p *= shift;
    EXPECT_EQ(p, CCtrlPoint(4, 4, 6, 2));
    // A projective row dividing by 2: (1, 2, 3) -> (0.5, 1, 1.5), stored at weight 2.
    CTransform4<double> half = CTransform4<double>::Identity();
    half[15] = 2.0;
    CCtrlPoint q(2, 4, 6, 2);
    q *= half;
    EXPECT_EQ(q, CCtrlPoint(1, 2, 3, 2));
    // Projective result exactly 0: the image is taken undivided.
    CTransform4<double> flat = CTransform4<double>::Identity();
    flat[15] = 0.0;
    CCtrlPoint r(2, 4, 6, 2);
    r *= flat;
    EXPECT_EQ(r, CCtrlPoint(2, 4, 6, 2));
}

TEST(CNURBS_Curve, CheckSpace_ShapesClampedUniformKnotsAndChecksItsArguments) {
    CNURBS_Curve curve;
    EXPECT_EQ(curve.GetOrder(), -1);
    EXPECT_EQ(curve.GetNumKnots(), 0);
    EXPECT_FALSE(curve.IsClosed());
    EXPECT_EQ(curve.GetCurrentMaxDeviation(), 0.05);
    curve.CheckSpace(5, 2);
    EXPECT_EQ(curve.GetOrder(), 3);
    EXPECT_EQ(curve.GetNumCtrl(), 5);
    EXPECT_EQ(curve.GetUpperIndex(), 4);
    EXPECT_EQ(curve.GetApproxSize() % 40, 0);
    EXPECT_THAT(
        std::vector<double>(curve.GetKnotVector().GetKnots().begin(), curve.GetKnotVector().GetKnots().end()),
        ElementsAre(0, 0, 0, 1.0 / 3, 2.0 / 3, 1, 1, 1));
    EXPECT_EQ(curve.get_CtrlPts(4), CCtrlPoint());
    // The right count keeps the knots as they are.
    curve.EditKnotVector().set_Knots(3, 0.25);
    curve.CheckSpace(5, 2);
    EXPECT_EQ(curve.GetKnotVector().get_Knots(3), 0.25);
    ExpectQelError([&] { curve.CheckSpace(5, 0); }, QEL_PARAMETER_OUT_OF_RANGE, "degree");
    ExpectQelError([&] { curve.CheckSpace(3, 3); }, QEL_PARAMETER_OUT_OF_RANGE, "num_ctrl_pts");
    ExpectQelError([&] { curve.get_CtrlPts(5); }, QEL_INDEX_OUT_OF_RANGE, "ctrl_pt_index");
    ExpectQelError([] { CNURBS_Curve().Validate(); }, QEL_INVALID_CURVE, "knots");

    // Knots written while the order is unset: warned about, then replaced.
    SChannelLog warnings(CQEL_Output_Events::EChannel::Warning);
    CNURBS_Curve illegal;
    illegal.EditKnotVector().EditKnots().PushBack(0.5);
    illegal.CheckSpace(2, 1);
    EXPECT_THAT(warnings.lines, ElementsAre("Member functions modified illegally"));
    EXPECT_EQ(illegal.GetNumKnots(), 4);
}

TEST(CNURBS_Curve, RationalityToleranceDefaultsCopyResetAndDetails) {
    double const saved = CNURBS_Curve::GetDefaultMaxDeviation();
    CNURBS_Curve::SetDefaultMaxDeviation(0.2);
    CNURBS_Curve curve = Wavy(6);
    CNURBS_Curve::SetDefaultMaxDeviation(saved);
    EXPECT_TRUE(CNURBS_Curve().IsNonRational());
    EXPECT_TRUE(curve.IsNonRational());
    EXPECT_EQ(curve.CalculateTolerance(), 0.2);
    curve.get_CtrlPts(2).set_w(0.5);  // homogeneous x, y, z stay: the point moves to twice them
    EXPECT_FALSE(curve.IsNonRational());
    double pMax = 0.0;
    for (CCtrlPoint const& p : curve.GetCtrlPts())
        pMax = std::max(pMax, p.GetCartesianPt().Distance({0, 0, 0}));
    EXPECT_DOUBLE_EQ(curve.CalculateTolerance(), 0.2 * 0.5 / (1 + pMax));

    curve.SetClosed(true);
    curve.SetName(CQEL_String::FromASCII("wave"));
    CNURBS_Curve copy(curve);
    EXPECT_EQ(copy.GetName(), curve.GetName());
    EXPECT_TRUE(copy.IsClosed());
    EXPECT_EQ(copy.get_CtrlPts(2), curve.get_CtrlPts(2));
    copy.get_CtrlPts(2).set_x(99);  // the copy owns its points
    EXPECT_NE(copy.get_CtrlPts(2), curve.get_CtrlPts(2));

    SChannelLog text(CQEL_Output_Events::EChannel::Text);
    curve.Details();
    EXPECT_THAT(text.lines, ElementsAre("Curve details:-", "  NumCtrlPts = 6", "  iOrder = 4",
                                        "  bClosed = 1", "  bNonRational = 0", "  bPeriodic = 0",
                                        "  fStart = 0.000000", "  fEnd = 1.000000"));
    curve.Reset();
    EXPECT_EQ(curve.GetOrder(), -1);
    EXPECT_EQ(curve.GetCtrlPts().Count(), 0);
    EXPECT_FALSE(curve.IsClosed());
    EXPECT_EQ(curve.GetCurrentMaxDeviation(), saved);
    EXPECT_EQ(curve.GetMax(), CPoint3<double>(0, 0, 0));
}

TEST(CNURBS_Curve, Cache_FollowsEveryKindOfChange) {
    CNURBS_Curve curve = Wavy(8);
    CQEL_Array<double> const& grev = curve.GetCache().GetGrevValues();
    ASSERT_EQ(grev.Count(), 8);
    EXPECT_EQ(grev[0], 0.0);
    EXPECT_DOUBLE_EQ(grev[1], (0 + 0 + 0.2) / 3);
    EXPECT_EQ(grev[7], 1.0);
    double const maxX = curve.GetMax().x;
    EXPECT_NEAR(maxX, 7.0, 1e-12);  // the clamped end
    // Through a bound point's setter, through set_CtrlPts, through the knots, through a transform.
    curve.get_CtrlPts(7).set_x(10.0);
    EXPECT_NEAR(curve.GetMax().x, 10.0, 1e-12);
    curve.set_CtrlPts(7, CCtrlPoint(CPoint3<double>(12, 0, 0)));
    EXPECT_NEAR(curve.GetMax().x, 12.0, 1e-12);
    curve.EditKnotVector().set_Knots(5, 0.3);
    EXPECT_NE(curve.GetCache().GetGrevValues()[2], (0 + 0.2 + 0.4) / 3);
    CTransform4<double> shift = CTransform4<double>::Identity();
    shift.SetTranslation({0, 0, 5});
    CPoint3<double> const before = curve.GetCenMass();
    curve.Transform(shift);
    EXPECT_NEAR(curve.GetCenMass().z, before.z + 5, 1e-12);
    // The render mesh lies within the tolerance of the curve at every chord's middle.
    SCurveMesh const& render = curve.GetCache().GetRenderMesh();
    CNURBS_Curve_Evaluator const eval(curve);
    for (int i = 1; i < render.points.Count(); ++i) {
        CPoint3<double> const a = render.points[i - 1], b = render.points[i];
        CPoint3<double> const mid((a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2);
        EXPECT_LE(eval.Point((render.params[i - 1] + render.params[i]) / 2).Distance(mid), 0.05 * 1.0001);
    }
    // Registration mesh: evenly spaced in arc length, both ends included.
    curve.GetCache().SetRegistrationMeshParameters(11, 0.0, 1.0, true);
    SCurveMesh const& reg = curve.GetCache().GetRegistrationMesh();
    ASSERT_EQ(reg.points.Count(), 11);
    EXPECT_EQ(reg.params[0], 0.0);
    EXPECT_EQ(reg.params[10], 1.0);
    ExpectQelError([&] { curve.GetCache().SetRegistrationMeshParameters(1, 0, 1, true); },
                   QEL_PARAMETER_OUT_OF_RANGE, "num_points");
}

TEST(CNURBS_Curve, DegreeElevation_KeepsTheShapeOfABezierSection) {
    CNURBS_Curve curve;
    curve.CheckSpace(4, 3);
    double const w[4] = {1.0, 0.5, 2.0, 1.0};
    for (int i = 0; i < 4; ++i)
        curve.set_CtrlPts(i, CCtrlPoint(i * w[i], (i % 2) * w[i], i * i * w[i], w[i]));
    CNURBS_Curve const before(curve);
    curve.DegreeElevationBezierSection(2);
    EXPECT_EQ(curve.GetDegree(), 5);
    EXPECT_EQ(curve.GetNumCtrl(), 6);
    CNURBS_Curve_Evaluator const a(before), b(curve);
    for (int i = 0; i <= 20; ++i)
        EXPECT_LT(a.Point(i / 20.0).Distance(b.Point(i / 20.0)), 1e-14);
    ExpectQelError([&] { Wavy(6).DegreeElevationBezierSection(1); }, QEL_INVALID_PARAMETER, "curve");
    ExpectQelError([&] { curve.DegreeElevationBezierSection(0); }, QEL_PARAMETER_OUT_OF_RANGE, "elevation");
}

TEST(CNURBS_Curve, ClosestPoint_AgreesWithDenseSamplingAndIsAFootPoint) {
    for (double wobble : {0.0, 0.4}) {
        CNURBS_Curve const curve = Wavy(40, wobble);
        CNURBS_Curve_Evaluator const eval(curve);
        std::vector<CPoint3<double>> dense;
        int const samples = 200000;
        for (int i = 0; i <= samples; ++i)
            dense.push_back(eval.Point(double(i) / samples));
        std::mt19937 random(11);
        std::uniform_real_distribution<double> x(-3, 42), yz(-4, 4);
        for (int trial = 0; trial < 100; ++trial) {
            CPoint3<double> const q(x(random), yz(random), yz(random));
            SClosestCurvePoint found;
            ASSERT_TRUE(curve.FindClosestPoint(q, found));
            double best = HUGE_VAL;
            for (CPoint3<double> const& p : dense)
                best = std::min(best, p.Distance(q));
            // Never worse than the samples, and within the sampling's resolution of them.
            EXPECT_LE(found.distance, best + 1e-12);
            EXPECT_GT(found.distance, best - 1e-3);
            EXPECT_NEAR(found.point.Distance(q), found.distance, 1e-12);
            EXPECT_LT(found.point.Distance(eval.Point(found.param)), 1e-9);
            // Interior answers are foot points: the offset is perpendicular to the tangent.
            if (found.param > 1e-9 && found.param < 1 - 1e-9) {
                CVector3<double> d[2];
                eval.Derivs(found.param, 1, d);
                CVector3<double> const r = q - found.point;
                EXPECT_LT(std::fabs(r.Dot(d[1])) / (d[1].Mag() * std::max(r.Mag(), 1e-300)), 1e-7);
            }
        }
    }
    // A replaced factory is used; null gives the library's own back.
    static int made = 0;
    CNURBS_Curve curve = Wavy(5);
    curve.RegisterQueryCPF([](CNURBS_Curve const& c) -> std::unique_ptr<INURBS_Curve_ClosestPointFinder> {
        ++made;
        return CNURBS_Curve_ClosestPoint::Create(c);
    });
    SClosestCurvePoint found;
    curve.FindClosestPoint({0, 0, 0}, found);
    curve.FindClosestPoint({1, 0, 0}, found);
    EXPECT_EQ(made, 1);
    curve.get_CtrlPts(0).set_y(1.0);  // a change drops the finder
    curve.FindClosestPoint({1, 0, 0}, found);
    EXPECT_EQ(made, 2);
    EXPECT_FALSE(CNURBS_Curve_ClosestPoint(CNURBS_Curve()).FindClosest({0, 0, 0}, found));
}

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "core/QEL_LinearAlgebra.h"
#include "operations/nurbs/CNURBS_Curve_Create.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;

namespace {

double const kPi = std::atan(1.0) * 4.0;

// The oracle: de Boor's algorithm on the homogeneous control points, with
// its own span search (the last span of non-zero length at the end). It
// shares nothing with the library's basis functions.
CPoint3<double> Eval(CNURBS_Curve const& curve, double u) {
    int const p = curve.GetDegree(), n = curve.GetNumCtrl();
    std::vector<double> const U(curve.GetKnotVector().GetKnots().begin(),
                                curve.GetKnotVector().GetKnots().end());
    int k = p;
    while (k < n - 1 && U[std::size_t(k) + 1] <= u)
        ++k;
    std::vector<std::array<double, 4>> d(std::size_t(p) + 1);
    for (int j = 0; j <= p; ++j) {
        CCtrlPoint const& c = curve.get_CtrlPts(j + k - p);
        d[std::size_t(j)] = {c.get_x(), c.get_y(), c.get_z(), c.get_w()};
    }
    for (int r = 1; r <= p; ++r)
        for (int j = p; j >= r; --j) {
            std::size_t const i = std::size_t(j + k - p);
            double const a = (u - U[i]) / (U[i + std::size_t(p) + 1 - std::size_t(r)] - U[i]);
            for (int c = 0; c < 4; ++c)
                d[std::size_t(j)][std::size_t(c)] =
                    (1 - a) * d[std::size_t(j) - 1][std::size_t(c)] + a * d[std::size_t(j)][std::size_t(c)];
        }
    auto const& h = d[std::size_t(p)];
    return {h[0] / h[3], h[1] / h[3], h[2] / h[3]};
}

// Basis function i of the curve at u, by the recursive definition (for the
// oracle parameters of code 2).
double Basis(std::vector<double> const& U, int i, int p, double u) {
    if (p == 0) return (U[std::size_t(i)] <= u && u < U[std::size_t(i) + 1]) ? 1.0 : 0.0;
    double left = 0.0, right = 0.0;
    double const dl = U[std::size_t(i + p)] - U[std::size_t(i)];
    double const dr = U[std::size_t(i + p + 1)] - U[std::size_t(i + 1)];
    if (dl > 0) left = (u - U[std::size_t(i)]) / dl * Basis(U, i, p - 1, u);
    if (dr > 0) right = (U[std::size_t(i + p + 1)] - u) / dr * Basis(U, i + 1, p - 1, u);
    return left + right;
}

CPointSet_Section Scan(std::vector<CPoint3<double>> const& points) {
    CPointSet_Section scan(int(points.size()), CPtsData::def);
    for (int i = 0; i < int(points.size()); ++i)
        scan.set_Pts(i, points[std::size_t(i)]);
    return scan;
}

// An open, unevenly spaced scan (a wavy helix) and a closed one (a
// rounded square whose last point is the first, bit for bit).
std::vector<CPoint3<double>> OpenScan(int n) {
    std::vector<CPoint3<double>> pts;
    for (int i = 0; i < n; ++i) {
        double const s = double(i) / (n - 1) + 0.02 * std::sin(9.0 * i);
        pts.emplace_back(30 * std::cos(4 * s), 30 * std::sin(4 * s) + 3 * std::sin(17 * s), 10 * s);
    }
    return pts;
}
std::vector<CPoint3<double>> ClosedScan(int n) {
    std::vector<CPoint3<double>> pts;
    for (int i = 0; i < n - 1; ++i) {
        double const a = 2 * kPi * i / (n - 1);
        pts.emplace_back(20 * std::cos(a) + 2 * std::cos(3 * a), 20 * std::sin(a), 1 + std::sin(2 * a));
    }
    pts.push_back(pts.front());
    return pts;
}

// The parameters a code gives, computed here from their definitions.
std::vector<double> OracleParameters(std::vector<CPoint3<double>> const& pts, CNURBS_Curve const& curve,
                                     int code) {
    int const n = int(pts.size());
    std::vector<double> t(std::size_t(n), 0.0);
    if (code == 0 || code == 1) {
        for (int i = 1; i < n; ++i) {
            double const d = (pts[std::size_t(i)] - pts[std::size_t(i) - 1]).Mag();
            t[std::size_t(i)] = t[std::size_t(i) - 1] + (code == 1 ? std::sqrt(d) : d);
        }
        for (double& v : t)
            v /= t.back();
    } else if (code == 3) {
        for (int i = 0; i < n; ++i)
            t[std::size_t(i)] = double(i) / (n - 1);
    } else {
        // The maximum of each basis function: bisection on the sign of its
        // derivative, p (N[i, p-1] / (U[i+p] - U[i]) - N[i+1, p-1] / (U[i+p+1] - U[i+1])).
        std::vector<double> const U(curve.GetKnotVector().GetKnots().begin(),
                                    curve.GetKnotVector().GetKnots().end());
        int const p = curve.GetDegree();
        auto slope = [&](int i, double u) {
            double const dl = U[std::size_t(i + p)] - U[std::size_t(i)];
            double const dr = U[std::size_t(i + p + 1)] - U[std::size_t(i + 1)];
            return (dl > 0 ? Basis(U, i, p - 1, u) / dl : 0.0) -
                   (dr > 0 ? Basis(U, i + 1, p - 1, u) / dr : 0.0);
        };
        t.back() = 1.0;
        for (int i = 1; i < n - 1; ++i) {
            double a = U[std::size_t(i)], b = U[std::size_t(i + p + 1)];
            if (p == 1) a = b = U[std::size_t(i + 1)];
            while (b - a > 1e-15) {
                double const c = (a + b) / 2;
                double const d = slope(i, c);
                if (d == 0.0)
                    a = b = c;
                else
                    (d > 0 ? a : b) = c;
            }
            t[std::size_t(i)] = (a + b) / 2;
        }
    }
    return t;
}

// "Param name - <param> ... Message - <message> ...".
std::string Failure(std::function<void()> const& call) {
    try {
        call();
    } catch (CQEL_Exception const& e) {
        return std::to_string(e.GetExceptionReason()) + " " + e.what();
    }
    return "no exception";
}

}  // namespace

TEST(CNURBS_Curve_Create, ArcsLieOnTheirCircleAtEverySampleWithTheKnotLayoutOfTheirSweep) {
    CPoint3<double> const centre(1, -2, 3);
    CVector3<double> const x(0, 0, 2), y(1, 1, 0);  // not unit, y not unit: normalised
    CVector3<double> const ex(0, 0, 1), ey = CVector3<double>(1, 1, 0) / std::sqrt(2.0);
    struct SArc {
        double start, end;
        int segments;
        bool closed;
    } const arcs[] = {{0, kPi / 2, 1, false},
                      {0.3, 0.3 + kPi, 2, false},
                      {-1, -1 + 1.5 * kPi, 3, false},
                      {0, 2 * kPi, 4, true},
                      {5.0, 1.0, 2, false} /* start > end: 5 -> 1 + 2 pi, 131 degrees */};
    for (SArc const& arc : arcs) {
        CNURBS_Curve curve;
        CNURBS_Curve_Create(curve).CircularArc(centre, x, y, 7.5, arc.start, arc.end);
        SCOPED_TRACE(arc.start);
        ASSERT_EQ(curve.GetNumCtrl(), 2 * arc.segments + 1);
        EXPECT_EQ(curve.GetDegree(), 2);
        EXPECT_EQ(curve.IsClosed(), arc.closed);
        EXPECT_FALSE(curve.IsPeriodic());
        std::vector<double> expected = {0, 0, 0};
        for (int s = 1; s < arc.segments; ++s)
            expected.insert(expected.end(), 2, double(s) / arc.segments);
        expected.insert(expected.end(), {1, 1, 1});
        EXPECT_EQ(std::vector<double>(curve.GetKnotVector().GetKnots().begin(),
                                      curve.GetKnotVector().GetKnots().end()),
                  expected);
        double const end = arc.end < arc.start ? arc.end + 2 * kPi : arc.end;
        for (int i = 0; i <= 400; ++i) {
            double const u = i / 400.0;
            CVector3<double> const d = Eval(curve, u) - centre;
            ASSERT_NEAR(d.Mag(), 7.5, 1e-12 * 7.5) << u;
            ASSERT_NEAR(d.Dot(ex.Cross(ey)), 0.0, 1e-12 * 7.5);
        }
        auto angleAt = [&](double u) {
            CVector3<double> const d = Eval(curve, u) - centre;
            return std::atan2(d.Dot(ey), d.Dot(ex));
        };
        // Ends where asked, and the middle of the curve half way round (increasing angles).
        EXPECT_NEAR(std::remainder(angleAt(0) - arc.start, 2 * kPi), 0, 1e-12);
        EXPECT_NEAR(std::remainder(angleAt(1) - end, 2 * kPi), 0, 1e-12);
        EXPECT_NEAR(std::remainder(angleAt(0.5) - (arc.start + end) / 2, 2 * kPi), 0, 1e-12);
    }
}

TEST(CNURBS_Curve_Create, InterpolationPassesThroughEveryScanPointForEveryParameterisation) {
    for (bool const closed : {false, true})
        for (int const degree : {1, 2, 3, 5})
            for (int const code : {0, 1, 2, 3, 7}) {
                std::vector<CPoint3<double>> const pts = closed ? ClosedScan(61) : OpenScan(57);
                CNURBS_Curve curve;
                CNURBS_Curve_Create(curve).InterpolateScan(Scan(pts), degree, code);
                SCOPED_TRACE(testing::Message()
                             << "closed " << closed << " degree " << degree << " code " << code);
                ASSERT_EQ(curve.GetNumCtrl(), int(pts.size()));
                EXPECT_EQ(curve.IsClosed(), closed);
                EXPECT_FALSE(curve.IsPeriodic());
                EXPECT_TRUE(curve.IsNonRational());
                std::vector<double> const t = OracleParameters(pts, curve, code);
                double scale = 0.0, worst = 0.0;
                for (std::size_t i = 0; i < pts.size(); ++i) {
                    scale = std::max(scale, CVector3<double>(pts[i].x, pts[i].y, pts[i].z).Mag());
                    worst = std::max(worst, (Eval(curve, t[i]) - pts[i]).Mag());
                }
                EXPECT_LT(worst / scale, 1e-12);
                if (code == 2 || code == 7) {
                    // Clamped uniform knots.
                    for (int j = degree + 1; j < curve.GetNumCtrl(); ++j)
                        EXPECT_NEAR(curve.GetKnotVector().get_Knots(j),
                                    double(j - degree) / (curve.GetNumCtrl() - degree), 1e-15);
                }
            }
}

TEST(CNURBS_Curve_Create, InterpolationAtGivenParametersKeepsTheirRange) {
    std::vector<CPoint3<double>> const pts = OpenScan(40);
    CPointSet_Section scan = Scan(pts);
    scan.AddMetaData(CPtsData::cuv);
    for (int i = 0; i < scan.GetNumPts(); ++i)
        scan.set_CUV(i, CPoint2<double>(5.0 + i * i * 0.01, 0.0));
    CNURBS_Curve curve;
    CNURBS_Curve_Create(curve).InterpolateScan_Params(scan, 3);
    EXPECT_EQ(curve.GetStartU(), 5.0);
    EXPECT_EQ(curve.GetEndU(), 5.0 + 39 * 39 * 0.01);
    for (int i = 0; i < scan.GetNumPts(); ++i)
        EXPECT_LT((Eval(curve, scan.get_CUV(i).x) - pts[std::size_t(i)]).Mag(), 1e-12 * 40);
}

TEST(CNURBS_Curve_Create, ApproximationErrorFallsAsControlPointsAreAddedAndMatchesDenseLeastSquares) {
    std::vector<CPoint3<double>> const pts = OpenScan(400);
    CPointSet_Section const scan = Scan(pts);
    double previous = 1e300;
    for (int const numCtrl : {6, 10, 16, 30, 60, 120}) {
        CNURBS_Curve curve;
        CNURBS_Curve_Create(curve).ApproximateScan(scan, numCtrl, 3, false);
        std::vector<double> const t = OracleParameters(pts, curve, 0);
        double sum = 0.0;
        for (std::size_t i = 0; i < pts.size(); ++i)
            sum += (Eval(curve, t[i]) - pts[i]).MagSq();
        EXPECT_LT(sum, previous) << numCtrl;
        previous = sum;
        // Ends pinned to the scan's ends.
        EXPECT_EQ(CPoint3<double>(curve.get_CtrlPts(0).GetCartesianPt()), pts.front());
        EXPECT_EQ(CPoint3<double>(curve.get_CtrlPts(numCtrl - 1).GetCartesianPt()), pts.back());
    }

    // Parameters inside the range leave every control point free: the same as
    // the dense least-squares solution over the basis matrix.
    CNURBS_Curve curve;
    CNURBS_Curve_Create(curve).FromTwoPoints(CPoint3<double>(0, 0, 0), CPoint3<double>(1, 1, 1), 9, 3);
    CPointSet_Section inner = Scan(std::vector<CPoint3<double>>(pts.begin() + 1, pts.end() - 1));
    inner.AddMetaData(CPtsData::cuv);
    int const m = inner.GetNumPts();
    std::vector<double> const U(curve.GetKnotVector().GetKnots().begin(),
                                curve.GetKnotVector().GetKnots().end());
    CQEL_Matrix a(m, 9), b(m, 3);
    for (int k = 0; k < m; ++k) {
        double const u = (k + 0.5) / m;
        inner.set_CUV(k, CPoint2<double>(u, 0));
        for (int j = 0; j < 9; ++j)
            a(k, j) = Basis(U, j, 3, u);
        b(k, 0) = inner.get_Pts(k).x, b(k, 1) = inner.get_Pts(k).y, b(k, 2) = inner.get_Pts(k).z;
    }
    CNURBS_Curve_Create(curve).ApproximateScan(inner);
    CQEL_Matrix const x = SolveLeastSquares(a, b);
    for (int j = 0; j < 9; ++j) {
        CPoint3<double> const c = curve.get_CtrlPts(j).GetCartesianPt();
        EXPECT_NEAR(c.x, x(j, 0), 1e-9);
        EXPECT_NEAR(c.y, x(j, 1), 1e-9);
        EXPECT_NEAR(c.z, x(j, 2), 1e-9);
    }
}

TEST(CNURBS_Curve_Create, LinesNetsAndScanListsHaveTheirShape) {
    CNURBS_Curve line;
    CPoint3<double> const a(1, 2, 3), b(-4, 6, 11);
    // Greville spacing: the line runs at constant speed, start + u (end - start).
    CNURBS_Curve_Create(line).FromTwoPoints(a, b, 7, 3);
    for (int i = 0; i <= 50; ++i)
        EXPECT_LT((Eval(line, i / 50.0) - (a + (b - a) * (i / 50.0))).Mag(), 1e-13);
    CNURBS_Curve_Create(line).FromTwoPoints(a, b, 4, 3);  // one Bezier segment, evenly spaced
    for (int i = 0; i < 4; ++i)
        EXPECT_LT((line.get_CtrlPts(i).GetCartesianPt() - (a + (b - a) * (i / 3.0))).Mag(), 1e-14);

    CNURBS_Curve net;
    CNURBS_Curve_Create(net).FromFourPoints(a, b, CPoint3<double>(0, 0, 0), CPoint3<double>(5, 5, 5), 2);
    EXPECT_EQ(net.GetNumCtrl(), 4);
    EXPECT_EQ(net.get_CtrlPts(1).GetCartesianPt(), b);
    EXPECT_EQ(
        std::vector<double>(net.GetKnotVector().GetKnots().begin(), net.GetKnotVector().GetKnots().end()),
        (std::vector<double>{0, 0, 0, 0.5, 1, 1, 1}));

    CPointSet scans(3, 0, CPtsData::def);
    for (int s = 0; s < 3; ++s)
        for (CPoint3<double> const& p : OpenScan(20 + s))
            scans.get_Sec(s).AddPoint(p + CVector3<double>(0, 0, 5.0 * s));
    CQEL_ObjectList<CNURBS_Curve> curves;
    CNURBS_Curve_Create::InterpolateScans(scans, &curves, 3, 0);
    CNURBS_Curve_Create::ApproximateScans(scans, 8, &curves, 2);
    ASSERT_EQ(curves.GetNum(), 6);
    for (int s = 0; s < 3; ++s) {
        EXPECT_EQ(curves[s].GetNumCtrl(), 20 + s);
        EXPECT_EQ(curves[3 + s].GetNumCtrl(), 8);
        EXPECT_EQ(curves[3 + s].GetDegree(), 2);
    }
}

TEST(CNURBS_Curve_Create, EveryCheckReportsItsReasonParameterAndMessage) {
    CNURBS_Curve curve;
    CNURBS_Curve_Create create(curve);
    CPoint3<double> const o(0, 0, 0), e(1, 0, 0);
    CVector3<double> const x(1, 0, 0), y(0, 1, 0);
    CPointSet_Section const three = Scan({o, e, CPoint3<double>(2, 1, 0)});
    CPointSet_Section const repeated = Scan({o, e, e, CPoint3<double>(2, 1, 0)});
    CPointSet_Section const empty;
    CPointSet twoSections(2, 3, CPtsData::def), emptySet(1, 0, CPtsData::def), noSections;
    CPointSet oneSection(1, 3, CPtsData::def), smallScans(2, 3, CPtsData::def);
    CQEL_ObjectList<CNURBS_Curve> list;
    CPointSet_Section withParams = Scan({o, e, CPoint3<double>(2, 1, 0), CPoint3<double>(3, 0, 0)});
    withParams.AddMetaData(CPtsData::cuv);
    for (int i = 0; i < 4; ++i)
        withParams.set_CUV(i, CPoint2<double>(i == 2 ? 0.5 : i, 0));  // not increasing
    char const *kDegree = "Degree must be greater than zero", *kNoScan = "No points in scan",
               *kFewScan = "Number of scan points less than or equal to degree",
               *kNoSections = "No sections in pointset";
    struct SCase {
        char const* what;
        std::function<void()> call;
        int reason;
        char const* param;
        char const* message;
    } const cases[] = {
        {"line degree", [&] { create.FromTwoPoints(o, e, 4, 0); }, 14, "degree", kDegree},
        {"line count", [&] { create.FromTwoPoints(o, e, 3, 3); }, 14, "num_ctrl",
         "Num of ctrl points should be at least equal to the order of curve"},
        {"line array", [&] { create.FromTwoPoints(CQEL_Array<CPoint3<double>>(3), 4, 3); }, 14, "points",
         "2 points required"},
        {"four array", [&] { create.FromFourPoints(CQEL_Array<CPoint3<double>>(2), 3); }, 14, "points",
         "4 points required"},
        {"four degree", [&] { create.FromFourPoints(o, e, o, e, 0); }, 14, "degree", kDegree},
        {"net empty", [&] { create.FromCtrlNet(emptySet, 2); }, 14, "ctrlNet", "No points in pointset"},
        {"net sections", [&] { create.FromCtrlNet(twoSections, 2); }, 14, "ctrlNetPts",
         "Pointset has mutliple sections"},
        {"net count", [&] { create.FromCtrlNet(oneSection, 3); }, 14, "ctrlNetPts",
         "Number of points less than or equal to degree"},
        {"arc radius", [&] { create.CircularArc(o, x, y, 1e-7, 0, 1); }, 5, "radius",
         "Parameter out of range"},
        {"arc axes", [&] { create.CircularArc(o, x, x * 2.0, 1, 0, 1); }, 14, "yAxis",
         "Vectors must not be parallel."},
        {"scan degree", [&] { create.InterpolateScan(three, 0, 0); }, 14, "degree", kDegree},
        {"scan empty", [&] { create.InterpolateScan(empty, 3, 0); }, 14, "scanPts", kNoScan},
        {"scan count", [&] { create.InterpolateScan(three, 3, 0); }, 14, "scanPts", kFewScan},
        {"scan repeat", [&] { create.InterpolateScan(repeated, 2, 1); }, 14, "scanPts",
         "Consecutive scan points coincide"},
        {"params none", [&] { create.InterpolateScan_Params(three, 2); }, 14, "scanPts",
         "Scan points contain no parameters"},
        {"params order", [&] { create.InterpolateScan_Params(withParams, 2); }, 14, "scanPts",
         "Scan parameters must increase strictly"},
        {"approx empty", [&] { create.ApproximateScan(empty); }, 14, "scanPts", kNoScan},
        {"approx no params", [&] { create.ApproximateScan(three); }, 14, "scanPts",
         "No parameterisation in scan"},
        {"approx outside",
         [&] {
             create.FromTwoPoints(o, e, 3, 2);
             create.ApproximateScan(withParams);  // parameter 3 beyond [0, 1]
         },
         14, "scanPts", "Pointset parameterisation incompatible with curve"},
        {"approx degree", [&] { create.ApproximateScan(three, 3, 0, false); }, 14, "degree", kDegree},
        {"approx count", [&] { create.ApproximateScan(three, 3, 3, false); }, 14, "scanPts", kFewScan},
        {"approx ctrl", [&] { create.ApproximateScan(repeated, 2, 2, false); }, 14, "num_ctrl_pts",
         "Number of control points less than or equal to degree"},
        {"approx more ctrl", [&] { create.ApproximateScan(repeated, 5, 2, false); }, 14, "num_ctrl_pts",
         "Number of scan points less than desired control points"},
        {"scans none", [&] { CNURBS_Curve_Create::InterpolateScans(noSections, &list, 3, 0); }, 14,
         "multiScanPts", kNoSections},
        {"scans small", [&] { CNURBS_Curve_Create::InterpolateScans(smallScans, &list, 2, 0); }, 14,
         "multiScanPts", "Point set scan has fewer than 4 points"},
        {"approx scans none", [&] { CNURBS_Curve_Create::ApproximateScans(noSections, 4, &list, 3); }, 14,
         "multiScanPts", kNoSections},
        {"scans result", [&] { CNURBS_Curve_Create::InterpolateScans(twoSections, nullptr, 2, 0); }, 0,
         "result", "Null Pointer"},
    };
    for (SCase const& c : cases) {
        std::string const text = Failure(c.call);
        EXPECT_EQ(text.substr(0, text.find(' ')), std::to_string(c.reason)) << c.what << ": " << text;
        EXPECT_NE(text.find(std::string("Param name - ") + c.param +
                            " Location - QEL::Core::CNURBS_Curve_Create::"),
                  std::string::npos)
            << c.what << ": " << text;
        EXPECT_NE(text.find(std::string("Message - ") + c.message + " "), std::string::npos)
            << c.what << ": " << text;
    }
    EXPECT_EQ(list.GetNum(), 0);
}

TEST(CNURBS_Curve_Create, TheCurvesOwnFitsTakeEverySectionAsOneScan) {
    std::vector<CPoint3<double>> const pts = OpenScan(50);
    CPointSet set(2, 0, CPtsData::def);
    for (std::size_t i = 0; i < pts.size(); ++i)
        set.get_Sec(i < 20 ? 0 : 1).AddPoint(pts[i]);
    CNURBS_Curve curve;
    curve.FitToPoints1(&set);  // no degree yet: cubic
    EXPECT_EQ(curve.GetDegree(), 3);
    ASSERT_EQ(curve.GetNumCtrl(), 50);
    std::vector<double> const t = OracleParameters(pts, curve, 0);
    for (std::size_t i = 0; i < pts.size(); ++i)
        EXPECT_LT((Eval(curve, t[i]) - pts[i]).Mag(), 1e-12 * 40);

    // Least squares keeps degree, knots and control point count.
    CNURBS_Curve_Create(curve).FromTwoPoints(CPoint3<double>(0, 0, 0), CPoint3<double>(1, 0, 0), 12, 2);
    curve.FitToPoints2(&set);
    EXPECT_EQ(curve.GetDegree(), 2);
    EXPECT_EQ(curve.GetNumCtrl(), 12);
    EXPECT_EQ(CPoint3<double>(Eval(curve, 1.0)), pts.back());
    // The same fit as the operation's on uniform knots of [0, 1].
    CNURBS_Curve expected;
    CNURBS_Curve_Create(expected).ApproximateScan(Scan(pts), 12, 2, false);
    for (int j = 0; j < 12; ++j)
        EXPECT_LT((curve.get_CtrlPts(j).GetCartesianPt() - expected.get_CtrlPts(j).GetCartesianPt()).Mag(),
                  1e-12);
    EXPECT_EQ(ReasonOf([&] { curve.FitToPoints1(nullptr); }), QEL_NULL_PARAMETER);
    EXPECT_EQ(ReasonOf([&] { CNURBS_Curve().FitToPoints2(&set); }), QEL_INVALID_CURVE);
}

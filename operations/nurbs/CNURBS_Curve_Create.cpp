// SPDX-License-Identifier: MIT
#include "operations/nurbs/CNURBS_Curve_Create.h"

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/QEL_CurveFitting.h"

namespace QEL::Core {

namespace Fit = CurveFitting;

namespace {

double const kPi = std::atan(1.0) * 4.0;
// The basis functions' working arrays hold 50 values.
int const kMaxDegree = 49;

Fit::SPoints PointsOf(CPointSet_Section const& scan) {
    CQEL_Array<CPointSet_Section::Point> const& pts = scan.GetPtsArray();
    Fit::SPoints points;
    points.count = scan.GetNumPts();
    points.stride = sizeof(CPointSet_Section::Point) / sizeof(double);
    points.xyz = points.count > 0 ? &pts[0].x : nullptr;
    return points;
}

bool AllFinite(Fit::SPoints points) {
    for (int i = 0; i < points.count; ++i) {
        CPoint3<double> const p = points[i];
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) return false;
    }
    return true;
}

// Bit-for-bit equality: a scan that returns to its first point exactly is a closed one.
bool SameBits(CPoint3<double> const& a, CPoint3<double> const& b) {
    double const ab[3] = {a.x, a.y, a.z}, bb[3] = {b.x, b.y, b.z};
    return std::memcmp(ab, bb, sizeof ab) == 0;
}

// Control points of weight 1 from x, y, z rows.
void StoreCtrlPts(CNURBS_Curve& curve, std::vector<double> const& xyz) {
    int const n = curve.GetNumCtrl();
    for (int i = 0; i < n; ++i)
        curve.get_CtrlPts(i).RawSet(CPoint3<double>(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]), 1.0);
    curve.MarkCtrlPtsModified();
}

// Reset, open and non-periodic, shaped by CheckSpace.
void Shape(CNURBS_Curve& curve, int numCtrl, int degree) {
    curve.Reset();
    curve.SetClosed(false);
    curve.SetPeriodic(false);
    curve.CheckSpace(numCtrl, degree);
}

void CheckDegree(CQEL_Operation const& op, int degree,
                 std::source_location where = std::source_location::current()) {
    op.Check(degree >= 1, QEL_INVALID_PARAMETER, "degree", "Degree must be greater than zero", where);
    op.CheckRange(degree, 1, kMaxDegree, "degree", where);
}

// The checks shared by the scan operations, after the degree check.
void CheckScan(CQEL_Operation const& op, Fit::SPoints points, int degree,
               std::source_location where = std::source_location::current()) {
    op.Check(points.count > 0, QEL_INVALID_PARAMETER, "scanPts", "No points in scan", where);
    op.Check(points.count > degree, QEL_INVALID_PARAMETER, "scanPts",
             "Number of scan points less than or equal to degree", where);
    op.Check(AllFinite(points), QEL_INVALID_PARAMETER, "scanPts", "Scan points must be finite", where);
}

// Interpolation on the curve's present knots at parameters t; the curve is shaped already.
void InterpolateOnKnots(CQEL_Operation const& op, CNURBS_Curve& curve, Fit::SPoints points, double const* t,
                        std::source_location where = std::source_location::current()) {
    std::vector<double> ctrl(3 * std::size_t(points.count));
    op.Check(Fit::Interpolate(curve.GetKnotVector(), points, t, ctrl.data()) == Fit::EFitStatus::Ok,
             QEL_INVALID_PARAMETER, "scanPts", "Interpolation system is singular", where);
    StoreCtrlPts(curve, ctrl);
    curve.SetClosed(SameBits(points[0], points[points.count - 1]));
}

// Least squares on the curve's knots at parameters t, ends pinned when the
// parameters reach both ends of the curve's range.
void ApproximateOnKnots(CQEL_Operation const& op, CNURBS_Curve& curve, Fit::SPoints points, double const* t,
                        std::source_location where = std::source_location::current()) {
    bool const pinEnds = t[0] == curve.GetStartU() && t[points.count - 1] == curve.GetEndU();
    std::vector<double> ctrl(3 * std::size_t(curve.GetNumCtrl()));
    op.Check(Fit::LeastSquares(curve.GetKnotVector(), points, t, pinEnds, ctrl.data()) == Fit::EFitStatus::Ok,
             QEL_INVALID_PARAMETER, "scanPts", "Least-squares system is singular", where);
    StoreCtrlPts(curve, ctrl);
    curve.SetClosed(pinEnds && SameBits(points[0], points[points.count - 1]));
}

}  // namespace

void CNURBS_Curve_Create::FromTwoPoints(CPoint3<double> const& start, CPoint3<double> const& end,
                                        int num_ctrl, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::FromTwoPoints");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        op.Check(num_ctrl >= degree + 1, QEL_INVALID_PARAMETER, "num_ctrl",
                 "Num of ctrl points should be at least equal to the order of curve");
        Shape(m_target, num_ctrl, degree);
        // Inner control points at their Greville abscissae along the line.
        CNURBS_KnotVector const& knots = m_target.GetKnotVector();
        double const u0 = knots.GetStart(), range = knots.GetRange();
        for (int i = 0; i < num_ctrl; ++i) {
            double g = 0.0;
            if (i == num_ctrl - 1) {
                g = 1.0;
            } else if (i > 0) {
                for (int j = i + 1; j <= i + degree; ++j)
                    g += knots.get_Knots(j);
                g = (g / degree - u0) / range;
            }
            CPoint3<double> const p = i == 0 ? start : i == num_ctrl - 1 ? end : start + (end - start) * g;
            m_target.get_CtrlPts(i).RawSet(p, 1.0);
        }
        m_target.MarkCtrlPtsModified();
    });
}

void CNURBS_Curve_Create::FromTwoPoints(CQEL_Array<CPoint3<double>> const& points, int num_ctrl, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::FromTwoPoints");
    op.Run([&] {
        m_target.Reset();
        op.Check(points.Count() == 2, QEL_INVALID_PARAMETER, "points", "2 points required");
        FromTwoPoints(points[0], points[1], num_ctrl, degree);
    });
}

void CNURBS_Curve_Create::FromFourPoints(CPoint3<double> const& p1, CPoint3<double> const& p2,
                                         CPoint3<double> const& p3, CPoint3<double> const& p4, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::FromFourPoints");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        CPointSet net(1, 4, CPtsData::def);
        CPoint3<double> const corners[4] = {p1, p2, p3, p4};
        for (int i = 0; i < 4; ++i)
            net.get_Sec(0).set_Pts(i, corners[i]);
        FromCtrlNet(net, degree);
    });
}

void CNURBS_Curve_Create::FromFourPoints(CQEL_Array<CPoint3<double>> const& points, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::FromFourPoints");
    op.Run([&] {
        m_target.Reset();
        op.Check(points.Count() == 4, QEL_INVALID_PARAMETER, "points", "4 points required");
        FromFourPoints(points[0], points[1], points[2], points[3], degree);
    });
}

void CNURBS_Curve_Create::FromCtrlNet(CPointSet const& ctrlNet, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::FromCtrlNet");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        op.Check(ctrlNet.GetNumPts() > 0, QEL_INVALID_PARAMETER, "ctrlNet", "No points in pointset");
        op.Check(ctrlNet.GetNumSec() == 1, QEL_INVALID_PARAMETER, "ctrlNetPts",
                 "Pointset has mutliple sections");
        int const n = ctrlNet.GetNumPts();
        op.Check(n > degree, QEL_INVALID_PARAMETER, "ctrlNetPts",
                 "Number of points less than or equal to degree");
        Shape(m_target, n, degree);
        CPointSet_Section const& net = ctrlNet.get_Sec(0);
        for (int i = 0; i < n; ++i)
            m_target.get_CtrlPts(i).RawSet(CPoint3<double>(net.get_Pts(i)), 1.0);
        m_target.MarkCtrlPtsModified();
    });
}

void CNURBS_Curve_Create::CircularArc(CPoint3<double> const& centre, CVector3<double> const& xAxis,
                                      CVector3<double> const& yAxis, double radius, double start,
                                      double end) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::CircularArc");
    op.Run([&] {
        m_target.Reset();
        op.CheckRange(radius, 1e-6, 1e9, "radius");
        op.CheckParameter(std::isfinite(start), "start");
        op.CheckParameter(std::isfinite(end), "end");
        // An orthonormal frame of the arc's plane.
        double const xLen = xAxis.Mag();
        op.Check(std::isfinite(xLen) && xLen > 0.0, QEL_INVALID_PARAMETER, "xAxis",
                 "Vectors must not have zero magnitude.");
        CVector3<double> const ex = xAxis / xLen;
        CVector3<double> const yPerp = yAxis - ex * ex.Dot(yAxis);
        double const yLen = yAxis.Mag();
        op.Check(std::isfinite(yLen) && yLen > 0.0, QEL_INVALID_PARAMETER, "yAxis",
                 "Vectors must not have zero magnitude.");
        op.Check(yPerp.Mag() > 1e-12 * yLen, QEL_INVALID_PARAMETER, "yAxis", "Vectors must not be parallel.");
        CVector3<double> const ey = yPerp / yPerp.Mag();

        double const toDegrees = 180.0 / kPi;
        double const startDeg = start * toDegrees;
        double endDeg = end * toDegrees;
        if (startDeg > endDeg) endDeg += 360.0;
        double const sweep = endDeg - startDeg;
        op.CheckParameter(sweep <= 360.0, "end");
        int const segments = sweep <= 90.0 ? 1 : sweep <= 180.0 ? 2 : sweep <= 270.0 ? 3 : 4;
        double const dTheta = sweep / segments / toDegrees;
        double const w = std::cos(dTheta / 2.0);

        m_target.SetClosed(false);
        m_target.SetPeriodic(false);
        m_target.CheckSpace(2 * segments + 1, 2);
        auto onCircle = [&](double angle, double r) {
            return centre + ex * (r * std::cos(angle)) + ey * (r * std::sin(angle));
        };
        double const a0 = startDeg / toDegrees;
        m_target.get_CtrlPts(0).RawSet(onCircle(a0, radius), 1.0);
        for (int s = 0; s < segments; ++s) {
            // The end tangents of a segment meet on its bisector at radius / cos(dTheta / 2).
            CPoint3<double> const middle = onCircle(a0 + (s + 0.5) * dTheta, radius / w);
            m_target.get_CtrlPts(2 * s + 1).RawSet(CPoint3<double>(middle.x * w, middle.y * w, middle.z * w),
                                                   w);
            m_target.get_CtrlPts(2 * s + 2).RawSet(onCircle(a0 + (s + 1) * dTheta, radius), 1.0);
        }
        m_target.MarkCtrlPtsModified();
        CQEL_Array<double>& knots = m_target.EditKnotVector().EditKnots();
        for (int j = 0; j < 3; ++j) {
            knots[j] = 0.0;
            knots[2 * segments + 1 + j] = 1.0;
        }
        for (int s = 1; s < segments; ++s)
            knots[2 * s + 1] = knots[2 * s + 2] = double(s) / segments;
        m_target.SetClosed(sweep == 360.0);
    });
}

void CNURBS_Curve_Create::InterpolateScan(CPointSet_Section const& scan, int degree, int parameterisation) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::InterpolateScan");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        Fit::SPoints const points = PointsOf(scan);
        CheckScan(op, points, degree);
        int const n = points.count;
        int const code =
            parameterisation == ChordLength || parameterisation == Centripetal || parameterisation == Uniform
                ? parameterisation
                : BasisMaxima;
        Shape(m_target, n, degree);
        std::vector<double> t(static_cast<std::size_t>(n));
        if (code == BasisMaxima) {
            // CheckSpace's clamped uniform knots first, then the parameters from them.
            Fit::ParametersAtMaxima(m_target.GetKnotVector(), t.data());
        } else {
            op.Check(Fit::ScanParameters(points, code, false, t.data()) == Fit::EFitStatus::Ok,
                     QEL_INVALID_PARAMETER, "scanPts", "Consecutive scan points coincide");
            Fit::AveragedKnots(t.data(), n, degree, m_target.EditKnotVector().EditKnots().GetArray());
        }
        InterpolateOnKnots(op, m_target, points, t.data());
    });
}

void CNURBS_Curve_Create::InterpolateScan_Params(CPointSet_Section const& scan, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::InterpolateScan_Params");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        Fit::SPoints const points = PointsOf(scan);
        CheckScan(op, points, degree);
        op.Check(scan.HasMetaData(CPtsData::cuv), QEL_INVALID_PARAMETER, "scanPts",
                 "Scan points contain no parameters");
        int const n = points.count;
        std::vector<double> t(static_cast<std::size_t>(n));
        CQEL_Array<CPoint2<double>> const& cuv = scan.GetCUVArray();
        for (int i = 0; i < n; ++i) {
            t[std::size_t(i)] = cuv[i].x;
            op.Check(
                std::isfinite(t[std::size_t(i)]) && (i == 0 || t[std::size_t(i)] > t[std::size_t(i) - 1]),
                QEL_INVALID_PARAMETER, "scanPts", "Scan parameters must increase strictly");
        }
        Shape(m_target, n, degree);
        Fit::AveragedKnots(t.data(), n, degree, m_target.EditKnotVector().EditKnots().GetArray());
        InterpolateOnKnots(op, m_target, points, t.data());
    });
}

void CNURBS_Curve_Create::ApproximateScan(CPointSet_Section const& scan) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::ApproximateScan");
    op.Run([&] {
        Fit::SPoints const points = PointsOf(scan);
        op.Check(points.count > 0, QEL_INVALID_PARAMETER, "scanPts", "No points in scan");
        op.Check(scan.HasMetaData(CPtsData::cuv), QEL_INVALID_PARAMETER, "scanPts",
                 "No parameterisation in scan");
        m_target.Validate();
        op.Check(AllFinite(points), QEL_INVALID_PARAMETER, "scanPts", "Scan points must be finite");
        int const m = points.count;
        double const u0 = m_target.GetStartU(), u1 = m_target.GetEndU();
        std::vector<double> t(static_cast<std::size_t>(m));
        CQEL_Array<CPoint2<double>> const& cuv = scan.GetCUVArray();
        for (int i = 0; i < m; ++i) {
            t[std::size_t(i)] = cuv[i].x;
            op.Check(t[std::size_t(i)] >= u0 && t[std::size_t(i)] <= u1, QEL_INVALID_PARAMETER, "scanPts",
                     "Pointset parameterisation incompatible with curve");
        }
        ApproximateOnKnots(op, m_target, points, t.data());
    });
}

void CNURBS_Curve_Create::ApproximateScan(CPointSet_Section const& scan, int num_ctrl_pts, int degree,
                                          bool centripetal) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::ApproximateScan");
    op.Run([&] {
        m_target.Reset();
        CheckDegree(op, degree);
        Fit::SPoints const points = PointsOf(scan);
        CheckScan(op, points, degree);
        op.Check(num_ctrl_pts > degree, QEL_INVALID_PARAMETER, "num_ctrl_pts",
                 "Number of control points less than or equal to degree");
        op.Check(points.count >= num_ctrl_pts, QEL_INVALID_PARAMETER, "num_ctrl_pts",
                 "Number of scan points less than desired control points");
        Shape(m_target, num_ctrl_pts, degree);
        // The working copy of the scan is its parameters alone: the points are read in place.
        std::vector<double> t(static_cast<std::size_t>(points.count));
        op.Check(Fit::ScanParameters(points, centripetal ? Centripetal : ChordLength, true, t.data()) ==
                     Fit::EFitStatus::Ok,
                 QEL_INVALID_PARAMETER, "scanPts", "Consecutive scan points coincide");
        ApproximateOnKnots(op, m_target, points, t.data());
    });
}

void CNURBS_Curve_Create::InterpolateScans(CPointSet const& scans, CQEL_ObjectList<CNURBS_Curve>* result,
                                           int degree, int parameterisation) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::InterpolateScans");
    op.Run([&] {
        op.Check(result != nullptr, QEL_NULL_PARAMETER, "result", "Null Pointer");
        op.Check(scans.GetNumSec() > 0, QEL_INVALID_PARAMETER, "multiScanPts", "No sections in pointset");
        for (int s = 0; s < scans.GetNumSec(); ++s)
            op.Check(scans.get_Sec(s).GetNumPts() >= 4, QEL_INVALID_PARAMETER, "multiScanPts",
                     "Point set scan has fewer than 4 points");
        for (int s = 0; s < scans.GetNumSec(); ++s) {
            auto curve = std::make_unique<CNURBS_Curve>();
            CNURBS_Curve_Create(*curve).InterpolateScan(scans.get_Sec(s), degree, parameterisation);
            result->Add(std::move(curve));
        }
    });
}

void CNURBS_Curve_Create::ApproximateScans(CPointSet const& scans, int num_ctrl_pts,
                                           CQEL_ObjectList<CNURBS_Curve>* result, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Create::ApproximateScans");
    op.Run([&] {
        op.Check(result != nullptr, QEL_NULL_PARAMETER, "result", "Null Pointer");
        op.Check(scans.GetNumSec() > 0, QEL_INVALID_PARAMETER, "multiScanPts", "No sections in pointset");
        for (int s = 0; s < scans.GetNumSec(); ++s) {
            auto curve = std::make_unique<CNURBS_Curve>();
            CNURBS_Curve_Create(*curve).ApproximateScan(scans.get_Sec(s), num_ctrl_pts, degree, false);
            result->Add(std::move(curve));
        }
    });
}

}  // namespace QEL::Core

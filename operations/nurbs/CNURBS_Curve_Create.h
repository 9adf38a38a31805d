// SPDX-License-Identifier: MIT
// CNURBS_Curve_Create: gives a NURBS curve its shape from simple inputs: a
// line, a control net, a circular arc, or measured scans (sections of a
// point set) by interpolation or least squares.
//
// Bound to one target curve, which must outlive it. Every operation but the
// first ApproximateScan (which keeps the curve's knots and degree) first
// resets the target, so its previous shape is lost even when a later check
// fails. Created curves are never periodic; every weight is 1.0 except the
// arc's middle control points.
//
// Common rules:
// - Every operation runs in the library's exception frame and reports as
//   "QEL::Core::CNURBS_Curve_Create::<Operation>". Degree checks and invalid
//   input throw reason 14 with the parameter's name and the message listed;
//   range checks throw reason 5 with "Parameter out of range".
// - Scan parameters are carried by a section's parameter pairs (cuv): the
//   first value of a point's pair is its curve parameter.
// - Degrees are bounded by 49 (the basis functions' order bound of 50):
//   larger ones throw reason 5 ("degree").
// - Fitting costs O(n p^2) time and O(n p) memory for n scan points and
//   degree p: the systems are banded and factorised once; no dense matrix is
//   formed.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_ObjectList.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"

namespace QEL::Core {

class QEL_API CNURBS_Curve_Create {
  public:
    explicit CNURBS_Curve_Create(CNURBS_Curve& target) : m_target(target) {}

    // Parameterisation codes of InterpolateScan (any other code reads as 2).
    enum EParameterisation { ChordLength = 0, Centripetal = 1, BasisMaxima = 2, Uniform = 3 };

    // Straight line from start to end with num_ctrl control points on the
    // clamped uniform knots of [0, 1]: the inner control points sit at their
    // Greville abscissae g_i along the line (start + g_i (end - start)), so
    // that the curve runs at constant speed. num_ctrl = degree + 1 gives one
    // Bezier segment with evenly spaced control points.
    // degree >= 1 (reason 14, "degree", "Degree must be greater than zero");
    // num_ctrl >= degree + 1 (reason 14, "num_ctrl", "Num of ctrl points
    // should be at least equal to the order of curve"); num_ctrl up to
    // 1000000000 (reason 5, "num_ctrl_pts").
    void FromTwoPoints(CPoint3<double> const& start, CPoint3<double> const& end, int num_ctrl, int degree);
    // The same from an array of exactly two points, else reason 14
    // ("points", "2 points required").
    void FromTwoPoints(CQEL_Array<CPoint3<double>> const& points, int num_ctrl, int degree);

    // The curve of degree whose control net is the four points (FromCtrlNet).
    void FromFourPoints(CPoint3<double> const& p1, CPoint3<double> const& p2, CPoint3<double> const& p3,
                        CPoint3<double> const& p4, int degree);
    // The same from an array of exactly four points, else reason 14
    // ("points", "4 points required").
    void FromFourPoints(CQEL_Array<CPoint3<double>> const& points, int degree);

    // The points of the net's one section, in order, as control points of
    // weight 1 on the clamped uniform knots of [0, 1].
    // Reason 14: degree < 1 ("degree", "Degree must be greater than zero"); no
    // points ("ctrlNet", "No points in pointset"); more than one section
    // ("ctrlNetPts", "Pointset has mutliple sections"); no more points than
    // the degree ("ctrlNetPts", "Number of points less than or equal to degree").
    void FromCtrlNet(CPointSet const& ctrlNet, int degree);

    // Rational quadratic arc of radius about centre in the plane of xAxis and
    // yAxis, from angle start to angle end (radians, measured from xAxis
    // towards yAxis; xAxis is normalised and yAxis made perpendicular to it).
    // When start > end, 2 pi is added to end, so the arc always sweeps
    // through increasing angles. Segments: 1 for a sweep up to 90 degrees,
    // 2 up to 180, 3 up to 270, else 4; the middle control point of each is
    // the meeting point of the end tangents, with weight cos(half the
    // segment's angle); knots 0, 0, 0, each inner segment boundary twice at
    // equal spacing, 1, 1, 1. A sweep of exactly 360 degrees is closed.
    // radius in [1e-6, 1e9] (reason 5, "radius"); the sweep at most 360
    // degrees (reason 5, "end"); start and end finite (reason 5); a zero or
    // parallel axis throws reason 14 ("xAxis"/"yAxis", "Vectors must not
    // have zero magnitude." / "Vectors must not be parallel.").
    void CircularArc(CPoint3<double> const& centre, CVector3<double> const& xAxis,
                     CVector3<double> const& yAxis, double radius, double start, double end);

    // The curve of degree through every point of scan (The NURBS Book A9.1):
    // parameters t_0 = 0 .. t_{n-1} = 1 by parameterisation: 0 chord length,
    // 1 centripetal (square roots of the chord lengths), 3 uniform, each with
    // knots averaged from the parameters (The NURBS Book, eq. 9.8); 2 (and
    // any other code) clamped uniform knots with each parameter at the
    // maximum of its basis function, found by a safeguarded Newton
    // iteration (at most 100 steps) from the Greville abscissa. Closed (never
    // periodic) when the first and last points are bit-for-bit identical.
    // Reason 14: degree < 1 ("degree", "Degree must be greater than zero");
    // an empty scan ("scanPts", "No points in scan"); n <= degree ("scanPts",
    // "Number of scan points less than or equal to degree"); a coordinate
    // that is not finite ("scanPts", "Scan points must be finite"); for codes
    // 0 and 1 two consecutive points that coincide ("scanPts", "Consecutive
    // scan points coincide"); a system that cannot be solved ("scanPts",
    // "Interpolation system is singular").
    void InterpolateScan(CPointSet_Section const& scan, int degree, int parameterisation);

    // The same at the parameters the scan carries (its cuv pairs), which must
    // increase strictly: the knots are averaged from them (The NURBS Book,
    // eq. 9.8), so the curve's range is [first parameter, last parameter] and
    // the curve passes through each point at its own parameter.
    // Checks as InterpolateScan, and reason 14 ("scanPts"): "Scan points
    // contain no parameters"; "Scan parameters must increase strictly".
    void InterpolateScan_Params(CPointSet_Section const& scan, int degree);

    // Least squares on the curve's own knots and degree (both kept, with the
    // closed flag; the control points are replaced, all of weight 1): the control points that
    // minimise the sum of squared distances between each scan point and the
    // curve at the point's parameter (its cuv pair), every point weighted
    // alike (The NURBS Book 9.4.1). End conditions: when the first point's
    // parameter is the curve's start and the last point's its end, the first
    // and last control points are those points (the curve passes through
    // both ends) and the others are free; otherwise all are free. The curve
    // is marked closed when the ends are pinned to bit-identical points.
    // Reason 14 ("scanPts"): "No points in scan"; "No parameterisation in
    // scan"; a parameter outside the curve's range "Pointset parameterisation
    // incompatible with curve"; "Scan points must be finite"; a knot span
    // without enough parameters for a unique solution "Least-squares system
    // is singular". A curve without knots throws reason 10.
    void ApproximateScan(CPointSet_Section const& scan);

    // Least squares with num_ctrl_pts control points of degree on clamped
    // uniform knots of [0, 1] (CheckSpace), the scan parameterised by chord
    // length, or by centripetal parameters when centripetal is true, from 0
    // to 1; then as ApproximateScan(scan), ends pinned.
    // Reason 14: "Degree must be greater than zero" ("degree"); "No points in
    // scan", "Number of scan points less than or equal to degree" ("scanPts");
    // "Number of control points less than or equal to degree" and "Number of
    // scan points less than desired control points" ("num_ctrl_pts"); all
    // scan points coinciding ("scanPts", "Consecutive scan points coincide").
    void ApproximateScan(CPointSet_Section const& scan, int num_ctrl_pts, int degree, bool centripetal);

    // InterpolateScan on every section of scans, one curve per section
    // appended to result in section order. Reason 14: no sections
    // ("multiScanPts", "No sections in pointset"); a section of fewer than 4
    // points ("multiScanPts", "Point set scan has fewer than 4 points"),
    // checked for all sections before any curve is made; null result reason
    // 0 ("result"). A failing section leaves the curves before it appended.
    static void InterpolateScans(CPointSet const& scans, CQEL_ObjectList<CNURBS_Curve>* result, int degree,
                                 int parameterisation);
    // ApproximateScan(section, num_ctrl_pts, degree, false) on every section,
    // one curve per section appended to result. Reason 14: "No sections in
    // pointset" ("multiScanPts"); null result reason 0 ("result").
    static void ApproximateScans(CPointSet const& scans, int num_ctrl_pts,
                                 CQEL_ObjectList<CNURBS_Curve>* result, int degree);

  private:
    CNURBS_Curve& m_target;
};

}  // namespace QEL::Core

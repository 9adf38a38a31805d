// SPDX-License-Identifier: MIT
// CPointSet_Create: fills a point set with generated points.
//
// Bound to one target point set, which must outlive it. Every operation first
// resets the target (its previous points are discarded; its name is kept),
// then writes the new points, positions only unless said otherwise.
//
// Common rules:
// - Lengths are in the caller's unit, angles in radians; pi is atan(1) x 4.
// - Point counts derived from a length and a spacing are ceilings of
//   length / spacing; rings and lines include both ends.
// - Every operation runs in the library's exception frame and reports as
//   "QEL::Core::CPointSet_Create::<Operation>". A value outside its range
//   throws reason 5 with the parameter's name and "Parameter out of range";
//   geometric preconditions throw reason 14 with the messages listed.
// - A spacing so fine that the result would exceed 2147483647 points (the
//   signed 32-bit point count) throws reason 14, parameter "spacing" (or the
//   counts' names), before anything is allocated.
// - A source point set may be the target itself: it is copied first.
// - A failed operation leaves the target reset or partly filled.
//
// Memory: 32 bytes per point of position plus about one kilobyte per section.
#pragma once

#include "core/CPlane3d.h"
#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Matrix.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CPointSet.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

using Elements::CPlane3d;

class QEL_API CPointSet_Create {
  public:
    explicit CPointSet_Create(CPointSet& target) : m_target(target) {}

    // Sphere surface, ring by ring from the pole at centre + (0, 0, radius)
    // to the opposite pole, one section per ring: n = ceil(pi radius / spacing)
    // + 1 rings, each pole a single point, ring i holding
    // max(ceil(2 pi r_i / spacing), 1) points.
    // spacing in [1e-6, 1e9] ("spacing"); radius in [2 spacing, 1e9] ("radius").
    void Sphere(CPoint3<double> const& centre, double spacing, double radius);

    // Filled disc of concentric rings about centre in the plane normal to
    // normal: ceil(radius / spacing) + 1 sections, ring 0 the single centre
    // point, the last ring on the rim. The rings are laid out about z and
    // turned onto normal by the smallest rotation.
    // spacing in [1e-6, radius / 2] ("spacing"); radius in [2 spacing, 1e9]
    // ("radius"); a zero normal throws reason 14 ("normal", "Vectors must not
    // have zero magnitude.").
    void Circle(CPoint3<double> const& centre, CVector3<double> const& normal, double spacing, double radius);

    // Closed cylinder from start to end: the disc at start (as Circle), the
    // n - 1 wall circles between the ends (n = ceil(height / spacing), circle i
    // at height (i + 1) height / n), then the disc at end.
    // spacing ("spacing") and radius ("radius") as Circle; height = |end - start|
    // in [spacing, 1e9] ("height"); n in [2, 1000000000] ("num_circles").
    void Cylinder(CPoint3<double> const& start, CPoint3<double> const& end, double spacing, double radius);

    // Cone from the base disc at baseCentre towards apex: n = ceil(height /
    // spacing) rings, ring i at height i height / n with radius
    // radius (1 - i / n) (the apex itself is not a point), then the base disc
    // (as Circle). Checks as Cylinder ("spacing", "radius", "height", "num_circles").
    void Cone(CPoint3<double> const& baseCentre, CPoint3<double> const& apex, double spacing, double radius);

    // Torus about axis through centre: one section per tube circle, each a
    // circle of minorRadius sampled at the spacing (max(ceil(2 pi minorRadius /
    // spacing), 1) points, starting on the outer equator), centred at
    // majorRadius from the axis; max(ceil(2 pi majorRadius / spacing), 1)
    // circles at equal angles about the axis.
    // spacing in [1e-6, minorRadius / 2] ("spacing"); minorRadius in
    // [2 spacing, 1e9] ("minor_radius"); majorRadius in [minorRadius, 1e9]
    // ("major_radius"), so that the tube does not pass through the axis; a
    // zero axis throws reason 14 ("axis", "Vectors must not have zero magnitude.").
    void Torus(CPoint3<double> const& centre, CVector3<double> const& axis, double spacing,
               double minorRadius, double majorRadius);

    // Surface of the axis-aligned box with corners corner and opposite:
    // the face at corner's z as a grid (one section per grid line along x),
    // the side walls as rings around the box at the interior levels, then the
    // face at opposite's z as a grid; no point is repeated. The edge counts
    // are max(ceil(|edge| / spacing), 1).
    // spacing in [1e-6, 1e9] ("spacing"); |width|, |height|, |depth| (x, y, z
    // extents) in [spacing, 1e9] ("fabs(width)", "fabs(height)", "fabs(depth)").
    void Cuboid(CPoint3<double> const& corner, CPoint3<double> const& opposite, double spacing);

    // numPts points on the circle of radius about axis through centre, in one
    // section: the first in the direction of refDir (made perpendicular to the
    // axis), each next one turned by angle about the axis (right-hand rule);
    // angle 0 spreads the points evenly over the full circle (2 pi / numPts).
    // radius in [0, 1e9] ("radius"); numPts in [2, 1000000000] ("num_pts");
    // |axis| and |refDir| in [1e-6, 1e9] ("axis.Mag()", "refDir.Mag()"); the
    // cosine between them in [-0.99, 0.99], else reason 14 ("refDir", "PCD
    // axis and reference are parallel"); angle in [-2 pi, 2 pi] ("angle").
    void PitchCircleDiameter(CPoint3<double> const& centre, CVector3<double> const& axis,
                             CVector3<double> const& refDir, double radius, int numPts, double angle);

    // Circular arc from first through middle to last, in one section, by
    // PitchCircleDiameter: one point per degree of sweep at most (both ends
    // included). normal is the arc's plane normal: the three points are first
    // projected onto the plane through first with this normal (measured
    // points slightly off their plane); a zero normal takes the plane of the
    // three points. Points that do not span a circle (coincident or collinear
    // after projection) throw reason 14 ("points", "Arc points are collinear").
    void Arc(CPoint3<double> const& first, CPoint3<double> const& middle, CPoint3<double> const& last,
             CVector3<double> const& normal);
    // The same through the first, middle and last point of arcPts' first
    // section. arcPts.GetNumPts() in [3, 1000000000] ("arcPts.GetNumPts()");
    // a first section of fewer than 3 points throws reason 15 ("arcPts").
    void Arc(CPointSet const& arcPts, CVector3<double> const& normal);

    // Sinusoid along direction, in one section of numSteps + 1 points: for
    // t = i / numSteps, origin + t length unit(direction) + amplitude
    // sin(t angularSpan + phase) unit(displacement made perpendicular to
    // direction). |direction| and |displacement| in [1e-6, 1e9]
    // ("direction.Mag()", "displacement.Mag()"); displacement parallel to
    // direction throws reason 14 ("displacement", "Vectors must not be
    // parallel."); length in [1e-6, 1e9] ("length"); amplitude, angularSpan
    // and phase in [-1e9, 1e9] ("amplitude", "angular_span", "phase");
    // numSteps in [1, 1000000000] ("num_steps").
    void Sinusoid(CPoint3<double> const& origin, CVector3<double> const& direction,
                  CVector3<double> const& displacement, double length, double amplitude, int numSteps,
                  double angularSpan, double phase);

    // Grid origin + a primary + b secondary, a and b each stepping evenly from
    // 0 to 1: numSecondary sections (one per b) of numPrimary points.
    // numPrimary in [2, 1000000000] ("num_pts_primary_axis"), numSecondary
    // likewise ("num_pts_secondary_axis"); a zero vector throws reason 14
    // ("primary" or "secondary", "Vectors must not have zero magnitude."),
    // parallel vectors reason 14 ("secondary", "Vectors must not be parallel.").
    void InterpolatedGrid(CPoint3<double> const& origin, CVector3<double> const& primary,
                          CVector3<double> const& secondary, int numPrimary, int numSecondary);

    // Bilinear grid between four corners taken in cyclic order (p1 at (0, 0),
    // p2 at (1, 0), p3 at (1, 1), p4 at (0, 1)): numSecondary sections of
    // numPrimary points, the first running from p1 to p2. With
    // orderByPrincipalAxes the corners are first put in cyclic order: seen
    // along the third principal axis of the four points, counter-clockwise
    // from the corner lowest along the first two axes, so that a quad given
    // in any order is not folded. Counts as InterpolatedGrid.
    void GridFromFourPoints(CPoint3<double> const& p1, CPoint3<double> const& p2, CPoint3<double> const& p3,
                            CPoint3<double> const& p4, int numPrimary, int numSecondary,
                            bool orderByPrincipalAxes);
    // The same with the corners in an array of exactly four points, else
    // reason 14 ("points", "4 point required").
    void GridFromFourPoints(CQEL_Array<CPoint3<double>> const& points, int numPrimary, int numSecondary,
                            bool orderByPrincipalAxes);

    // Height field: one section per column c, one point per row r, at
    // (c dx, r dy, heights(r, c)); the set also carries the associated points
    // (cpt), the feet (c dx, r dy, 0) of the heights on the base plane. A
    // spacing of 0 is chosen automatically: 10 times the largest absolute
    // height divided by max(max(rows, columns) - 1, 1), or 1.0 for an all-zero
    // matrix. dx, dy in [0, 1e9] ("dx", "dy"); an empty matrix or one holding a
    // value that is not finite throws reason 14 ("heights").
    void FromMatrix(CQEL_Matrix const& heights, double dx, double dy);
    // The same from numRows row pointers to numCols doubles each. Null rows or
    // a null row throw reason 0 ("rows"); numRows, numCols in [1, 1000000000]
    // ("num_rows", "num_cols").
    void FromMatrix(double const* const* rows, int numRows, int numCols, double dx, double dy);

    // One section holding points in order (an empty array gives one empty section).
    void FromArray(CQEL_Array<CPoint3<double>> const& points);

    // Regular profiles of source, offset along one signed axis. For offset
    // axis A the profiles are ProfileIntersections(source, B, C, spacing) with
    // B the next axis after A and C the one after B (A = z: profiles across x,
    // ordered along y); every point is then moved by offset along +A (Pos) or
    // -A (Neg). spacing in [1e-6, 1e9] ("spacing"); offset in [-1e9, 1e9]
    // ("offset"); an empty source throws reason 15 ("source", "Point set
    // cannot be empty."); limits of ProfileIntersections apply.
    void GridOffsetNegX(CPointSet const& source, double spacing, double offset);
    void GridOffsetNegY(CPointSet const& source, double spacing, double offset);
    void GridOffsetNegZ(CPointSet const& source, double spacing, double offset);
    void GridOffsetPosX(CPointSet const& source, double spacing, double offset);
    void GridOffsetPosY(CPointSet const& source, double spacing, double offset);
    void GridOffsetPosZ(CPointSet const& source, double spacing, double offset);

    // Profiles of source across direction: planes normal to direction, the
    // first through the source point farthest along direction, the next ones
    // spacing apart towards the nearest point. Each plane's hits on the
    // source's sections (CProfileIntersection), ordered along secondVector
    // (made perpendicular to direction), become one section, appended after
    // the last; planes without hits give no section.
    // spacing in [1e-6, 1e9] ("spacing"); zero vectors throw reason 14
    // ("direction" or "secondVector", "Vectors must not have zero
    // magnitude."), parallel ones reason 14 ("secondVector", "Vectors must not
    // be parallel."); an empty source reason 15 ("source"); more than 1000000
    // planes reason 5 ("num_profiles").
    void ProfileIntersections(CPointSet const& source, CVector3<double> const& direction,
                              CVector3<double> const& secondVector, double spacing);

    // The profile where plane cuts source (CProfileIntersection: hits in
    // section order), offset within the plane by offset along
    // plane normal x local tangent (positive to the left of the direction of
    // travel, seen from the normal's side), in one section. offset in
    // [-1e9, 1e9] ("offset"); an empty source throws reason 15 ("source"); a
    // non-zero offset of a profile of fewer than two points throws reason 31
    // ("plane", "The plane cuts the point set in fewer than two points").
    void ProfileOffset(CPointSet const& source, CPlane3d const& plane, double offset);

    // The sections where plane cuts source, one section per connected piece,
    // offset within the plane by offset as ProfileOffset (around a closed
    // piece the neighbours wrap). Every vertex is classed once by the sign of
    // its distance to the plane (exactly zero is on the plane), so vertices
    // and edges on the plane give each point once: an edge in the plane is
    // part of the section unless both its triangles lie in the plane. A
    // closed piece repeats its first point once at its end; open pieces (at
    // holes, or at branches of non-manifold edges) run from end to end.
    // Points follow the triangles' orientation: the direction of travel is
    // plane normal x triangle normal. A plane that only touches a vertex
    // gives no section for it. Open pieces come first, each set of pieces in
    // the order the triangles meet them.
    // offset in [-1e9, 1e9] ("offset"); an empty source throws reason 14
    // ("source", "Triangulation cannot be empty."). A failed check leaves the
    // target untouched; a plane that misses the mesh leaves it reset.
    void TriangulationProfile(CTriangulation const& source, CPlane3d const& plane, double offset);

  private:
    CPointSet& m_target;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CTriangulation_Create: fills a triangulation from scratch.
//
// Bound to one target triangulation, which must outlive it. Every operation
// counts its calls and runs in the library's exception frame, reporting as
// "QEL::Core::CTriangulation_Create::<Operation>". Its arguments are checked
// before the target is touched: a failed check throws and leaves the target
// as it was. A range check throws reason 5 with the parameter's name and
// "Parameter out of range" (ranges include both bounds); other refusals throw
// reason 14 (or 15 for point sets) with the messages listed. Then the target
// is reset (its name is kept) and built anew; a failure after that leaves it
// partly built.
//
// Solids are closed, consistently oriented and paired, with their triangle
// normals pointing outward (their enclosed volume is positive). Lengths are
// in the caller's unit, angles in radians; pi is atan(1) x 4. Where a surface
// is divided by approx_tri_size, every count is a ceiling, so that no edge
// is longer than about approx_tri_size. A size so small that the result would
// exceed 715827882 triangles throws reason 14 ("approx_tri_size", or the
// parameter that drives the count; "The triangulation would exceed 715827882
// triangles") before anything is allocated.
//
// Memory: about 56 bytes per triangle and 48 per vertex, plus the default
// triangle normals and centres (48 bytes per triangle).
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/CQEL_Vector3_Updatable.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CPointSet.h"
#include "entities/CTriangulation.h"

namespace QEL::Core {

using Elements::CQEL_Vector3_Updatable;

class QEL_API CTriangulation_Create {
  public:
    // One entry of a tube's radius profile: the radius at a fraction of the
    // curve's length (0 at its start, 1 at its end).
    struct sRadiusTransition {
        sRadiusTransition() = default;
        sRadiusTransition(double fraction_, double radius_) : fraction(fraction_), radius(radius_) {}
        double fraction = 0.0;
        double radius = 0.0;
    };

    explicit CTriangulation_Create(CTriangulation& target) : m_target(target) {}

    // --- solids ---------------------------------------------------------------------------

    // Sphere about centre: the octahedron of the six points at radius on the
    // axes (vertices +x, -x, +y, -y, +z, -z, then eight faces), split
    // number_of_splits times (CTriangulation_Modify::SubdivideTriangles, one
    // pass at a time), every vertex pushed back onto the unit sphere after
    // each split; then scaled by radius and moved to centre. 6 vertices and
    // 8 triangles without splits, 8 x 4^n triangles and 4^(n+1) + 2 vertices
    // after n. radius in [1e-6, 1e9] ("radius"); number_of_splits in
    // [0, 1000000000] ("number_of_splits"), and at most 13 (the triangle
    // limit, reason 14 "number_of_splits").
    void Sphere(CPoint3<double> const& centre, double radius, int number_of_splits);

    // Axis-aligned box with opposite corners cornerPt and oppositeCornerPt
    // (in any order): eight corners, two triangles per face, split
    // number_of_splits times (flat: nothing is projected). Corners that agree
    // in x, y or z, or have a coordinate that is not finite, throw reason 14
    // ("cornerPt, oppositeCornerPt", "Points do not describe a volume.");
    // number_of_splits in [0, 1000000000] ("number_of_splits"), and at most 12
    // (the triangle limit, reason 14 "number_of_splits").
    void Cuboid(CPoint3<double> const& cornerPt, CPoint3<double> const& oppositeCornerPt,
                int number_of_splits);

    // Closed cylinder from the disc at baseCentre to the disc at topCentre:
    // n = max(ceil(2 pi radius / approx_tri_size), 3) points round every
    // circle, ceil(height / approx_tri_size) bands of the wall, and each end
    // a disc of rings as Circle. radius in [1e-6, 1e9] ("radius");
    // approx_tri_size in [1e-6, 1e9] ("approx_tri_size"); height =
    // |topCentre - baseCentre| in [1e-6, 1e9] ("height").
    void Cylinder(CPoint3<double> const& baseCentre, CPoint3<double> const& topCentre, double radius,
                  double approx_tri_size);

    // Cone from the base disc at baseCentre to the apex: the mantle in
    // ceil(height / approx_tri_size) rings shrinking to the apex vertex, each
    // with max(ceil(2 pi r / approx_tri_size), 3) points; the base disc made
    // by Circle (normal towards the apex), turned over
    // (CTriangulation_Modify::SwitchNormals) and merged in after the mantle,
    // its rim joined to the mantle's. Checks as Cylinder ("radius",
    // "approx_tri_size", "height").
    void Cone(CPoint3<double> const& baseCentre, CPoint3<double> const& apex, double radius,
              double approx_tri_size);

    // Torus about the axis normal through centre: around the axis
    // max(ceil(2 pi (major_radius + minor_radius) / approx_tri_size), 3) tube
    // circles, each of max(ceil(2 pi minor_radius / approx_tri_size), 3)
    // points starting on the outer equator; the circles are laid out about z
    // and rotated and moved into place. approx_tri_size in [1e-6, 1e9]
    // ("approx_tri_size"); major_radius in [3 approx_tri_size / (2 pi), 1e9]
    // ("major_radius": at least three tube circles around); minor_radius in
    // [1e-6, major_radius] ("minor_radius": the tube does not pass through
    // the axis); a zero or non-finite normal throws reason 14 ("normal",
    // "Invalid direction").
    void Torus(CPoint3<double> const& centre, CVector3<double> const& normal, double major_radius,
               double minor_radius, double approx_tri_size);

    // Flat disc about centre facing normal (triangle normals along normal):
    // the centre vertex, then ceil(radius / approx_tri_size) rings at equal
    // steps of radius, ring i of max(ceil(2 pi r_i / approx_tri_size), 3)
    // points, the first of each on the start direction. The start direction
    // is *startDirection made perpendicular to normal; with none (null), the
    // image of +x under the smallest rotation of +z onto normal. Checks:
    // radius in [1e-6, 1e9] ("radius"); approx_tri_size in [1e-6, 1e9]
    // ("approx_tri_size"); a zero or non-finite normal, reason 14 ("normal",
    // "Invalid direction"); a start direction parallel to normal (or zero),
    // reason 14 ("normal, startDirection", "Normal is parallel to start
    // direction.").
    void Circle(CPoint3<double> const& centre, CVector3<double> const& normal, double radius,
                double approx_tri_size, CVector3<double> const* startDirection = nullptr);
    // The same, the start direction given as an updatable vector: the zero
    // vector asks for the default one. Either way startDirection receives the
    // unit start direction used (marking it modified), so that further
    // pieces can be lined up with the disc's rim.
    void Circle(CPoint3<double> const& centre, CVector3<double> const& normal, double radius,
                double approx_tri_size, CQEL_Vector3_Updatable<double>& startDirection);

    // --- sweeps and offsets -----------------------------------------------------------------

    // The single-section profile swept along direction: the profile moved
    // by startOffset and by endOffset along unit(direction) are the two
    // sections of an ordered-section triangulation, each quad between
    // consecutive points split from the second point of the first section to
    // the first point of the second (triangles (a, b, c), (c, b, d)), so that
    // the normals are (profile direction) x (direction) for endOffset >
    // startOffset. A profile without points warns "Profile point set has no
    // points", one with more than one section "Profile point set more than
    // one section" (warning channel of CQEL_Output_Events); the target is
    // then left empty. Checks: a zero or non-finite direction, reason 14
    // ("direction", "Invalid direction"); startOffset, endOffset in
    // [-1e9, 1e9] ("startOffset", "endOffset") and at least 1e-6 apart
    // ("fabs(endOffset - startOffset)").
    void ExtrudeProfile(CPointSet const& profile, CVector3<double> const& direction, double startOffset,
                        double endOffset);

    // The single-section profile turned once round the axis through
    // axisPoint along axisDirection: max(ceil(2 pi r / approx_tri_size), 3)
    // copies at equal angles, r the largest distance of a profile point from
    // the axis, joined copy to copy and the last back to the first. Profile
    // points on the axis (within 1e-9 of r) become one vertex each, with a
    // fan of triangles round it, so that a profile from axis to axis gives a
    // closed solid; a closed solid is oriented outward, an open surface so
    // that its normals point away from the axis where the profile runs along
    // axisDirection. Checks: approx_tri_size in [1e-6, 1e9]
    // ("approx_tri_size"); a zero or non-finite axisDirection, reason 14
    // ("axisDirection", "Invalid direction"); a profile of more than one
    // section, reason 14 ("profilePts", "More than one section in
    // PointSet."), without points or with all of them on the axis, reason
    // 14 ("profilePts", "No points to revolve."), with a coordinate that is
    // not finite reason 14 ("profilePts", "Profile points must be finite.").
    void FromRevolvedProfile(CPointSet const& profile, CPoint3<double> const& axisPoint,
                             CVector3<double> const& axisDirection, double approx_tri_size);

    // A copy of source with every vertex moved by offset_distance along its
    // vertex normal (CTriangulation_Modify::OffsetTrianglesByDistance): the
    // same connectivity, outward for a solid with outward normals.
    // offset_distance in [1e-6, 1e9] ("offset_distance"). source may be the
    // target; an empty source leaves the target empty.
    void UsingOffsetFromTris(CTriangulation const& source, double offset_distance);

    // One closed shell from a surface and its offset (the same vertices and
    // triangles in the same order, as UsingOffsetFromTris makes it): the
    // offset's triangles, the original's turned over, and along every
    // boundary loop a wall of num_layers bands joining each boundary edge to
    // its offset counterpart; the whole is oriented outward. A closed
    // original gives two nested closed shells. Returns false, leaving the
    // target as it was, when the two do not correspond (other counts, other
    // corners, no triangles). num_layers in [1, 1000000] ("num_layers").
    bool FromOriginalAndOffsetted(CTriangulation const& original, CTriangulation const& offsetted,
                                  int num_layers);

    // A tube round curve, closed at both ends by flat caps (a closed curve,
    // one that ends where it starts, closes the tube round instead, the last
    // circle joined to the first, with the frames' residual turn spread
    // along the length): num_circles
    // circles at equal parameter steps from the curve's start to its end,
    // each normal to the curve's tangent, turned from one to the next by the
    // smallest rotation (rotation-minimising frames, so that the tube does
    // not twist), each of max(ceil(2 pi r_max / approx_tri_size), 3) points
    // with r_max the largest radius. The radius runs along the curve's
    // length from start_radius through the transitions (sorted by fraction)
    // to end_radius, linearly between neighbouring entries. Checks:
    // num_circles in [2, 1000000] ("num_circles"); approx_tri_size,
    // start_radius, end_radius in [1e-6, 1e9] ("approx_tri_size",
    // "start_radius", "end_radius"); each transition's fraction in [0, 1]
    // and radius in [1e-6, 1e9] ("radiusTransitions"); a curve that cannot
    // be evaluated throws reason 10 ("This is an invalid curve"), one with
    // no length reason 14 ("curve", "The curve has no length.").
    void UsingVariableRadiusCirclesAlongCurve(int num_circles, double approx_tri_size, double start_radius,
                                              double end_radius,
                                              CQEL_Array<sRadiusTransition> const& radiusTransitions,
                                              CNURBS_Curve const& curve);

  private:
    CTriangulation& m_target;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CNURBS_Curve: the library's NURBS curve entity.
//
// The storage, shape and checks are those of CNURBS_Curve_Base (order, knot
// vector, homogeneous control points, flags, tolerance). As a typed entity
// (CQEL_Type) it can be transformed and answers for its centre of mass and
// bounding corners; it is serialisable into the native container, where it
// is identified by the class identifier "7D1E5B42-9A3C-4F86-B0E1-52C8A4D6F913".
//
// Derived data live in the curve's cache (CNURBS_Curve_Cache) and are rebuilt
// after any change of the control points, knots or flags. Points and
// derivatives are computed by CNURBS_Curve_Analyse (or, without checks, by
// CNURBS_Curve_Evaluator).
#pragma once

#include "core/ISerialisable.h"
#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve_Base.h"
#include "entities/CNURBS_Curve_Cache.h"
#include "entities/CQEL_Type.h"
#include "entities/IIdentifiable.h"

namespace QEL::Core {

class CPointSet;

class QEL_API CNURBS_Curve : public CNURBS_Curve_Base,
                             public CQEL_Type,
                             public ISerialisable,
                             public CIdentifiable<CNURBS_Curve> {
  public:
    static constexpr char const kClassGUID[] = "7D1E5B42-9A3C-4F86-B0E1-52C8A4D6F913";

    // Order -1, no knots or control points, flags false, the class default deviation.
    CNURBS_Curve();
    CNURBS_Curve(CNURBS_Curve const& other);
    ~CNURBS_Curve() override;

    // Shape, flags, deviation, name and user metadata of other.
    CNURBS_Curve& operator=(CNURBS_Curve const& other);
    void Copy(CNURBS_Curve const& other);
    // Back to the new state (the deviation to the class default); empties the cache.
    void Reset();

    // Writes the curve's summary through the text output channel, one line
    // each: "Curve details:-", "  NumCtrlPts = %d", "  iOrder = %d",
    // "  bClosed = %d", "  bNonRational = %d", "  bPeriodic = %d",
    // "  fStart = %f", "  fEnd = %f" (start and end 0 without knots).
    void Details() const;

    // Transforms every control point (CCtrlPoint::operator*=); the knots stay.
    // Location of failures: "QEL::Core::CNURBS_Curve::Transform".
    void Transform(CEntityTransform const& transform) override;

    // Raises the degree of a single Bezier section (as many control points
    // as the order, no interior knots) by elevation: the curve keeps its
    // shape and parameterisation; the end knots repeat order + elevation
    // times. elevation outside 1 .. 50 - order throws reason 5
    // ("elevation"); a curve that is not one Bezier section reason 14.
    void DegreeElevationBezierSection(int elevation);

    // The curve's own fits to a point set's points, taken section after
    // section as one scan (CNURBS_Curve_Create fits scan by scan):
    // FitToPoints1 makes the curve pass through every point: interpolation
    // with chord-length parameters and averaged knots, of the curve's degree
    // (3 while it has none), closed when the last point repeats the first
    // bit for bit. FitToPoints2 keeps the curve's degree, knots and number of
    // control points and moves the control points to the least-squares fit
    // of the points at chord-length parameters over the curve's range, its
    // ends on the first and last point. Null pPoints throws reason 0; too
    // few points for the degree (1) or the control points (2), coinciding
    // consecutive points (1) or a singular system reason 14 ("pPoints"); a
    // curve without knots (2) reason 10. Linear in the number of points.
    void FitToPoints1(CPointSet const* pPoints);
    void FitToPoints2(CPointSet const* pPoints);

    // Arc-length centroid and box of the curve, from its render mesh
    // (within the curve's tolerance); (0, 0, 0) for a curve without shape.
    CPoint3<double> GetCenMass() const override;
    CPoint3<double> GetMin() const override;
    CPoint3<double> GetMax() const override;
    // A curve carries no error values: count 0.
    SErrorStats const* GetErrorStats() const override;

    // The cache of derived data (meshes, Greville values, closest-point finder).
    CNURBS_Curve_Cache& GetCache() const { return m_cache; }

    // The closest-point finder for the curve as it stands, built on first
    // use by the registered factory and kept until the curve changes.
    INURBS_Curve_ClosestPointFinder const& GetClosestPointFinder() const;
    // Convenience: GetClosestPointFinder().FindClosest(query, result).
    bool FindClosestPoint(CPoint3<double> const& query, SClosestCurvePoint& result) const;
    // The factory for this curve's finders; null returns to the process-wide one.
    void RegisterQueryCPF(QueryCPF_Factory factory);
    // The process-wide factory; null returns to the library's own
    // (CNURBS_Curve_ClosestPoint). Not thread-safe against concurrent queries.
    static void RegisterQueryCPF_Static(QueryCPF_Factory factory);
    static QueryCPF_Factory GetQueryCPF_Static();

    // The curve's record of the native container (CNURBS_Curve_QELParser).
    bool Serialise(CExportData* data) const override;
    bool Deserialise(CImportData* data) override;

  private:
    CQEL_Type* TypeCopy() const override;

    mutable CNURBS_Curve_Cache m_cache;
};

}  // namespace QEL::Core

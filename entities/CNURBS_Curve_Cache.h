// SPDX-License-Identifier: MIT
// CNURBS_Curve_Cache: the derived data of one curve, each built on first
// request and kept until the curve changes.
//
// The cache registers on the curve's flag (CNURBS_Curve_Base::GetCacheFlag),
// which any change of control points, knots or flags raises; every request
// validates the curve's flags first, which discards stale entries. Entries:
//  - the sampled mesh: the curve at ComputeInfilledParams(8), parameters and points;
//  - the render mesh: each span split until the chord is within the curve's
//    tolerance (CalculateTolerance) of the curve at the chord's middle
//    parameter, at most 1024 pieces per span;
//  - box and arc-length centroid of the render mesh;
//  - the registration mesh: count points between two parameters, evenly
//    spaced in parameter or in arc length (SetRegistrationMeshParameters);
//  - the Greville values, one per control point: the mean of the degree
//    knots after it;
//  - the closest-point finder, made by the registered factory.
// A curve without a usable shape (see CNURBS_Curve_Evaluator) has empty
// meshes and Greville values, a zero box and centroid.
#pragma once

#include <memory>

#include "core/CPoint3.h"
#include "core/CQEL_Array.h"
#include "core/ICachedObject.h"
#include "core/QEL_Export.h"
#include "entities/INURBS_Curve_ClosestPointFinder.h"

namespace QEL::Core {

class CNURBS_Curve;

// Points of a curve and the parameters they were evaluated at, in step.
struct SCurveMesh {
    CQEL_Array<double> params;
    CQEL_Array<CPoint3<double>> points;
};

class QEL_API CNURBS_Curve_Cache : public ICachedObject {
  public:
    explicit CNURBS_Curve_Cache(CNURBS_Curve const& curve);
    CNURBS_Curve_Cache(CNURBS_Curve_Cache const&) = delete;
    CNURBS_Curve_Cache& operator=(CNURBS_Curve_Cache const&) = delete;
    ~CNURBS_Curve_Cache() override;

    CPoint3<double> const& GetCenMass();
    CPoint3<double> const& GetMin();
    CPoint3<double> const& GetMax();
    SCurveMesh const& GetMesh();
    SCurveMesh const& GetRenderMesh();
    SCurveMesh const& GetRegistrationMesh();
    // count points (2 .. 100000000, reason 5 "num_points") from parameter
    // start to end (both clamped to the curve's range; start may exceed end
    // for the reverse direction), evenly in arc length when byArcLength, else
    // in parameter. Default: 100 points over the whole range by arc length.
    void SetRegistrationMeshParameters(int num_points, double start, double end, bool byArcLength);
    CQEL_Array<double> const& GetGrevValues();
    INURBS_Curve_ClosestPointFinder const& GetClosestPointFinder();

    // This cache's finder factory; null means the process-wide one.
    void SetFactory(QueryCPF_Factory factory);
    // Empties every entry.
    void Reset();

    void InvalidateCache(CCache_Flag& flag) override;

  private:
    void Validate();
    void UpdateBox();

    CNURBS_Curve const& m_curve;
    QueryCPF_Factory m_factory = nullptr;
    bool m_meshValid = false, m_renderValid = false, m_boxValid = false, m_registrationValid = false,
         m_grevValid = false;
    int m_regCount = 100;
    double m_regStart = -HUGE_VAL, m_regEnd = HUGE_VAL;
    bool m_regByArcLength = true;
    CPoint3<double> m_min, m_max, m_cenMass;
    SCurveMesh m_mesh, m_render, m_registration;
    CQEL_Array<double> m_grev;
    std::unique_ptr<INURBS_Curve_ClosestPointFinder> m_finder;
};

}  // namespace QEL::Core

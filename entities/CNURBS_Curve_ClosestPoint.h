// SPDX-License-Identifier: MIT
// CNURBS_Curve_ClosestPoint: the library's closest-point finder of a curve.
//
// Global search, then local refinement:
//  1. every span of non-zero length gets a box that holds its piece of the
//     curve: the box of its control points when all of them weigh more than
//     0 (the convex hull property), else the box of samples widened by their
//     spacing; the boxes form a bounding-volume hierarchy (median splits);
//  2. a query walks the hierarchy nearer child first and skips every box
//     farther than the best distance found so far;
//  3. in each span it reaches, the curve is sampled at 9 parameters and the
//     nearest sample starts a Newton iteration on (C(u) - q) . C'(u) = 0,
//     kept within the sample's neighbours, taking only steps that bring the
//     point closer (halving otherwise), until the step moves the point by
//     less than 1e-14 of the curve's size.
// Building costs one pass over the spans; a query visits about log(spans)
// boxes plus the spans near the query. Queries allocate nothing.
#pragma once

#include <memory>
#include <vector>

#include "core/QEL_Export.h"
#include "entities/CNURBS_Curve_Evaluator.h"
#include "entities/INURBS_Curve_ClosestPointFinder.h"

namespace QEL::Core {

class QEL_API CNURBS_Curve_ClosestPoint : public INURBS_Curve_ClosestPointFinder {
  public:
    // Builds the hierarchy for curve; a curve without a usable shape gives a
    // finder that finds nothing.
    explicit CNURBS_Curve_ClosestPoint(CNURBS_Curve const& curve);
    ~CNURBS_Curve_ClosestPoint() override;

    bool FindClosest(CPoint3<double> const& query, SClosestCurvePoint& result) const override;

    // The library's factory (QueryCPF_Factory).
    static std::unique_ptr<INURBS_Curve_ClosestPointFinder> Create(CNURBS_Curve const& curve);

  private:
    struct SBox {
        double lo[3], hi[3];
    };
    struct SNode {
        SBox box;
        int first, count;  // spans of a leaf; count 0: inner node with children first, first + 1
    };
    struct SSpan {
        double a, b;
    };

    void Build(int node, int first, int count);
    void SearchSpan(SSpan const& span, CPoint3<double> const& q, SClosestCurvePoint& best) const;

    std::unique_ptr<CNURBS_Curve_Evaluator> m_eval;
    std::vector<SSpan> m_spans;
    std::vector<SBox> m_spanBoxes;
    std::vector<SNode> m_nodes;
    double m_scale = 1.0;
};

}  // namespace QEL::Core

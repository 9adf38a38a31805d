// SPDX-License-Identifier: MIT
// CTriangulation_Create: revolution, offsets, the shell of a surface and its
// offset, and tubes along curves.
#include <algorithm>
#include <cmath>
#include <map>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CNURBS_Curve_Evaluator.h"
#include "operations/triangulation/CTriangulation_Analyse_Topology.h"
#include "operations/triangulation/CTriangulation_Create.h"
#include "operations/triangulation/CTriangulation_Create_Build.h"
#include "operations/triangulation/CTriangulation_Modify.h"

namespace QEL::Core {

using namespace MeshBuild;
using V3 = CVector3<double>;
using P3 = CPoint3<double>;

namespace {

// A closed result faces outward: turned over when its enclosed volume is negative.
void OrientOutward(CTriangulation& target) {
    double volume = 0.0;
    if (CTriangulation_Analyse_Topology(target).EnclosedVolume(volume) && volume < 0.0)
        CTriangulation_Modify(target).SwitchNormals();
}

// Piecewise linear through (0, start), the transitions by fraction, (1, end).
class CRadiusProfile {
  public:
    CRadiusProfile(double start, double end,
                   CQEL_Array<CTriangulation_Create::sRadiusTransition> const& steps) {
        m_knots.push_back({0.0, start});
        for (int i = 0; i < steps.Count(); ++i)
            m_knots.push_back(steps[i]);
        m_knots.push_back({1.0, end});
        std::stable_sort(m_knots.begin() + 1, m_knots.end() - 1,
                         [](auto const& a, auto const& b) { return a.fraction < b.fraction; });
    }
    double At(double f) const {
        for (std::size_t i = 1; i < m_knots.size(); ++i) {
            auto const& a = m_knots[i - 1];
            auto const& b = m_knots[i];
            if (f > b.fraction && i + 1 < m_knots.size()) continue;
            double const span = b.fraction - a.fraction;
            return span > 0.0
                       ? a.radius + (b.radius - a.radius) * std::clamp((f - a.fraction) / span, 0.0, 1.0)
                       : b.radius;
        }
        return m_knots.back().radius;
    }
    double Max() const {
        double r = 0.0;
        for (auto const& k : m_knots)
            r = std::max(r, k.radius);
        return r;
    }

  private:
    std::vector<CTriangulation_Create::sRadiusTransition> m_knots;
};

// Any unit vector perpendicular to the unit vector t.
V3 Perpendicular(V3 const& t) {
    V3 const axis = std::fabs(t.x) <= std::fabs(t.y) && std::fabs(t.x) <= std::fabs(t.z) ? V3(1, 0, 0)
                    : std::fabs(t.y) <= std::fabs(t.z)                                   ? V3(0, 1, 0)
                                                                                         : V3(0, 0, 1);
    return t.Cross(axis).GetNormalised();
}

}  // namespace

void CTriangulation_Create::ExtrudeProfile(CPointSet const& profile, CVector3<double> const& direction,
                                           double startOffset, double endOffset) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::ExtrudeProfile");
    op.Run([&] {
        CheckDirection(op, direction, "direction");
        op.CheckRange(startOffset, -1e9, 1e9, "startOffset");
        op.CheckRange(endOffset, -1e9, 1e9, "endOffset");
        op.CheckRange(std::fabs(endOffset - startOffset), 1e-6, 2e9, "fabs(endOffset - startOffset)");
        if (profile.GetNumPts() == 0 || profile.GetNumSec() > 1) {
            m_target.Reset();
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII(profile.GetNumPts() == 0 ? "Profile point set has no points"
                                                                : "Profile point set more than one section"));
            return;
        }
        // The profile at both offsets, as two sections.
        V3 const unit = direction.GetNormalised();
        CPointSet_Section const& section = profile.get_Sec(0);
        int const m = section.GetNumPts();
        SMesh mesh;
        for (double offset : {startOffset, endOffset})
            for (int i = 0; i < m; ++i)
                mesh.Add(P3(V3(section.get_Pts(i).GetPoint()) + unit * offset));
        // Quads split from b to c as a regular grid is: (a, b, c), (c, b, d).
        for (int i = 0; i + 1 < m; ++i) {
            mesh.Triangle(i, i + 1, m + i);
            mesh.Triangle(m + i, i + 1, m + i + 1);
        }
        Fill(m_target, mesh);
    });
}

void CTriangulation_Create::FromRevolvedProfile(CPointSet const& profile, CPoint3<double> const& axisPoint,
                                                CVector3<double> const& axisDirection,
                                                double approx_tri_size) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::FromRevolvedProfile");
    op.Run([&] {
        op.CheckRange(approx_tri_size, 1e-6, 1e9, "approx_tri_size");
        CheckDirection(op, axisDirection, "axisDirection");
        op.Check(profile.GetNumSec() <= 1, QEL_INVALID_PARAMETER, "profilePts",
                 "More than one section in PointSet.");
        op.Check(profile.GetNumPts() > 0, QEL_INVALID_PARAMETER, "profilePts", "No points to revolve.");
        // Each point as its height along the axis and its distance from it.
        V3 const u = axisDirection.GetNormalised();
        CPointSet_Section const& section = profile.get_Sec(0);
        int count = section.GetNumPts();
        std::vector<double> along, radius;
        V3 reference;
        double rmax = 0.0;
        for (int i = 0; i < count; ++i) {
            V3 const d = V3(section.get_Pts(i).GetPoint()) - V3(axisPoint);
            op.Check(d.IsFinite(), QEL_INVALID_PARAMETER, "profilePts", "Profile points must be finite.");
            V3 const w = d - u * Dot(d, u);
            along.push_back(Dot(d, u));
            radius.push_back(w.Mag());
            if (w.Mag() > rmax) rmax = w.Mag(), reference = w;
        }
        op.Check(rmax > 0.0 && std::isfinite(rmax), QEL_INVALID_PARAMETER, "profilePts",
                 "No points to revolve.");
        CheckTriangleBudget(op, 2.0 * count * (2.0 * kPi * rmax / approx_tri_size + 4.0), "approx_tri_size");
        // A closed profile (last point on the first) is joined round instead of repeated.
        bool const closed = count > 2 && along[0] == along[count - 1] && radius[0] == radius[count - 1] &&
                            V3(section.get_Pts(0).GetPoint()) == V3(section.get_Pts(count - 1).GetPoint());
        if (closed) --count;

        // The frame: z along the axis, x towards the farthest point.
        CTransform4<double> frame;
        frame.CreatePCSTransform(axisPoint, u, reference).Invert();
        int const n = Pieces(2.0 * kPi * rmax, approx_tri_size, 3);
        SMesh mesh;
        std::vector<std::vector<int>> rings;
        for (int i = 0; i < count; ++i) {
            bool const onAxis = radius[i] <= 1e-9 * rmax;
            rings.push_back(AddRing(mesh, frame, onAxis ? 0.0 : radius[i], along[i], onAxis ? 1 : n));
        }
        for (int i = 0; i + 1 < count + (closed ? 1 : 0); ++i) {
            auto const& a = rings[i];
            auto const& b = rings[(i + 1) % count];
            if (a.size() > 1 || b.size() > 1) AddBand(mesh, a, b);
        }
        Fill(m_target, mesh);
        OrientOutward(m_target);
    });
}

void CTriangulation_Create::UsingOffsetFromTris(CTriangulation const& source, double offset_distance) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::UsingOffsetFromTris");
    op.Run([&] {
        op.CheckRange(offset_distance, 1e-6, 1e9, "offset_distance");
        if (&source != &m_target) {
            m_target.Reset();
            m_target.CTriangulation_Base::Copy(source);
        }
        CTriangulation_Modify(m_target).OffsetTrianglesByDistance(offset_distance);
    });
}

bool CTriangulation_Create::FromOriginalAndOffsetted(CTriangulation const& original,
                                                     CTriangulation const& offsetted, int num_layers) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::FromOriginalAndOffsetted");
    return op.Run([&] {
        op.CheckRange(num_layers, 1, 1000000, "num_layers");
        int const nPts = original.GetNumPts(), nTris = original.GetNumTris();
        if (nTris == 0 || offsetted.GetNumPts() != nPts || offsetted.GetNumTris() != nTris) return false;
        auto corner = [](CTriangulation const& mesh, int t, int k) {
            return mesh.GetPointIndex(mesh.get_Tris(t).Edge(k).GetVertex());
        };
        std::int64_t boundary = 0;
        for (int t = 0; t < nTris; ++t)
            for (int k = 0; k < 3; ++k) {
                if (corner(original, t, k) < 0 || corner(original, t, k) != corner(offsetted, t, k))
                    return false;
                boundary += original.get_Tris(t).Edge(k).IsBoundary() ? 1 : 0;
            }
        CheckTriangleBudget(op, 2.0 * nTris + 2.0 * double(boundary) * num_layers, "num_layers");

        // The original turned over, the offset as it is.
        SMesh mesh;
        for (int i = 0; i < nPts; ++i)
            mesh.Add(original.get_Pts(i).GetPoint());
        for (int i = 0; i < nPts; ++i)
            mesh.Add(offsetted.get_Pts(i).GetPoint());
        for (int t = 0; t < nTris; ++t) {
            mesh.Triangle(corner(original, t, 2), corner(original, t, 1), corner(original, t, 0));
            mesh.Triangle(nPts + corner(original, t, 0), nPts + corner(original, t, 1),
                          nPts + corner(original, t, 2));
        }
        // Walls: boundary vertex v at layer l of L is v + (v' - v) l / L.
        std::map<std::pair<int, int>, int> layered;
        auto at = [&](int v, int l) {
            if (l == 0) return v;
            if (l == num_layers) return nPts + v;
            auto const found = layered.find({v, l});
            if (found != layered.end()) return found->second;
            V3 const a(original.get_Pts(v).GetPoint()), b(offsetted.get_Pts(v).GetPoint());
            return layered[{v, l}] = mesh.Add(P3(a + (b - a) * (double(l) / num_layers)));
        };
        for (int t = 0; t < nTris; ++t)
            for (int k = 0; k < 3; ++k) {
                if (!original.get_Tris(t).Edge(k).IsBoundary()) continue;
                int const a = corner(original, t, k), b = corner(original, t, (k + 1) % 3);
                for (int l = 0; l < num_layers; ++l) {
                    mesh.Triangle(at(a, l), at(b, l), at(b, l + 1));
                    mesh.Triangle(at(a, l), at(b, l + 1), at(a, l + 1));
                }
            }
        Fill(m_target, mesh);
        OrientOutward(m_target);
        return true;
    });
}

void CTriangulation_Create::UsingVariableRadiusCirclesAlongCurve(
    int num_circles, double approx_tri_size, double start_radius, double end_radius,
    CQEL_Array<sRadiusTransition> const& radiusTransitions, CNURBS_Curve const& curve) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::UsingVariableRadiusCirclesAlongCurve");
    op.Run([&] {
        op.CheckRange(num_circles, 2, 1000000, "num_circles");
        op.CheckRange(approx_tri_size, 1e-6, 1e9, "approx_tri_size");
        op.CheckRange(start_radius, 1e-6, 1e9, "start_radius");
        op.CheckRange(end_radius, 1e-6, 1e9, "end_radius");
        for (int i = 0; i < radiusTransitions.Count(); ++i) {
            op.CheckRange(radiusTransitions[i].fraction, 0.0, 1.0, "radiusTransitions");
            op.CheckRange(radiusTransitions[i].radius, 1e-6, 1e9, "radiusTransitions");
        }
        CRadiusProfile const radius(start_radius, end_radius, radiusTransitions);
        CheckTriangleBudget(op, 2.0 * (num_circles + 1) * (2.0 * kPi * radius.Max() / approx_tri_size + 4.0),
                            "approx_tri_size");

        // Centres and tangents at equal parameter steps; lengths along the chords.
        CNURBS_Curve_Evaluator const eval(curve);
        std::size_t const circles = std::size_t(num_circles);
        std::vector<V3> centre(circles), tangent(circles);
        std::vector<double> length(circles, 0.0);
        for (int i = 0; i < num_circles; ++i) {
            double const u = eval.GetStart() + (eval.GetEnd() - eval.GetStart()) * i / (num_circles - 1);
            V3 d[2];
            eval.Derivs(std::min(u, eval.GetEnd()), 1, d);
            centre[i] = d[0], tangent[i] = d[1];
            if (i > 0) length[i] = length[i - 1] + (centre[i] - centre[i - 1]).Mag();
        }
        double const total = length.back();
        op.Check(total > 0.0 && std::isfinite(total), QEL_INVALID_PARAMETER, "curve",
                 "The curve has no length.");
        for (int i = 0; i < num_circles; ++i) {
            // Where the derivative vanishes, the chord through the neighbours.
            if (!(tangent[i].Mag() > 1e-12 * total))
                tangent[i] = centre[std::min(i + 1, num_circles - 1)] - centre[std::max(i - 1, 0)];
            tangent[i] = tangent[i].GetNormalised();
        }

        // Rotation-minimising frames by double reflection (Wang, Juettler,
        // Zheng and Liu, "Computation of rotation minimizing frames", 2008).
        std::vector<V3> side(circles);
        side[0] = Perpendicular(tangent[0]);
        for (int i = 0; i + 1 < num_circles; ++i) {
            V3 const v1 = centre[i + 1] - centre[i];
            double const c1 = Dot(v1, v1);
            V3 r = side[i], t = tangent[i];
            if (c1 > 0.0) r = r - v1 * (2.0 / c1 * Dot(v1, r)), t = t - v1 * (2.0 / c1 * Dot(v1, t));
            V3 const v2 = tangent[i + 1] - t;
            double const c2 = Dot(v2, v2);
            if (c2 > 0.0) r = r - v2 * (2.0 / c2 * Dot(v2, r));
            // Keep it exactly perpendicular against rounding.
            side[i + 1] = (r - tangent[i + 1] * Dot(r, tangent[i + 1])).GetNormalised();
        }

        // A closed curve closes the tube round instead of capping it: the frames'
        // residual turn at the end (the curve's holonomy) is spread evenly
        // along the length so that the last circle meets the first.
        bool const closed = (centre.back() - centre.front()).Mag() <= 1e-9 * total && num_circles > 3;
        if (closed) {
            V3 const t = tangent.front(), r = side.back() - t * Dot(side.back(), t);
            double const turn = std::atan2(Dot(t.Cross(side.front()), r), Dot(side.front(), r));
            for (int i = 1; i < num_circles; ++i) {
                double const a = -turn * length[i] / total;
                side[i] = side[i] * std::cos(a) + tangent[i].Cross(side[i]) * std::sin(a);
            }
        }

        int const n = Pieces(2.0 * kPi * radius.Max(), approx_tri_size, 3);
        SMesh mesh;
        auto ring = [&](int i, double rho) {
            std::vector<int> points(static_cast<std::size_t>(n));
            V3 const s = tangent[i].Cross(side[i]);
            for (int j = 0; j < n; ++j) {
                double const angle = 2.0 * kPi * j / n;
                points[j] = mesh.Add(P3(centre[i] + (side[i] * std::cos(angle) + s * std::sin(angle)) * rho));
            }
            return points;
        };
        std::vector<int> const start = ring(0, radius.At(0.0));
        if (!closed) AddBand(mesh, {mesh.Add(P3(centre[0]))}, start);
        std::vector<int> previous = start;
        for (int i = 1; i < num_circles - (closed ? 1 : 0); ++i) {
            std::vector<int> next = ring(i, radius.At(length[i] / total));
            AddBand(mesh, previous, next);
            previous = std::move(next);
        }
        if (closed)
            AddBand(mesh, previous, start);
        else
            AddBand(mesh, previous, {mesh.Add(P3(centre.back()))});
        Fill(m_target, mesh);
        OrientOutward(m_target);
    });
}

}  // namespace QEL::Core

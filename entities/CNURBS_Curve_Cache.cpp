// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve_Cache.h"

#include <algorithm>
#include <cmath>

#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CNURBS_Curve_Evaluator.h"

namespace QEL::Core {

INURBS_Curve_ClosestPointFinder::~INURBS_Curve_ClosestPointFinder() = default;

namespace {

constexpr int kSamplesPerSpan = 8;
constexpr int kMaxRenderDepth = 10;  // 1024 pieces per span at most

bool HasShape(CNURBS_Curve const& curve) {
    int const k = curve.GetOrder(), n = curve.GetCtrlPts().Count();
    return k >= 1 && k <= NURBS::kMaxOrder && n >= k && curve.GetNumKnots() == n + k;
}

// Splits [a, b] until the chord's middle is within tol of the curve.
void Refine(CNURBS_Curve_Evaluator const& eval, double a, CPoint3<double> const& pa, double b,
            CPoint3<double> const& pb, double tol, int depth, SCurveMesh& out) {
    double const mid = 0.5 * (a + b);
    CPoint3<double> const pm = eval.Point(mid);
    CPoint3<double> const chordMid((pa.x + pb.x) * 0.5, (pa.y + pb.y) * 0.5, (pa.z + pb.z) * 0.5);
    if (depth < kMaxRenderDepth && pm.Distance(chordMid) > tol) {
        Refine(eval, a, pa, mid, pm, tol, depth + 1, out);
        Refine(eval, mid, pm, b, pb, tol, depth + 1, out);
        return;
    }
    out.params.PushBack(b);
    out.points.PushBack(pb);
}

}  // namespace

CNURBS_Curve_Cache::CNURBS_Curve_Cache(CNURBS_Curve const& curve) : m_curve(curve) {
    m_curve.GetCacheFlag().RegisterObject(this);
}

CNURBS_Curve_Cache::~CNURBS_Curve_Cache() = default;

void CNURBS_Curve_Cache::InvalidateCache(CCache_Flag&) {
    Reset();
}

void CNURBS_Curve_Cache::Reset() {
    m_meshValid = m_renderValid = m_boxValid = m_registrationValid = m_grevValid = false;
    m_mesh = SCurveMesh();
    m_render = SCurveMesh();
    m_registration = SCurveMesh();
    m_grev.Reset();
    m_finder.reset();
}

void CNURBS_Curve_Cache::SetFactory(QueryCPF_Factory factory) {
    m_factory = factory;
    m_finder.reset();
}

void CNURBS_Curve_Cache::Validate() {
    m_curve.ValidateCaches();
}

SCurveMesh const& CNURBS_Curve_Cache::GetMesh() {
    Validate();
    if (m_meshValid) return m_mesh;
    m_mesh = SCurveMesh();
    if (HasShape(m_curve)) {
        CNURBS_Curve_Evaluator const eval(m_curve);
        m_curve.GetKnotVector().ComputeInfilledParams(kSamplesPerSpan - 1, &m_mesh.params);
        m_mesh.points.CheckSpace(m_mesh.params.Count());
        for (int i = 0; i < m_mesh.params.Count(); ++i)
            m_mesh.points[i] = eval.Point(m_mesh.params[i]);
    }
    m_meshValid = true;
    return m_mesh;
}

SCurveMesh const& CNURBS_Curve_Cache::GetRenderMesh() {
    Validate();
    if (m_renderValid) return m_render;
    m_render = SCurveMesh();
    if (HasShape(m_curve)) {
        CNURBS_Curve_Evaluator const eval(m_curve);
        double const tol = m_curve.CalculateTolerance();
        double const* U = eval.GetKnots();
        int const first = eval.GetOrder() - 1, last = m_curve.GetNumKnots() - eval.GetOrder();
        m_render.params.PushBack(U[first]);
        m_render.points.PushBack(eval.Point(U[first]));
        for (int i = first; i < last; ++i) {
            if (!(U[i + 1] > U[i])) continue;
            // Two pieces at least: a span's chord can pass through the curve's middle.
            double const mid = 0.5 * (U[i] + U[i + 1]);
            CPoint3<double> const pm = eval.Point(mid), pb = eval.Point(U[i + 1]);
            Refine(eval, U[i], m_render.points.Back(), mid, pm, tol, 1, m_render);
            Refine(eval, mid, pm, U[i + 1], pb, tol, 1, m_render);
        }
    }
    m_renderValid = true;
    return m_render;
}

void CNURBS_Curve_Cache::UpdateBox() {
    SCurveMesh const& mesh = GetRenderMesh();
    if (m_boxValid) return;
    m_min = m_max = m_cenMass = CPoint3<double>(0.0, 0.0, 0.0);
    int const n = mesh.points.Count();
    if (n > 0) {
        double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        double sum[3] = {0.0, 0.0, 0.0}, length = 0.0;
        for (int i = 0; i < n; ++i) {
            CPoint3<double> const& p = mesh.points[i];
            for (int c = 0; c < 3; ++c)
                lo[c] = std::min(lo[c], p[c]), hi[c] = std::max(hi[c], p[c]);
            if (i == 0) continue;
            CPoint3<double> const& q = mesh.points[i - 1];
            double const l = p.Distance(q);
            length += l;
            for (int c = 0; c < 3; ++c)
                sum[c] += l * 0.5 * (p[c] + q[c]);
        }
        m_min = CPoint3<double>(lo[0], lo[1], lo[2]);
        m_max = CPoint3<double>(hi[0], hi[1], hi[2]);
        // A curve of zero length (all control points equal) has its one point as centroid.
        m_cenMass = length > 0.0 ? CPoint3<double>(sum[0] / length, sum[1] / length, sum[2] / length)
                                 : mesh.points[0];
    }
    m_boxValid = true;
}

CPoint3<double> const& CNURBS_Curve_Cache::GetCenMass() {
    UpdateBox();
    return m_cenMass;
}
CPoint3<double> const& CNURBS_Curve_Cache::GetMin() {
    UpdateBox();
    return m_min;
}
CPoint3<double> const& CNURBS_Curve_Cache::GetMax() {
    UpdateBox();
    return m_max;
}

void CNURBS_Curve_Cache::SetRegistrationMeshParameters(int num_points, double start, double end,
                                                       bool byArcLength) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Cache::SetRegistrationMeshParameters");
    op.Run([&] {
        op.CheckRange(num_points, 2, 100000000, "num_points");
        op.CheckParameter(!std::isnan(start), "start");
        op.CheckParameter(!std::isnan(end), "end");
        m_regCount = num_points;
        m_regStart = start;
        m_regEnd = end;
        m_regByArcLength = byArcLength;
        m_registrationValid = false;
    });
}

SCurveMesh const& CNURBS_Curve_Cache::GetRegistrationMesh() {
    Validate();
    if (m_registrationValid) return m_registration;
    m_registration = SCurveMesh();
    if (HasShape(m_curve)) {
        CNURBS_Curve_Evaluator const eval(m_curve);
        double const s = std::clamp(m_regStart, eval.GetStart(), eval.GetEnd());
        double const e = std::clamp(m_regEnd, eval.GetStart(), eval.GetEnd());
        m_registration.params.CheckSpace(m_regCount);
        if (!m_regByArcLength) {
            for (int i = 0; i < m_regCount; ++i)
                m_registration.params[i] =
                    i + 1 == m_regCount ? e : s + (e - s) * double(i) / double(m_regCount - 1);
        } else {
            // Arc length along a fine polyline, inverted by linear interpolation.
            int const pieces = std::max(64, 8 * m_regCount);
            CQEL_Array<double> u(pieces + 1), cum(pieces + 1);
            CPoint3<double> prev = eval.Point(s);
            u[0] = s, cum[0] = 0.0;
            for (int i = 1; i <= pieces; ++i) {
                u[i] = i == pieces ? e : s + (e - s) * double(i) / double(pieces);
                CPoint3<double> const p = eval.Point(u[i]);
                cum[i] = cum[i - 1] + p.Distance(prev);
                prev = p;
            }
            int j = 0;
            for (int i = 0; i < m_regCount; ++i) {
                double const target = cum[pieces] * double(i) / double(m_regCount - 1);
                while (j < pieces - 1 && cum[j + 1] < target)
                    ++j;
                double const span = cum[j + 1] - cum[j];
                double const t = span > 0.0 ? std::clamp((target - cum[j]) / span, 0.0, 1.0) : 0.0;
                m_registration.params[i] = i + 1 == m_regCount ? e : u[j] + t * (u[j + 1] - u[j]);
            }
        }
        m_registration.points.CheckSpace(m_regCount);
        for (int i = 0; i < m_regCount; ++i)
            m_registration.points[i] = eval.Point(m_registration.params[i]);
    }
    m_registrationValid = true;
    return m_registration;
}

CQEL_Array<double> const& CNURBS_Curve_Cache::GetGrevValues() {
    Validate();
    if (m_grevValid) return m_grev;
    m_grev.Reset();
    if (HasShape(m_curve)) {
        CQEL_Array<double> const& U = m_curve.GetKnotVector().GetKnots();
        int const n = m_curve.GetCtrlPts().Count(), p = m_curve.GetDegree();
        m_grev.CheckSpace(n);
        for (int i = 0; i < n; ++i) {
            double sum = 0.0;
            for (int j = 1; j <= p; ++j)
                sum += U[i + j];
            m_grev[i] = sum / double(p == 0 ? 1 : p);
        }
        if (p == 0)
            for (int i = 0; i < n; ++i)
                m_grev[i] = 0.5 * (U[i] + U[i + 1]);
    }
    m_grevValid = true;
    return m_grev;
}

INURBS_Curve_ClosestPointFinder const& CNURBS_Curve_Cache::GetClosestPointFinder() {
    Validate();
    if (!m_finder) {
        QueryCPF_Factory const factory = m_factory ? m_factory : CNURBS_Curve::GetQueryCPF_Static();
        m_finder = factory(m_curve);
        if (!m_finder) {
            static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Cache::GetClosestPointFinder");
            op.Throw(QEL_OPERATION_FAILED, "factory", "The closest-point factory made no finder");
        }
    }
    return *m_finder;
}

}  // namespace QEL::Core

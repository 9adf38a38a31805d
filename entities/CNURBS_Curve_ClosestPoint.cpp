// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve_ClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "entities/CNURBS_Curve.h"

namespace QEL::Core {

namespace {

constexpr int kLeafSpans = 4;
constexpr int kSamples = 8;  // pieces per span of the global search
constexpr int kMaxNewton = 40;
constexpr int kStackDepth = 128;

double BoxDistSq(double const* lo, double const* hi, CPoint3<double> const& q) {
    double d = 0.0;
    for (int c = 0; c < 3; ++c) {
        double const v = q[c];
        double const e = v < lo[c] ? lo[c] - v : v > hi[c] ? v - hi[c] : 0.0;
        d += e * e;
    }
    return d;
}

}  // namespace

std::unique_ptr<INURBS_Curve_ClosestPointFinder> CNURBS_Curve_ClosestPoint::Create(
    CNURBS_Curve const& curve) {
    return std::make_unique<CNURBS_Curve_ClosestPoint>(curve);
}

CNURBS_Curve_ClosestPoint::~CNURBS_Curve_ClosestPoint() = default;

CNURBS_Curve_ClosestPoint::CNURBS_Curve_ClosestPoint(CNURBS_Curve const& curve) {
    int const k = curve.GetOrder(), n = curve.GetCtrlPts().Count();
    if (k < 1 || k > NURBS::kMaxOrder || n < k || curve.GetNumKnots() != n + k) return;
    m_eval = std::make_unique<CNURBS_Curve_Evaluator>(curve);
    double const* U = m_eval->GetKnots();
    CCtrlPoint const* P = curve.GetCtrlPts().begin();
    double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    for (int i = k - 1; i < n; ++i) {
        if (!(U[i + 1] > U[i])) continue;
        SSpan const span{U[i], U[i + 1]};
        SBox box{{HUGE_VAL, HUGE_VAL, HUGE_VAL}, {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL}};
        bool positive = true;
        for (int j = i - k + 1; j <= i; ++j)
            positive = positive && P[j].get_w() > 0.0;
        if (positive) {
            for (int j = i - k + 1; j <= i; ++j) {
                double const w = P[j].get_w();
                double const c[3] = {P[j].get_x() / w, P[j].get_y() / w, P[j].get_z() / w};
                for (int a = 0; a < 3; ++a)
                    box.lo[a] = std::min(box.lo[a], c[a]), box.hi[a] = std::max(box.hi[a], c[a]);
            }
        } else {
            // No hull to rely on: samples, widened by the largest gap between them.
            double gap = 0.0;
            CPoint3<double> prev = m_eval->Point(span.a);
            for (int s = 0; s <= 4 * kSamples; ++s) {
                CPoint3<double> const p =
                    m_eval->Point(span.a + (span.b - span.a) * double(s) / (4.0 * kSamples));
                gap = std::max(gap, p.Distance(prev));
                prev = p;
                for (int a = 0; a < 3; ++a)
                    box.lo[a] = std::min(box.lo[a], p[a]), box.hi[a] = std::max(box.hi[a], p[a]);
            }
            for (int a = 0; a < 3; ++a)
                box.lo[a] -= gap, box.hi[a] += gap;
        }
        for (int a = 0; a < 3; ++a)
            lo[a] = std::min(lo[a], box.lo[a]), hi[a] = std::max(hi[a], box.hi[a]);
        m_spans.push_back(span);
        m_spanBoxes.push_back(box);
    }
    if (m_spans.empty()) {
        m_eval.reset();
        return;
    }
    m_scale =
        std::max({1e-300, hi[0] - lo[0], hi[1] - lo[1], hi[2] - lo[2], std::fabs(lo[0]), std::fabs(hi[0]),
                  std::fabs(lo[1]), std::fabs(hi[1]), std::fabs(lo[2]), std::fabs(hi[2])});
    m_nodes.reserve(2 * (m_spans.size() / kLeafSpans + 1));
    m_nodes.emplace_back();
    Build(0, 0, int(m_spans.size()));
}

void CNURBS_Curve_ClosestPoint::Build(int node, int first, int count) {
    SBox box{{HUGE_VAL, HUGE_VAL, HUGE_VAL}, {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL}};
    for (int i = first; i < first + count; ++i)
        for (int a = 0; a < 3; ++a) {
            box.lo[a] = std::min(box.lo[a], m_spanBoxes[i].lo[a]);
            box.hi[a] = std::max(box.hi[a], m_spanBoxes[i].hi[a]);
        }
    m_nodes[node].box = box;
    if (count <= kLeafSpans) {
        m_nodes[node].first = first;
        m_nodes[node].count = count;
        return;
    }
    // Median split along the widest axis, by box centres.
    int axis = 0;
    for (int a = 1; a < 3; ++a)
        if (box.hi[a] - box.lo[a] > box.hi[axis] - box.lo[axis]) axis = a;
    std::vector<int> order(static_cast<std::size_t>(count));
    std::iota(order.begin(), order.end(), first);
    int const half = count / 2;
    // Keys that are not finite (boxes of curves with extreme weights) sort as 0, keeping the order strict.
    auto const key = [&](int i) {
        double const k = m_spanBoxes[i].lo[axis] + m_spanBoxes[i].hi[axis];
        return std::isfinite(k) ? k : 0.0;
    };
    std::nth_element(order.begin(), order.begin() + half, order.end(),
                     [&](int x, int y) { return key(x) < key(y); });
    std::vector<SSpan> spans(static_cast<std::size_t>(count));
    std::vector<SBox> boxes(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        spans[i] = m_spans[order[i]], boxes[i] = m_spanBoxes[order[i]];
    std::copy(spans.begin(), spans.end(), m_spans.begin() + first);
    std::copy(boxes.begin(), boxes.end(), m_spanBoxes.begin() + first);
    int const left = int(m_nodes.size());
    m_nodes[node].first = left;
    m_nodes[node].count = 0;
    m_nodes.emplace_back();
    m_nodes.emplace_back();
    Build(left, first, half);
    Build(left + 1, first + half, count - half);
}

bool CNURBS_Curve_ClosestPoint::FindClosest(CPoint3<double> const& query, SClosestCurvePoint& result) const {
    result = SClosestCurvePoint();
    if (!m_eval) return false;
    result.distance = HUGE_VAL;
    double bestSq = HUGE_VAL;
    int stack[kStackDepth];
    int top = 0;
    stack[top++] = 0;
    while (top > 0) {
        SNode const& node = m_nodes[std::size_t(stack[--top])];
        if (BoxDistSq(node.box.lo, node.box.hi, query) > bestSq) continue;
        if (node.count > 0) {
            for (int i = node.first; i < node.first + node.count; ++i) {
                if (BoxDistSq(m_spanBoxes[i].lo, m_spanBoxes[i].hi, query) > bestSq) continue;
                SearchSpan(m_spans[std::size_t(i)], query, result);
                bestSq = result.distance * result.distance;
            }
            continue;
        }
        int const a = node.first, b = node.first + 1;
        double const da = BoxDistSq(m_nodes[a].box.lo, m_nodes[a].box.hi, query);
        double const db = BoxDistSq(m_nodes[b].box.lo, m_nodes[b].box.hi, query);
        // Nearer child on top; the tree's depth is about log2(spans / 4), far below the stack.
        if (top + 2 > kStackDepth) continue;
        if (da <= db) {
            if (db <= bestSq) stack[top++] = b;
            if (da <= bestSq) stack[top++] = a;
        } else {
            if (da <= bestSq) stack[top++] = a;
            if (db <= bestSq) stack[top++] = b;
        }
    }
    return true;
}

void CNURBS_Curve_ClosestPoint::SearchSpan(SSpan const& span, CPoint3<double> const& q,
                                           SClosestCurvePoint& best) const {
    CNURBS_Curve_Evaluator const& eval = *m_eval;
    // Global step: the nearest of evenly spaced samples.
    double const h = (span.b - span.a) / kSamples;
    int bestS = 0;
    double bestSq = HUGE_VAL;
    for (int s = 0; s <= kSamples; ++s) {
        double const u = s == kSamples ? span.b : span.a + h * s;
        double const d = eval.Point(u).DistanceSq(q);
        if (d < bestSq) bestSq = d, bestS = s;
    }
    double lo = bestS == 0 ? span.a : span.a + h * (bestS - 1);
    double hi = bestS == kSamples ? span.b : span.a + h * (bestS + 1);
    double u = bestS == kSamples ? span.b : span.a + h * bestS;
    // Local step: safeguarded Newton on f(u) = (C - q) . C'.
    CVector3<double> d[3];
    eval.Derivs(u, 2, d);
    double const tiny = 1e-14 * m_scale;
    for (int it = 0; it < kMaxNewton; ++it) {
        CVector3<double> const r(d[0].x - q.x, d[0].y - q.y, d[0].z - q.z);
        double const f = r.Dot(d[1]);
        double fp = d[1].Dot(d[1]) + r.Dot(d[2]);
        if (!(fp > 0.0)) fp = d[1].Dot(d[1]);
        if (!(fp > 0.0)) break;
        double step = -f / fp;
        double const cur = r.Dot(r);
        bool moved = false;
        for (int halve = 0; halve < 30; ++halve) {
            double const next = std::clamp(u + step, lo, hi);
            if (next == u) break;
            CVector3<double> nd[3];
            eval.Derivs(next, 2, nd);
            CVector3<double> const nr(nd[0].x - q.x, nd[0].y - q.y, nd[0].z - q.z);
            if (nr.Dot(nr) <= cur) {
                double const moveSq = (nd[0] - d[0]).Dot(nd[0] - d[0]);
                u = next;
                for (int j = 0; j < 3; ++j)
                    d[j] = nd[j];
                moved = moveSq > tiny * tiny;
                break;
            }
            step *= 0.5;
        }
        if (!moved) break;
    }
    CPoint3<double> const foot(d[0].x, d[0].y, d[0].z);
    double dist = foot.Distance(q);
    // Derivs divides by the weight exactly; the sample may still be the better answer at a kink.
    if (dist * dist > bestSq) {
        u = bestS == kSamples ? span.b : span.a + h * bestS;
        CPoint3<double> const p = eval.Point(u);
        if (p.DistanceSq(q) < dist * dist) {
            dist = p.Distance(q);
            if (dist < best.distance) best = {p, u, dist};
            return;
        }
    }
    if (dist < best.distance) best = {foot, u, dist};
}

}  // namespace QEL::Core

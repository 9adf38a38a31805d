// SPDX-License-Identifier: MIT
#include "spatial/CTriangleBVH.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

#include "core/CQEL_Operation.h"
#include "core/CVector3.h"

namespace QEL::Core {

using Elements::CVector3;

namespace {

constexpr int kLeafSize = 4;

CPoint3<double> ClosestPointOnSegment(CPoint3<double> const& p, CPoint3<double> const& a,
                                      CPoint3<double> const& b) {
    CVector3<double> const ab = b - a;
    double const lengthSq = ab.MagSq();
    if (!(lengthSq > 0.0)) return a;
    double const t = std::clamp((p - a).Dot(ab) / lengthSq, 0.0, 1.0);
    return a + ab * t;
}

double BoxDistanceSq(float const lo[3], float const hi[3], CPoint3<double> const& p) {
    double d = 0.0;
    for (int c = 0; c < 3; ++c) {
        double const v = p[c];
        double const l = lo[c], h = hi[c];
        double const out = v < l ? l - v : v > h ? v - h : 0.0;
        d += out * out;
    }
    return d;
}

// The float at or below v, and at or above v (a NaN widens the box to all space).
float FloatBelow(double v) {
    if (std::isnan(v) || v <= -FLT_MAX) return -HUGE_VALF;
    if (v >= FLT_MAX) return FLT_MAX;
    float f = float(v);
    if (double(f) > v) f = std::nextafter(f, -HUGE_VALF);
    return f;
}
float FloatAbove(double v) {
    if (std::isnan(v) || v >= FLT_MAX) return HUGE_VALF;
    if (v <= -FLT_MAX) return -FLT_MAX;
    float f = float(v);
    if (double(f) < v) f = std::nextafter(f, HUGE_VALF);
    return f;
}

}  // namespace

CPoint3<double> ClosestPointOnTriangle(CPoint3<double> const& p, CPoint3<double> const& a,
                                       CPoint3<double> const& b, CPoint3<double> const& c) {
    CVector3<double> const ab = b - a;
    CVector3<double> const ac = c - a;
    // Relative test: the squared area against the product of the squared edge
    // lengths is the squared sine of the angle at a.
    double const crossSq = ab.Cross(ac).MagSq();
    if (!(crossSq > 1e-24 * ab.MagSq() * ac.MagSq()) || !(crossSq > 0.0)) {
        CPoint3<double> best = ClosestPointOnSegment(p, a, b);
        for (CPoint3<double> const& q : {ClosestPointOnSegment(p, b, c), ClosestPointOnSegment(p, c, a)})
            if (q.DistanceSq(p) < best.DistanceSq(p)) best = q;
        return best;
    }
    CVector3<double> const ap = p - a;
    double const d1 = ab.Dot(ap);
    double const d2 = ac.Dot(ap);
    if (d1 <= 0.0 && d2 <= 0.0) return a;
    CVector3<double> const bp = p - b;
    double const d3 = ab.Dot(bp);
    double const d4 = ac.Dot(bp);
    if (d3 >= 0.0 && d4 <= d3) return b;
    double const vc = d1 * d4 - d3 * d2;
    if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0) return a + ab * (d1 / (d1 - d3));
    CVector3<double> const cp = p - c;
    double const d5 = ab.Dot(cp);
    double const d6 = ac.Dot(cp);
    if (d6 >= 0.0 && d5 <= d6) return c;
    double const vb = d5 * d2 - d1 * d6;
    if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0) return a + ac * (d2 / (d2 - d6));
    double const va = d3 * d6 - d5 * d4;
    if (va <= 0.0 && (d4 - d3) >= 0.0 && (d5 - d6) >= 0.0)
        return b + (c - b) * ((d4 - d3) / ((d4 - d3) + (d5 - d6)));
    double const denom = 1.0 / (va + vb + vc);
    return a + ab * (vb * denom) + ac * (vc * denom);
}

void CTriangleBVH::Build(std::span<CPoint3<double> const> corners, std::span<int const> ids) {
    static CQEL_Operation const op("QEL::Core::CTriangleBVH::Build");
    op.Run([&] {
        op.Check(corners.size() % 3 == 0, QEL_INVALID_PARAMETER, "corners",
                 "Corner count must be a multiple of three");
        std::size_t const n = corners.size() / 3;
        op.Check(n <= std::size_t(std::numeric_limits<int>::max() / 3), QEL_INVALID_PARAMETER, "corners",
                 "Too many triangles");
        op.Check(ids.empty() || ids.size() == n, QEL_INVALID_PARAMETER, "ids",
                 "One id per triangle is needed");
        m_nodes.clear();
        m_corners.clear();
        m_ids.clear();
        if (n == 0) return;

        // Centroids and indices side by side: the partitioning reads them in
        // sequence instead of chasing indices.
        std::vector<SItem> items(n);
        for (std::size_t i = 0; i < n; ++i) {
            CPoint3<double> const& a = corners[3 * i];
            CPoint3<double> const& b = corners[3 * i + 1];
            CPoint3<double> const& c = corners[3 * i + 2];
            items[i] = {{(a.x + b.x + c.x) / 3.0, (a.y + b.y + c.y) / 3.0, (a.z + b.z + c.z) / 3.0}, int(i)};
        }
        m_nodes.reserve(2 * (n / kLeafSize + 1));
        BuildNode(items, corners, 0, int(n));

        m_corners.resize(3 * n);
        m_ids.resize(n);
        for (std::size_t i = 0; i < n; ++i) {
            std::size_t const t = std::size_t(items[i].index);
            for (std::size_t k = 0; k < 3; ++k)
                m_corners[3 * i + k] = corners[3 * t + k];
            m_ids[i] = ids.empty() ? int(t) : ids[t];
        }
    });
}

int CTriangleBVH::BuildNode(std::vector<SItem>& items, std::span<CPoint3<double> const> corners, int first,
                            int count) {
    int const index = int(m_nodes.size());
    m_nodes.push_back({});
    SNode node{};
    if (count <= kLeafSize) {
        double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
        double hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
        for (int i = first; i < first + count; ++i) {
            std::size_t const t = std::size_t(items[std::size_t(i)].index);
            for (std::size_t k = 0; k < 3; ++k)
                for (int c = 0; c < 3; ++c) {
                    double const v = corners[3 * t + k][c];
                    lo[c] = std::min(lo[c], v);
                    hi[c] = std::max(hi[c], v);
                }
        }
        for (int c = 0; c < 3; ++c) {
            node.lo[c] = FloatBelow(lo[c]);
            node.hi[c] = FloatAbove(hi[c]);
        }
        node.first = first;
        node.count = count;
        m_nodes[std::size_t(index)] = node;
        return index;
    }
    // Median of the centroids along their longest extent: balanced, so the
    // depth stays log2(n) whatever the distribution.
    double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
    double hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    for (int i = first; i < first + count; ++i)
        for (int c = 0; c < 3; ++c) {
            lo[c] = std::min(lo[c], items[std::size_t(i)].centroid[c]);
            hi[c] = std::max(hi[c], items[std::size_t(i)].centroid[c]);
        }
    int axis = 0;
    for (int c = 1; c < 3; ++c)
        if (hi[c] - lo[c] > hi[axis] - lo[axis]) axis = c;
    int const half = count / 2;
    auto const begin = items.begin() + first;
    std::nth_element(begin, begin + half, begin + count,
                     [axis](SItem const& l, SItem const& r) { return l.centroid[axis] < r.centroid[axis]; });
    int const left = BuildNode(items, corners, first, half);
    int const right = BuildNode(items, corners, first + half, count - half);
    // The box of an inner node is the union of its children's.
    SNode const& l = m_nodes[std::size_t(left)];
    SNode const& r = m_nodes[std::size_t(right)];
    for (int c = 0; c < 3; ++c) {
        node.lo[c] = std::min(l.lo[c], r.lo[c]);
        node.hi[c] = std::max(l.hi[c], r.hi[c]);
    }
    node.first = right;
    node.count = 0;
    m_nodes[std::size_t(index)] = node;
    return index;
}

bool CTriangleBVH::FindClosest(CPoint3<double> const& query, SHit& hit) const {
    hit = SHit{};
    if (m_nodes.empty() || !std::isfinite(query.x) || !std::isfinite(query.y) || !std::isfinite(query.z))
        return false;
    double best = HUGE_VAL;
    // Nodes to visit with the distance of their box, which was measured when
    // they were pushed; the tree is balanced, so its depth stays below 32.
    struct SPending {
        int node;
        double distanceSq;
    } stack[128];
    int top = 0;
    stack[top++] = {0, BoxDistanceSq(m_nodes[0].lo, m_nodes[0].hi, query)};
    while (top > 0) {
        SPending const pending = stack[--top];
        if (pending.distanceSq > best) continue;
        SNode const& node = m_nodes[std::size_t(pending.node)];
        if (node.count > 0) {
            for (int i = node.first; i < node.first + node.count; ++i) {
                std::size_t const k = 3 * std::size_t(i);
                CPoint3<double> const q =
                    ClosestPointOnTriangle(query, m_corners[k], m_corners[k + 1], m_corners[k + 2]);
                double const d = q.DistanceSq(query);
                if (d < best || hit.triangle < 0) {
                    best = d;
                    hit.point = q;
                    hit.triangle = m_ids[std::size_t(i)];
                    hit.distanceSq = d;
                }
            }
            continue;
        }
        // Push the farther child first, so that the nearer one is searched
        // first and shrinks the search radius early.
        int const left = pending.node + 1;
        int const right = node.first;
        double const dl = BoxDistanceSq(m_nodes[std::size_t(left)].lo, m_nodes[std::size_t(left)].hi, query);
        double const dr =
            BoxDistanceSq(m_nodes[std::size_t(right)].lo, m_nodes[std::size_t(right)].hi, query);
        if (dl <= dr) {
            stack[top++] = {right, dr};
            stack[top++] = {left, dl};
        } else {
            stack[top++] = {left, dl};
            stack[top++] = {right, dr};
        }
    }
    return hit.triangle >= 0;
}

std::int64_t CTriangleBVH::GetApproxSize() const {
    return std::int64_t(m_nodes.capacity() * sizeof(SNode) + m_corners.capacity() * sizeof(CPoint3<double>) +
                        m_ids.capacity() * sizeof(int));
}

}  // namespace QEL::Core

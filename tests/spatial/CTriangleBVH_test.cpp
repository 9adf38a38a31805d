// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "spatial/CTriangleBVH.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;

namespace {

// The closest point by dense sampling of barycentric coordinates: an oracle
// independent of the Voronoi-region logic.
double SampledDistance(CPoint3<double> const& p, CPoint3<double> const& a, CPoint3<double> const& b,
                       CPoint3<double> const& c) {
    int const n = 200;
    double best = HUGE_VAL;
    for (int i = 0; i <= n; ++i)
        for (int j = 0; i + j <= n; ++j) {
            double const u = double(i) / n, v = double(j) / n, w = 1.0 - u - v;
            CPoint3<double> const q(u * a.x + v * b.x + w * c.x, u * a.y + v * b.y + w * c.y,
                                    u * a.z + v * b.z + w * c.z);
            best = std::min(best, q.Distance(p));
        }
    return best;
}

}  // namespace

TEST(ClosestPointOnTriangle, MatchesSamplingInEveryRegionAndOnDegenerateTriangles) {
    std::mt19937 random(99);
    std::uniform_real_distribution<double> coordinate(-3.0, 3.0);
    auto point = [&] { return CPoint3<double>(coordinate(random), coordinate(random), coordinate(random)); };
    for (int i = 0; i < 200; ++i) {
        CPoint3<double> a = point(), b = point(), c = point();
        if (i % 10 == 1) c = b;  // two corners coincide
        if (i % 10 == 2) c = CPoint3<double>(2 * b.x - a.x, 2 * b.y - a.y, 2 * b.z - a.z);  // collinear
        if (i % 10 == 3) b = c = a;                                                         // a single point
        CPoint3<double> const p = point();
        CPoint3<double> const q = ClosestPointOnTriangle(p, a, b, c);
        double const sampled = SampledDistance(p, a, b, c);
        // The sampled oracle is an upper bound within the sampling step.
        EXPECT_LE(q.Distance(p), sampled + 1e-12) << "case " << i;
        EXPECT_GE(q.Distance(p), sampled - 0.1) << "case " << i;
        EXPECT_TRUE(std::isfinite(q.x) && std::isfinite(q.y) && std::isfinite(q.z)) << "case " << i;
    }
}

TEST(CTriangleBVH, FindClosest_AgreesWithBruteForceOnClusteredTriangles) {
    std::mt19937 random(7);
    std::normal_distribution<double> cluster(0.0, 1.0);
    std::uniform_real_distribution<double> small(-0.05, 0.05);
    std::vector<CPoint3<double>> corners;
    for (int t = 0; t < 3000; ++t) {
        // Three clusters of small triangles, some of them degenerate.
        double const cx = 10.0 * (t % 3), cy = cluster(random), cz = cluster(random);
        CPoint3<double> const a(cx + cluster(random), cy, cz);
        CPoint3<double> const b(a.x + small(random), a.y + small(random), a.z + small(random));
        CPoint3<double> const c =
            t % 50 == 0 ? b : CPoint3<double>(a.x + small(random), a.y + small(random), a.z);
        corners.insert(corners.end(), {a, b, c});
    }
    CTriangleBVH tree;
    tree.Build(corners);
    EXPECT_EQ(tree.GetNumTriangles(), 3000);
    std::uniform_real_distribution<double> coordinate(-5.0, 25.0);
    for (int q = 0; q < 200; ++q) {
        CPoint3<double> const query(coordinate(random), 0.3 * coordinate(random), 0.3 * coordinate(random));
        CTriangleBVH::SHit hit;
        ASSERT_TRUE(tree.FindClosest(query, hit));
        double best = HUGE_VAL;
        for (std::size_t t = 0; t < corners.size(); t += 3)
            best = std::min(
                best,
                ClosestPointOnTriangle(query, corners[t], corners[t + 1], corners[t + 2]).DistanceSq(query));
        EXPECT_EQ(hit.distanceSq, best) << "query " << q;
        std::size_t const k = 3 * std::size_t(hit.triangle);
        EXPECT_EQ(ClosestPointOnTriangle(query, corners[k], corners[k + 1], corners[k + 2]).DistanceSq(query),
                  best);
    }
}

TEST(CTriangleBVH, Build_RejectsInconsistentInputAndQueriesWithoutAnswerFindNothing) {
    CTriangleBVH tree;
    CTriangleBVH::SHit hit;
    EXPECT_FALSE(tree.FindClosest({0, 0, 0}, hit));
    std::vector<CPoint3<double>> const corners(4);
    EXPECT_EQ(ReasonOf([&] { tree.Build(corners); }), QEL_INVALID_PARAMETER);
    std::vector<CPoint3<double>> const three(3);
    std::vector<int> const ids{1, 2};
    EXPECT_EQ(ReasonOf([&] { tree.Build(three, ids); }), QEL_INVALID_PARAMETER);
    std::vector<int> const one{42};
    tree.Build(three, one);
    ASSERT_TRUE(tree.FindClosest({1, 0, 0}, hit));
    EXPECT_EQ(hit.triangle, 42);
    EXPECT_EQ(hit.distanceSq, 1.0);
    EXPECT_FALSE(tree.FindClosest({std::nan(""), 0, 0}, hit));
    EXPECT_FALSE(tree.FindClosest({0, HUGE_VAL, 0}, hit));
}

TEST(CTriangleBVH, FloatBoxes_NeverHideATriangleBetweenFloatsOrBeyondTheirRange) {
    // Parallel triangles in the planes x = x_i, closer together than floats
    // can tell apart near 0.1, and a second group beyond the float range: a
    // query on triangle i must find it at distance 0.
    std::vector<CPoint3<double>> corners;
    std::vector<double> planes;
    for (int i = 0; i < 40; ++i)
        planes.push_back(0.1 + 1e-9 * i);
    for (int i = 0; i < 10; ++i)
        planes.push_back(1e39 * (1 + i));
    for (double x : planes)
        corners.insert(corners.end(), {{x, 0, 0}, {x, 1, 0}, {x, 0, 1}});
    CTriangleBVH tree;
    tree.Build(corners);
    for (std::size_t i = 0; i < planes.size(); ++i) {
        CTriangleBVH::SHit hit;
        ASSERT_TRUE(tree.FindClosest({planes[i], 0.2, 0.3}, hit));
        EXPECT_EQ(hit.triangle, int(i));
        EXPECT_LT(hit.distanceSq, 1e-30);  // the neighbours lie 1e-9 away
    }
}

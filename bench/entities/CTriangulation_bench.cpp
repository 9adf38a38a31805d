// SPDX-License-Identifier: MIT
// Closest-point queries against a triangulation's surface through its
// closest-triangle finder (a bounding-volume hierarchy built once), on the
// generated torus of 800,000 triangles and on a small torus of 2,000, beside
// brute force over every triangle of the small one (Ericson's closest point
// on a triangle, Real-Time Collision Detection 5.1.5) in the same run.
// Queries: 10,000 points drawn with a fixed seed from the torus's bounding
// box grown by a tenth.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "qel.h"
#include "TorusTriangulation.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;

namespace {

using P = CPoint3<double>;

std::unique_ptr<CTriangulation> MakeMesh(int around, int across) {
    return QEL::Bench::MakeTorusTriangulation(around, across);
}

CTriangulation const& Large() {
    static auto const mesh = MakeMesh(800, 500);
    return *mesh;
}
CTriangulation const& Small() {
    static auto const mesh = MakeMesh(40, 25);
    return *mesh;
}

std::vector<P> const& Queries() {
    static std::vector<P> const queries = [] {
        std::mt19937_64 random(20261124);
        std::uniform_real_distribution<double> xy(-143.0, 143.0), z(-33.0, 33.0);
        std::vector<P> made(10000);
        for (P& q : made)
            q = P(xy(random), xy(random), z(random));
        return made;
    }();
    return queries;
}

P Sub(P const& a, P const& b) {
    return P(a.x - b.x, a.y - b.y, a.z - b.z);
}
double Dot(P const& a, P const& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
P Along(P const& a, P const& d, double t) {
    return P(a.x + t * d.x, a.y + t * d.y, a.z + t * d.z);
}

P ClosestOnTriangle(P const& p, P const& a, P const& b, P const& c) {
    P const ab = Sub(b, a), ac = Sub(c, a), ap = Sub(p, a);
    double const d1 = Dot(ab, ap), d2 = Dot(ac, ap);
    if (d1 <= 0 && d2 <= 0) return a;
    P const bp = Sub(p, b);
    double const d3 = Dot(ab, bp), d4 = Dot(ac, bp);
    if (d3 >= 0 && d4 <= d3) return b;
    double const vc = d1 * d4 - d3 * d2;
    if (vc <= 0 && d1 >= 0 && d3 <= 0) return Along(a, ab, d1 / (d1 - d3));
    P const cp = Sub(p, c);
    double const d5 = Dot(ab, cp), d6 = Dot(ac, cp);
    if (d6 >= 0 && d5 <= d6) return c;
    double const vb = d5 * d2 - d1 * d6;
    if (vb <= 0 && d2 >= 0 && d6 <= 0) return Along(a, ac, d2 / (d2 - d6));
    double const va = d3 * d6 - d5 * d4;
    if (va <= 0 && d4 - d3 >= 0 && d5 - d6 >= 0)
        return Along(b, Sub(c, b), (d4 - d3) / ((d4 - d3) + (d5 - d6)));
    double const denominator = 1.0 / (va + vb + vc);
    double const v = vb * denominator, w = vc * denominator;
    return P(a.x + ab.x * v + ac.x * w, a.y + ab.y * v + ac.y * w, a.z + ab.z * v + ac.z * w);
}

void Queries(benchmark::State& state, CTriangulation const& mesh) {
    SClosestTriangle result;
    mesh.FindClosestTriangle(Queries()[0], result);  // builds the finder, untimed
    double sum = 0.0;
    for (auto _ : state)
        for (P const& q : Queries()) {
            mesh.FindClosestTriangle(q, result);
            sum += result.distance;
        }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(Queries().size()));
    state.counters["triangles"] = mesh.GetNumTris();
}

void BM_ClosestPoint_Finder_800k(benchmark::State& state) {
    Queries(state, Large());
}
BENCHMARK(BM_ClosestPoint_Finder_800k)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ClosestPoint_Finder_2k(benchmark::State& state) {
    Queries(state, Small());
}
BENCHMARK(BM_ClosestPoint_Finder_2k)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_BruteForce_2k(benchmark::State& state) {
    CTriangulation const& mesh = Small();
    double sum = 0.0;
    for (auto _ : state)
        for (P const& q : Queries()) {
            double best = 1e300;
            for (auto const& t : mesh.GetTriangles()) {
                P const c = ClosestOnTriangle(q, *t.GetPt1(), *t.GetPt2(), *t.GetPt3());
                P const d = Sub(q, c);
                best = std::min(best, Dot(d, d));
            }
            sum += std::sqrt(best);
        }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(std::int64_t(state.iterations()) * std::int64_t(Queries().size()));
    state.counters["triangles"] = mesh.GetNumTris();
}
BENCHMARK(BM_Reference_BruteForce_2k)->Unit(benchmark::kMillisecond)->UseRealTime();

// The finder's construction on the large mesh: a copy of the mesh has none yet.
void BM_ClosestPoint_BuildFinder_800k(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto copy = std::make_unique<CTriangulation>(Large());
        state.ResumeTiming();
        benchmark::DoNotOptimize(&copy->GetClosestTriangleFinder());
        state.PauseTiming();
        copy.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_ClosestPoint_BuildFinder_800k)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

}  // namespace

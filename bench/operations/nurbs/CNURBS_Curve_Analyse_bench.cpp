// SPDX-License-Identifier: MIT
// Curve evaluation and closest-point queries on a cubic of 100,000 knots:
// 1,000,000 points through CNURBS_Curve_Analyse::ComputePoint beside a plain
// de Boor loop (binary span search with std::upper_bound, the triangular
// de Boor scheme on a copy of the four points) over the same parameters, and
// closest-point queries beside the nearest of 8 samples per span found by
// brute force.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "NURBSBenchCurve.h"
#include "entities/CNURBS_Curve.h"
#include "operations/nurbs/CNURBS_Curve_Analyse.h"

using namespace QEL::Core;
namespace BC = QEL::BenchCurve;

namespace {

struct SData {
    std::vector<double> knots = BC::Knots();
    std::vector<double> xyz = BC::CtrlPts();
    std::vector<double> sorted = BC::Params(true);
    std::vector<double> shuffled = BC::Params(false);
    CNURBS_Curve curve;
    SData() {
        curve.CheckSpace(BC::kNumCtrl, BC::kDegree);
        CQEL_Array<double>& U = curve.EditKnotVector().EditKnots();
        for (int i = 0; i < BC::kNumKnots; ++i)
            U[i] = knots[std::size_t(i)];
        for (int i = 0; i < BC::kNumCtrl; ++i)
            curve.get_CtrlPts(i).RawSet(CPoint3<double>(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]), 1.0);
        curve.MarkCtrlPtsModified();
    }
};

SData const& Data() {
    static SData const data;
    return data;
}

void Evaluate(benchmark::State& state, std::vector<double> const& params) {
    CNURBS_Curve_Analyse const analyse(Data().curve);
    for (auto _ : state) {
        double sum = 0.0;
        for (double u : params) {
            CPoint3<double> const p = analyse.ComputePoint(u);
            sum += p.x + p.y + p.z;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["ns/point"] =
        benchmark::Counter(double(params.size()) * double(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

// The reference: textbook de Boor on raw arrays (The NURBS Book, eq. 5.7 scheme).
void ReferenceDeBoor(benchmark::State& state, std::vector<double> const& params) {
    std::vector<double> const& U = Data().knots;
    std::vector<double> const& P = Data().xyz;
    int const p = BC::kDegree;
    for (auto _ : state) {
        double sum = 0.0;
        for (double u : params) {
            int k = int(std::upper_bound(U.begin() + p, U.end() - p - 1, u) - U.begin()) - 1;
            k = std::min(k, BC::kNumCtrl - 1);
            double d[4][3];
            for (int j = 0; j <= p; ++j)
                for (int c = 0; c < 3; ++c)
                    d[j][c] = P[std::size_t(3 * (j + k - p) + c)];
            for (int r = 1; r <= p; ++r)
                for (int j = p; j >= r; --j) {
                    double const a = (u - U[std::size_t(j + k - p)]) /
                                     (U[std::size_t(j + 1 + k - r)] - U[std::size_t(j + k - p)]);
                    for (int c = 0; c < 3; ++c)
                        d[j][c] = (1.0 - a) * d[j - 1][c] + a * d[j][c];
                }
            sum += d[p][0] + d[p][1] + d[p][2];
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["ns/point"] =
        benchmark::Counter(double(params.size()) * double(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void BM_ComputePoint_1M_Sorted(benchmark::State& state) {
    Evaluate(state, Data().sorted);
}
void BM_Reference_DeBoor_1M_Sorted(benchmark::State& state) {
    ReferenceDeBoor(state, Data().sorted);
}
void BM_ComputePoint_1M_Shuffled(benchmark::State& state) {
    Evaluate(state, Data().shuffled);
}
void BM_Reference_DeBoor_1M_Shuffled(benchmark::State& state) {
    ReferenceDeBoor(state, Data().shuffled);
}
BENCHMARK(BM_ComputePoint_1M_Sorted)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Reference_DeBoor_1M_Sorted)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ComputePoint_1M_Shuffled)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Reference_DeBoor_1M_Shuffled)->Unit(benchmark::kMillisecond)->UseRealTime();

// Query points near the curve: curve points pushed off by up to 0.3.
std::vector<CPoint3<double>> Queries(int count) {
    CNURBS_Curve_Analyse const analyse(Data().curve);
    std::mt19937 random(5);
    std::uniform_real_distribution<double> u(0.0, 1.0), off(-0.3, 0.3);
    std::vector<CPoint3<double>> queries;
    for (int i = 0; i < count; ++i) {
        CPoint3<double> const p = analyse.ComputePoint(u(random));
        queries.emplace_back(p.x + off(random), p.y + off(random), p.z + off(random));
    }
    return queries;
}

void BM_ClosestPoint_10k(benchmark::State& state) {
    std::vector<CPoint3<double>> const queries = Queries(10000);
    SClosestCurvePoint found;
    Data().curve.FindClosestPoint(queries[0], found);  // the finder is built outside the timing
    for (auto _ : state) {
        double sum = 0.0;
        for (CPoint3<double> const& q : queries) {
            Data().curve.FindClosestPoint(q, found);
            sum += found.distance;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["us/query"] =
        benchmark::Counter(1e-6 * double(queries.size()) * double(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_ClosestPoint_10k)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_BruteForceSamples_100(benchmark::State& state) {
    std::vector<CPoint3<double>> const queries = Queries(100);
    SCurveMesh const& mesh = Data().curve.GetCache().GetMesh();
    for (auto _ : state) {
        double sum = 0.0;
        for (CPoint3<double> const& q : queries) {
            double best = HUGE_VAL;
            for (CPoint3<double> const& p : mesh.points)
                best = std::min(best, p.DistanceSq(q));
            sum += std::sqrt(best);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.counters["us/query"] =
        benchmark::Counter(1e-6 * double(queries.size()) * double(state.iterations()),
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}
BENCHMARK(BM_Reference_BruteForceSamples_100)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ClosestPoint_BuildFinder(benchmark::State& state) {
    for (auto _ : state) {
        CNURBS_Curve copy(Data().curve);
        SClosestCurvePoint found;
        copy.FindClosestPoint({0, 0, 0}, found);
        benchmark::DoNotOptimize(found.distance);
    }
}
BENCHMARK(BM_ClosestPoint_BuildFinder)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

}  // namespace

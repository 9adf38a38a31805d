// SPDX-License-Identifier: MIT
// Point set storage: the cost of global (sectionless) indexing against a
// direct walk over the sections' arrays, and the memory held per point and
// per section.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "qel.h"

using namespace QEL::Core;

namespace {

constexpr int kSections = 10000;
constexpr int kPointsPerSection = 1000;  // 10 million points

CPointSet const& WalkSet() {
    static CPointSet* set = [] {
        auto* built = new CPointSet(kSections, kPointsPerSection, CPtsData::def);
        int g = 0;
        for (int s = 0; s < kSections; ++s)
            for (int i = 0; i < kPointsPerSection; ++i, ++g)
                built->get_Sec(s).set_Pts(i, QEL::Elements::CPoint3<double>(g, 0.5 * g, 1.0));
        return built;
    }();
    return *set;
}

// Reference: the sections' arrays read directly.
void BM_Walk_SectionArrays(benchmark::State& state) {
    CPointSet const& set = WalkSet();
    for (auto _ : state) {
        double sum = 0.0;
        for (int s = 0; s < set.GetNumSec(); ++s)
            for (auto const& p : set.get_Sec(s).GetPtsArray())
                sum += p.x;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * set.GetNumPts());
}
BENCHMARK(BM_Walk_SectionArrays)->Unit(benchmark::kMillisecond);

// Every point by its global index, forwards: the cached resolution.
void BM_Walk_GlobalIndexForwards(benchmark::State& state) {
    CPointSet const& set = WalkSet();
    for (auto _ : state) {
        double sum = 0.0;
        int const n = set.GetNumPts();
        for (int g = 0; g < n; ++g)
            sum += set.get_Pts(g).x;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * set.GetNumPts());
}
BENCHMARK(BM_Walk_GlobalIndexForwards)->Unit(benchmark::kMillisecond);

void BM_Walk_GlobalIndexBackwards(benchmark::State& state) {
    CPointSet const& set = WalkSet();
    for (auto _ : state) {
        double sum = 0.0;
        for (int g = set.GetNumPts() - 1; g >= 0; --g)
            sum += set.get_Pts(g).x;
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * set.GetNumPts());
}
BENCHMARK(BM_Walk_GlobalIndexBackwards)->Unit(benchmark::kMillisecond);

// Memory held (GetApproxSize) by sets built two ways, per point and per
// empty section; the reference is the 24 bytes of a bare CPoint3<double>.
void BM_ApproxSize(benchmark::State& state) {
    for (auto _ : state) {
        CPointSet const& sized = WalkSet();  // sections sized at once
        CPointSet grown(kSections / 10, 0, CPtsData::def);
        for (int s = 0; s < grown.GetNumSec(); ++s)
            for (int i = 0; i < kPointsPerSection; ++i)
                grown.get_Sec(s).AddPoint(i, 0, 0);
        CPointSet empty(kSections, 0, CPtsData::def);
        state.counters["bytes_per_point_sized"] = double(sized.GetApproxSize()) / sized.GetNumPts();
        state.counters["bytes_per_point_grown"] = double(grown.GetApproxSize()) / grown.GetNumPts();
        grown.Compact();
        state.counters["bytes_per_point_compacted"] = double(grown.GetApproxSize()) / grown.GetNumPts();
        state.counters["bytes_per_empty_section"] = double(empty.GetApproxSize()) / empty.GetNumSec();
        state.counters["reference_bytes_per_CPoint3"] = double(sizeof(QEL::Elements::CPoint3<double>));
    }
}
BENCHMARK(BM_ApproxSize)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

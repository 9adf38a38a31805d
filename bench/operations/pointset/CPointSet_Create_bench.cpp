// SPDX-License-Identifier: MIT
// Sphere creation at over 10 million points: points per second, and the
// bytes of positions written per second beside memcpy of as many bytes.
#include <benchmark/benchmark.h>

#include "BenchReferences.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

// radius / spacing = 900 gives 4 pi 900^2 ~ 10.2 million points.
constexpr double kRadius = 900.0;
constexpr double kSpacing = 1.0;

void BM_Sphere(benchmark::State& state) {
    CPointSet set;
    CPointSet_Create create(set);
    for (auto _ : state) {
        create.Sphere(QEL::Elements::CPoint3<double>(1, 2, 3), kSpacing, kRadius);
        benchmark::DoNotOptimize(set.GetNumPts());
    }
    std::int64_t const points = set.GetNumPts();
    state.counters["points"] = double(points);
    state.counters["sections"] = double(set.GetNumSec());
    state.SetItemsProcessed(state.iterations() * points);
    state.SetBytesProcessed(state.iterations() * points * std::int64_t(sizeof(CPointSet_Section::Point)));
}
BENCHMARK(BM_Sphere)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Reference: copying as many bytes as the sphere's positions occupy.
void BM_Memcpy_SphereBytes(benchmark::State& state) {
    std::size_t const bytes = std::size_t(4.0 * 3.14159265 * kRadius * kRadius / (kSpacing * kSpacing)) *
                              sizeof(CPointSet_Section::Point);
    MemcpyReference(state, bytes);
}
BENCHMARK(BM_Memcpy_SphereBytes)->Unit(benchmark::kMillisecond);

}  // namespace

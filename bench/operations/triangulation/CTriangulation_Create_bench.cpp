// SPDX-License-Identifier: MIT
// The sphere of 8 splits (524,288 triangles, 262,146 vertices, every one
// paired) beside two references from the same run: memcpy of as many bytes
// as the finished mesh's vertices and triangles occupy, and a torus of about
// as many triangles, built from points and corner triples and paired in one
// pass (no subdivision).
#include <benchmark/benchmark.h>

#include <cmath>

#include "BenchReferences.h"
#include "qel.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace {

void Report(benchmark::State& state, CTriangulation const& mesh) {
    state.counters["triangles"] = double(mesh.GetNumTris());
    state.counters["vertices"] = double(mesh.GetNumPts());
    state.SetItemsProcessed(state.iterations() * std::int64_t(mesh.GetNumTris()));
}

void BM_Sphere_8Splits(benchmark::State& state) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    for (auto _ : state) {
        create.Sphere(CPoint3<double>(1, 2, 3), 10.0, 8);
        benchmark::DoNotOptimize(mesh.GetNumTris());
    }
    Report(state, mesh);
}
BENCHMARK(BM_Sphere_8Splits)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Tube circles 5 x 2 pi / size and 2 pi / size points round: size 0.02745 gives about 524,288 triangles.
void BM_Torus_SameTriangles(benchmark::State& state) {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    for (auto _ : state) {
        create.Torus(CPoint3<double>(1, 2, 3), CVector3<double>(0, 0, 1), 4.0, 1.0, 0.02745);
        benchmark::DoNotOptimize(mesh.GetNumTris());
    }
    Report(state, mesh);
}
BENCHMARK(BM_Torus_SameTriangles)->Unit(benchmark::kMillisecond)->MinTime(2.0);

// Reference: copying the bytes of the sphere's vertex and triangle arrays.
void BM_Memcpy_SphereBytes(benchmark::State& state) {
    std::size_t const bytes = std::size_t(262146) * sizeof(CTriangulation_Vertex) +
                              std::size_t(524288) * sizeof(CTriangulation_Triangle);
    MemcpyReference(state, bytes);
}
BENCHMARK(BM_Memcpy_SphereBytes)->Unit(benchmark::kMillisecond);

}  // namespace

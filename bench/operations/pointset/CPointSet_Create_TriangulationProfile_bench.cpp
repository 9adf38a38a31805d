// SPDX-License-Identifier: MIT
// Plane sections of the generated torus of 800,000 triangles
// (CPointSet_Create::TriangulationProfile, a plane through the axis: two
// loops), beside one pass over its vertices computing their signed distances
// to the same plane, the least any exact classification must do.
#include <benchmark/benchmark.h>

#include "TorusTriangulation.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

CTriangulation const& Torus() {
    static auto const mesh = QEL::Bench::MakeTorusTriangulation(800, 500);
    return *mesh;
}

CPlane3d const kPlane(CPoint3<double>(0.0, 0.0, 0.0), CVector3<double>(0.3, 1.0, 0.0));

void BM_TriangulationProfile_Torus800k(benchmark::State& state) {
    CTriangulation const& mesh = Torus();
    CPointSet profile;
    for (auto _ : state) {
        CPointSet_Create(profile).TriangulationProfile(mesh, kPlane, 0.0);
        benchmark::DoNotOptimize(profile.GetNumPts());
    }
    state.counters["sections"] = profile.GetNumSec();
    state.counters["points"] = profile.GetNumPts();
}
BENCHMARK(BM_TriangulationProfile_Torus800k)->Unit(benchmark::kMillisecond);

void BM_Reference_SignedDistances_Torus800k(benchmark::State& state) {
    CTriangulation const& mesh = Torus();
    CVector3<double> const n = kPlane.GetNormal();
    CPoint3<double> const o = kPlane.GetPoint();
    for (auto _ : state) {
        int positive = 0;
        for (CTriangulation_Vertex const& v : mesh.GetVertices())
            positive += (v.get_x() - o.x) * n.x + (v.get_y() - o.y) * n.y + (v.get_z() - o.z) * n.z > 0.0;
        benchmark::DoNotOptimize(positive);
    }
}
BENCHMARK(BM_Reference_SignedDistances_Torus800k)->Unit(benchmark::kMillisecond);

}  // namespace

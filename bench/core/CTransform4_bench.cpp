// SPDX-License-Identifier: MIT
// Transforming points: the inner loop of every entity's Transform. Each figure
// stands beside memcpy of the same bytes (the floor of any pass over the
// array) and a hand-written affine loop (what the projective rule costs).
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "core/CPoint3.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CTransform4.h"

using QEL::Elements::CPoint3;
using QEL::Elements::CQEL_Point3_Updatable;
using QEL::Elements::CTransform4;
using QEL::Elements::CVector3;

namespace {

constexpr int kCount = 1 << 20;

std::vector<CPoint3<double>> RandomPoints() {
    std::mt19937_64 rng(1);
    std::uniform_real_distribution<double> u(-100, 100);
    std::vector<CPoint3<double>> points(kCount);
    for (auto& p : points)
        p = {u(rng), u(rng), u(rng)};
    return points;
}

CTransform4<double> Moved() {
    CTransform4<double> t;
    t.CreateRotation(CVector3<double>(1, 2, 3), 0.7);
    t.SetTranslation({1, 2, 3});
    return t;
}

void Finish(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * kCount);
    state.SetBytesProcessed(state.iterations() * kCount * std::int64_t(sizeof(CPoint3<double>)));
}

void BM_Reference_Memcpy(benchmark::State& state) {
    auto const source = RandomPoints();
    std::vector<CPoint3<double>> target(kCount);
    for (auto _ : state) {
        std::memcpy(target.data(), source.data(), kCount * sizeof(CPoint3<double>));
        benchmark::ClobberMemory();
    }
    Finish(state);
}

void BM_Reference_AffineLoop(benchmark::State& state) {
    auto const source = RandomPoints();
    std::vector<CPoint3<double>> target(kCount);
    double m[16];
    std::memcpy(m, Moved().GetArray(), sizeof m);
    for (auto _ : state) {
        for (int i = 0; i < kCount; ++i) {
            CPoint3<double> const& p = source[i];
            target[i] = {p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12],
                         p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13],
                         p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14]};
        }
        benchmark::ClobberMemory();
    }
    Finish(state);
}

void BM_Transform4_ApplyPoints(benchmark::State& state) {
    auto const source = RandomPoints();
    std::vector<CPoint3<double>> target(kCount);
    CTransform4<double> const t = Moved();
    for (auto _ : state) {
        for (int i = 0; i < kCount; ++i)
            target[i] = t.Apply(source[i]);
        benchmark::ClobberMemory();
    }
    Finish(state);
}

void BM_Transform4_UpdatablePointsInPlace(benchmark::State& state) {
    auto const source = RandomPoints();
    std::vector<CQEL_Point3_Updatable<double>> points(source.begin(), source.end());
    CTransform4<double> const t = Moved();
    for (auto _ : state) {
        for (auto& p : points)
            p.Transform(t);
        benchmark::ClobberMemory();
    }
    Finish(state);
}

}  // namespace

BENCHMARK(BM_Reference_Memcpy)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Reference_AffineLoop)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Transform4_ApplyPoints)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Transform4_UpdatablePointsInPlace)->Unit(benchmark::kMillisecond);

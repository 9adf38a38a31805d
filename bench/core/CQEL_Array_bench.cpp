// SPDX-License-Identifier: MIT
// CQEL_Array against the standard containers, and the MD5 digest against
// memcpy bandwidth, each pair measured in the same run.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <vector>

#include "core/CQEL_Array.h"
#include "core/CQEL_MD5.h"

using QEL::Core::CQEL_Array;

namespace {

// The fastest repetition is the least disturbed by other work on the machine.
double Min(std::vector<double> const& v) {
    return *std::min_element(v.begin(), v.end());
}

// --- appending: per element, including the geometric reallocations ---------

void BM_Array_PushBack(benchmark::State& state) {
    int const n = int(state.range(0));
    for (auto _ : state) {
        CQEL_Array<double> a;
        for (int i = 0; i < n; ++i)
            a.PushBack(double(i));
        benchmark::DoNotOptimize(a.begin());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Vector_PushBack(benchmark::State& state) {
    int const n = int(state.range(0));
    for (auto _ : state) {
        std::vector<double> v;
        for (int i = 0; i < n; ++i)
            v.push_back(double(i));
        benchmark::DoNotOptimize(v.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

BENCHMARK(BM_Array_PushBack)->ComputeStatistics("min", Min)->Arg(1000)->Arg(1000000);
BENCHMARK(BM_Vector_PushBack)->ComputeStatistics("min", Min)->Arg(1000)->Arg(1000000);

// --- draining from the front: constant time per call --------------------------

void BM_Array_PopFront(benchmark::State& state) {
    int const n = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        CQEL_Array<double> a;
        a.PreAllocate(n);
        for (int i = 0; i < n; ++i)
            a.PushBack(double(i));
        state.ResumeTiming();
        for (int i = 0; i < n; ++i)
            a.PopFront();
        benchmark::DoNotOptimize(a.Count());
        state.PauseTiming();
        a.Reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Deque_PopFront(benchmark::State& state) {
    int const n = int(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        std::deque<double> d;
        for (int i = 0; i < n; ++i)
            d.push_back(double(i));
        state.ResumeTiming();
        for (int i = 0; i < n; ++i)
            d.pop_front();
        benchmark::DoNotOptimize(d.size());
        state.PauseTiming();
        d = std::deque<double>();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * n);
}

// 1,000 and 1,000,000 calls: the same time per call shows that PopFront does
// not move the remaining elements.
BENCHMARK(BM_Array_PopFront)
    ->ComputeStatistics("min", Min)
    ->Arg(1000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Deque_PopFront)
    ->ComputeStatistics("min", Min)
    ->Arg(1000)
    ->Arg(1000000)
    ->Unit(benchmark::kMicrosecond);

// --- digest throughput against memory bandwidth -------------------------------

constexpr int kDigestBytes = 64 << 20;

void BM_Array_GetCRC(benchmark::State& state) {
    CQEL_Array<unsigned char> a(kDigestBytes);
    for (int i = 0; i < kDigestBytes; ++i)
        a.Unsafe_Get(i) = static_cast<unsigned char>(i * 131);
    for (auto _ : state)
        benchmark::DoNotOptimize(a.GetCRC());
    state.SetBytesProcessed(state.iterations() * std::int64_t(kDigestBytes));
}

void BM_Memcpy(benchmark::State& state) {
    std::vector<unsigned char> from(kDigestBytes, 1), to(kDigestBytes, 0);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(kDigestBytes));
}

BENCHMARK(BM_Array_GetCRC)->ComputeStatistics("min", Min)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Memcpy)->ComputeStatistics("min", Min)->Unit(benchmark::kMillisecond);

}  // namespace

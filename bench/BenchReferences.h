// SPDX-License-Identifier: MIT
// References that benchmarks measure in the same run as their figures.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

// memcpy of bytes from one buffer into another, once per iteration: the
// bandwidth that writing as many bytes of results cannot beat.
inline void MemcpyReference(benchmark::State& state, std::size_t bytes) {
    std::vector<unsigned char> from(bytes, 1), to(bytes, 0);
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), bytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes));
}

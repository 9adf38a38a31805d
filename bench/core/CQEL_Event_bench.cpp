// SPDX-License-Identifier: MIT
// Cost of notifying an event against the plain reference: a loop over a
// std::vector<std::function> calling the same functions. Both call free
// functions that add the argument to a counter.
#include <benchmark/benchmark.h>

#include <functional>
#include <vector>

#include "core/CQEL_Event.h"

using namespace QEL::Core;

namespace {

struct SSender {};
using CBenchEvent = CQEL_Event<SSender, long>;

long g_sum = 0;

// Distinct functions, so that every handler is a distinct registration.
template <int N>
void Add(long value) {
    g_sum += value + N;
}

using AddFunction = void (*)(long);

template <int... I>
std::vector<AddFunction> MakeFunctions(std::integer_sequence<int, I...>) {
    return {&Add<I>...};
}

std::vector<AddFunction> const& Functions() {
    static std::vector<AddFunction> const functions = MakeFunctions(std::make_integer_sequence<int, 100>());
    return functions;
}

void BM_Event_NotifyAll(benchmark::State& state) {
    int const n = int(state.range(0));
    CBenchEvent event;
    for (int i = 0; i < n; ++i)
        event.Register(Functions()[std::size_t(i)]);
    SSender sender;
    long value = 1;
    for (auto _ : state) {
        event.NotifyAll(sender, value);
        benchmark::DoNotOptimize(g_sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Reference_StdFunctionLoop(benchmark::State& state) {
    int const n = int(state.range(0));
    std::vector<std::function<void(long)>> handlers;
    for (int i = 0; i < n; ++i)
        handlers.emplace_back(Functions()[std::size_t(i)]);
    long value = 1;
    for (auto _ : state) {
        for (auto const& handler : handlers)
            handler(value);
        benchmark::DoNotOptimize(g_sum);
    }
    state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(BM_Event_NotifyAll)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(BM_Reference_StdFunctionLoop)->Arg(1)->Arg(10)->Arg(100);

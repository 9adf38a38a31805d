// SPDX-License-Identifier: MIT
// Structural operations of a data manager holding the eleven per-point
// attributes of a point-set section, against eleven std::vectors of the same
// element types doing the same work in the same run.
//
//   Append:         growth by one element at a time (CheckSpace(count + 1)), as
//                   a reader appending points does; storage released before
//                   each round, so reallocation is included.
//   AppendReserved: the same into storage reserved beforehand: the cost of the
//                   calls alone.
//   Insert:         one default element inserted at a scattered index at a time.
//
// Releasing storage each round lets glibc hand pages back to the system and
// fault them in again, as its adaptive thresholds decide; and it adapts them
// to the pattern of frees it has seen: the vectors' free-and-allocate growth
// raises them, growth by realloc (the arrays) does not, and which cases ran
// before in the process changes a case's time up to eight times. Both sides
// are therefore measured in the state that a long-running host reaches: the
// thresholds pinned where glibc's own adaptation tops out (blocks mapped from
// 32 MiB on, the heap trimmed above 64 MiB). QEL_BENCH_GLIBC_ADAPTIVE=1 in
// the environment measures with glibc's adaptation instead.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <vector>

#include "core/CCollection.h"
#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CDataManager.h"
#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CVector3.h"

using namespace QEL::Core;

namespace {

[[maybe_unused]] bool const kAllocatorPinned = [] {
    if (std::getenv("QEL_BENCH_GLIBC_ADAPTIVE")) return false;
    return ::mallopt(M_MMAP_THRESHOLD, 32 << 20) == 1 && ::mallopt(M_TRIM_THRESHOLD, 64 << 20) == 1;
}();

using QEL::Elements::CPoint2;
using QEL::Elements::CPoint3;
using QEL::Elements::CQEL_Point3_Updatable;
using QEL::Elements::CVector3;

// A section-like entity: eleven collections coupled in attribute order, all
// active, of the point set's element types (32, 24, 16, 24, 24, 24, 8, 8, 2,
// 4 and 8 bytes).
struct SSection : CDataManager {
    SSection() {
        for (bool* flag : {&modified, &resized})
            *flag = false;
        pts.SetDataModifiedFlag(&modified);
        pts.SetCheckSpaceFlag(&resized);
        ind.SetDefaultValue(-1);
        SetActiveCollections(0x7FF);
    }
    bool modified, resized;
    CCollection_Internal_InBuilt<CQEL_Point3_Updatable<double>> pts{this, true};
    CCollection_Internal<CVector3<double>> nms{this, false};
    CCollection_Internal<CPoint2<double>> cuv{this, false};
    CCollection_Internal<CPoint3<double>> cpt{this, false};
    CCollection_Internal<CVector3<double>> cnm{this, false};
    CCollection_Internal<CPoint3<double>> col{this, false};
    CCollection_Internal<double> err{this, false};
    CCollection_Internal<double> vel{this, false};
    CCollection_Internal<short> sta{this, false};
    CCollection_Internal<int> ind{this, false};
    CCollection_Internal<void*> usr{this, false};
};

struct SVectors {
    std::vector<CQEL_Point3_Updatable<double>> pts;
    std::vector<CVector3<double>> nms;
    std::vector<CPoint2<double>> cuv;
    std::vector<CPoint3<double>> cpt;
    std::vector<CVector3<double>> cnm;
    std::vector<CPoint3<double>> col;
    std::vector<double> err, vel;
    std::vector<short> sta;
    std::vector<int> ind;
    std::vector<void*> usr;

    void Release() { *this = SVectors(); }
    void Reserve(std::size_t n) {
        pts.reserve(n), nms.reserve(n), cuv.reserve(n), cpt.reserve(n), cnm.reserve(n), col.reserve(n);
        err.reserve(n), vel.reserve(n), sta.reserve(n), ind.reserve(n), usr.reserve(n);
    }
    void Append() {
        pts.emplace_back(), nms.emplace_back(), cuv.emplace_back(), cpt.emplace_back(), cnm.emplace_back();
        col.emplace_back(), err.emplace_back(), vel.emplace_back(), sta.emplace_back(), ind.push_back(-1);
        usr.emplace_back();
    }
    void Insert(std::size_t at) {
        pts.emplace(pts.begin() + at), nms.emplace(nms.begin() + at), cuv.emplace(cuv.begin() + at);
        cpt.emplace(cpt.begin() + at), cnm.emplace(cnm.begin() + at), col.emplace(col.begin() + at);
        err.emplace(err.begin() + at), vel.emplace(vel.begin() + at), sta.emplace(sta.begin() + at);
        ind.insert(ind.begin() + at, -1), usr.emplace(usr.begin() + at);
    }
};

// Scattered but repeatable insertion points.
int InsertIndex(int i, int count) {
    return int((unsigned(i) * 2654435761u) % unsigned(count + 1));
}

void BM_Manager_Append(benchmark::State& state) {
    int const n = int(state.range(0));
    SSection section;
    for (auto _ : state) {
        section.Reset();
        for (int i = 0; i < n; ++i)
            section.CheckSpace(i + 1);
        benchmark::DoNotOptimize(section.pts.GetAsArray().begin());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Vectors_Append(benchmark::State& state) {
    int const n = int(state.range(0));
    SVectors vectors;
    for (auto _ : state) {
        vectors.Release();
        for (int i = 0; i < n; ++i)
            vectors.Append();
        benchmark::DoNotOptimize(vectors.pts.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Manager_AppendReserved(benchmark::State& state) {
    int const n = int(state.range(0));
    SSection section;
    for (auto _ : state) {
        section.Reset();
        section.PreAllocate(n);
        for (int i = 0; i < n; ++i)
            section.CheckSpace(i + 1);
        benchmark::DoNotOptimize(section.pts.GetAsArray().begin());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Vectors_AppendReserved(benchmark::State& state) {
    int const n = int(state.range(0));
    SVectors vectors;
    for (auto _ : state) {
        vectors.Release();
        vectors.Reserve(std::size_t(n));
        for (int i = 0; i < n; ++i)
            vectors.Append();
        benchmark::DoNotOptimize(vectors.pts.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Manager_Insert(benchmark::State& state) {
    int const n = int(state.range(0));
    SSection section;
    for (auto _ : state) {
        section.Reset();
        for (int i = 0; i < n; ++i)
            section.Insert(InsertIndex(i, i));
        benchmark::DoNotOptimize(section.pts.GetAsArray().begin());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

void BM_Vectors_Insert(benchmark::State& state) {
    int const n = int(state.range(0));
    SVectors vectors;
    for (auto _ : state) {
        vectors.Release();
        for (int i = 0; i < n; ++i)
            vectors.Insert(std::size_t(InsertIndex(i, i)));
        benchmark::DoNotOptimize(vectors.pts.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}

}  // namespace

BENCHMARK(BM_Manager_Append)->Arg(100)->Arg(10000)->Arg(1000000);
BENCHMARK(BM_Vectors_Append)->Arg(100)->Arg(10000)->Arg(1000000);
BENCHMARK(BM_Manager_AppendReserved)->Arg(10000);
BENCHMARK(BM_Vectors_AppendReserved)->Arg(10000);
BENCHMARK(BM_Manager_Insert)->Arg(100)->Arg(2000);
BENCHMARK(BM_Vectors_Insert)->Arg(100)->Arg(2000);

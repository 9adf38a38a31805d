// SPDX-License-Identifier: MIT
// The point formats beside references measured in the same run: ".bin" of
// 10 million points against memcpy of the same bytes; ".dat" and ".asc" of
// 2 million points against a bare std::from_chars parse and sscanf/snprintf
// loops over the same text.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointSetParser.h"

using namespace QEL::Core;

namespace {

std::string TempPath(char const* name) {
    return (std::filesystem::temp_directory_path() / ("qel_bench_" + std::to_string(::getpid()) + name))
        .string();
}

CPointSet const& Points(int count) {
    static std::map<int, CPointSet> sets;
    auto found = sets.find(count);
    if (found != sets.end()) return found->second;
    CPointSet set(10, count / 10, CPtsData::def);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> value(-500.0, 500.0);
    for (int s = 0; s < set.GetNumSec(); ++s)
        for (int i = 0; i < set.get_Sec(s).GetNumPts(); ++i)
            set.get_Sec(s).set_Pts(i, CPoint3<double>(value(random), value(random), value(random)));
    return sets.emplace(count, std::move(set)).first->second;
}

std::string Slurp(std::string const& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    std::string text(std::filesystem::file_size(path), '\0');
    if (file) {
        std::size_t const got = std::fread(text.data(), 1, text.size(), file);
        text.resize(got);
        std::fclose(file);
    }
    return text;
}

constexpr int kBinPoints = 10000000;
constexpr int kTextPoints = 2000000;

void BM_BIN_Write(benchmark::State& state) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(".bin").c_str());
    for (auto _ : state)
        CPointSetParser::WriteBINFile(path, Points(kBinPoints), false);
    state.SetItemsProcessed(state.iterations() * kBinPoints);
    state.SetBytesProcessed(state.iterations() * std::int64_t(kBinPoints) * 12);
}
BENCHMARK(BM_BIN_Write)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_BIN_Read(benchmark::State& state) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(".bin").c_str());
    CPointSetParser::WriteBINFile(path, Points(kBinPoints), false);
    for (auto _ : state) {
        CPointSet set;
        CPointSetParser::ReadBINFile(path, &set);
        benchmark::DoNotOptimize(set.GetNumPts());
    }
    state.SetItemsProcessed(state.iterations() * kBinPoints);
    state.SetBytesProcessed(state.iterations() * std::int64_t(kBinPoints) * 12);
}
BENCHMARK(BM_BIN_Read)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_Memcpy120MB(benchmark::State& state) {
    std::vector<char> from(std::size_t(kBinPoints) * 12, 1), to(from.size());
    for (auto _ : state) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t(from.size()));
}
BENCHMARK(BM_Reference_Memcpy120MB)->Unit(benchmark::kMillisecond)->UseRealTime();

template <bool (*Write)(CQEL_String const&, CPointSet const&, bool, SPointFileOptions const&)>
void BM_Text_Write(benchmark::State& state, char const* extension) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(extension).c_str());
    for (auto _ : state)
        Write(path, Points(kTextPoints), false, {});
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
template <bool (*Write)(CQEL_String const&, CPointSet const&, bool, SPointFileOptions const&),
          bool (*Read)(CQEL_String const&, CPointSet*)>
void BM_Text_Read(benchmark::State& state, char const* extension) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(extension).c_str());
    Write(path, Points(kTextPoints), false, {});
    for (auto _ : state) {
        CPointSet set;
        Read(path, &set);
        benchmark::DoNotOptimize(set.GetNumPts());
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
BENCHMARK_CAPTURE((BM_Text_Write<&CPointSetParser::WriteDATFile>), dat, ".dat")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE((BM_Text_Read<&CPointSetParser::WriteDATFile, &CPointSetParser::ReadDATFile>), dat, ".dat")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE((BM_Text_Write<&CPointSetParser::WriteASCFile>), asc, ".asc")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE((BM_Text_Read<&CPointSetParser::WriteASCFile, &CPointSetParser::ReadASCFile>), asc, ".asc")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

// References: the same ".dat" text parsed from memory by std::from_chars and
// by sscanf, and printed by snprintf("%g").
void BM_Reference_FromChars(benchmark::State& state) {
    std::string const path = TempPath(".dat");
    CPointSetParser::WriteDATFile(CQEL_String::FromASCII(path.c_str()), Points(kTextPoints), false);
    std::string const text = Slurp(path);
    for (auto _ : state) {
        double sum = 0;
        char const* p = text.data();
        char const* const end = p + text.size();
        while (p < end) {
            double v;
            auto const r = std::from_chars(p, end, v);
            sum += v;
            p = r.ptr + 1;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
BENCHMARK(BM_Reference_FromChars)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_Sscanf(benchmark::State& state) {
    std::string const path = TempPath(".dat");
    CPointSetParser::WriteDATFile(CQEL_String::FromASCII(path.c_str()), Points(kTextPoints), false);
    std::string const text = Slurp(path);
    for (auto _ : state) {
        double sum = 0, x, y, z;
        char const* p = text.data();
        while (*p) {
            if (std::sscanf(p, "%lf %lf %lf", &x, &y, &z) == 3) sum += x + y + z;
            p = std::strchr(p, '\n');
            if (!p) break;
            ++p;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
BENCHMARK(BM_Reference_Sscanf)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_Printf(benchmark::State& state) {
    std::string const path = TempPath(".ref");
    CPointSet const& set = Points(kTextPoints);
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        for (int s = 0; s < set.GetNumSec(); ++s) {
            auto const& points = set.get_Sec(s).GetPtsArray();
            for (int i = 0; i < points.Count(); ++i) {
                auto const& p = points.Unsafe_Get(i);
                std::fprintf(file, "%g %g %g\n", p.x, p.y, p.z);
            }
        }
        std::fclose(file);
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
BENCHMARK(BM_Reference_Printf)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

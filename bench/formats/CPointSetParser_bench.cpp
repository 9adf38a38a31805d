// SPDX-License-Identifier: MIT
// The point formats beside references measured in the same run: ".bin" of
// 10 million points against memcpy of the same bytes; ".dat" and ".asc" of
// 2 million points against a bare std::from_chars parse and sscanf/snprintf
// loops over the same text.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
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

// Files of this run, removed when it ends.
struct STempFiles {
    std::vector<std::string> paths;
    ~STempFiles() {
        for (auto const& path : paths)
            std::filesystem::remove(path);
    }
};

std::string TempPath(char const* name) {
    static STempFiles files;
    std::string path =
        (std::filesystem::temp_directory_path() / ("qel_bench_" + std::to_string(::getpid()) + name))
            .string();
    if (std::find(files.paths.begin(), files.paths.end(), path) == files.paths.end())
        files.paths.push_back(path);
    return path;
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

using WriteFn = bool (*)(CQEL_String const&, CPointSet const&, bool, SPointFileOptions const&);
using ReadFn = bool (*)(CQEL_String const&, CPointSet*);

void TextWrite(benchmark::State& state, WriteFn write, char const* extension) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(extension).c_str());
    for (auto _ : state)
        write(path, Points(kTextPoints), false, {});
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}
void TextRead(benchmark::State& state, WriteFn write, ReadFn read, char const* extension) {
    CQEL_String const path = CQEL_String::FromASCII(TempPath(extension).c_str());
    write(path, Points(kTextPoints), false, {});
    for (auto _ : state) {
        CPointSet set;
        read(path, &set);
        benchmark::DoNotOptimize(set.GetNumPts());
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}

void BM_DAT_Write(benchmark::State& state) {
    TextWrite(state, &CPointSetParser::WriteDATFile, ".dat");
}
void BM_DAT_Read(benchmark::State& state) {
    TextRead(state, &CPointSetParser::WriteDATFile, &CPointSetParser::ReadDATFile, ".dat");
}
void BM_ASC_Write(benchmark::State& state) {
    TextWrite(state, &CPointSetParser::WriteASCFile, ".asc");
}
void BM_ASC_Read(benchmark::State& state) {
    TextRead(state, &CPointSetParser::WriteASCFile, &CPointSetParser::ReadASCFile, ".asc");
}
BENCHMARK(BM_DAT_Write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DAT_Read)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ASC_Write)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ASC_Read)->Unit(benchmark::kMillisecond)->UseRealTime();

// References over the same bytes as each reader: the file's text parsed from
// memory line by line by std::from_chars (no point set) and by sscanf.
std::string TextOf(WriteFn write, char const* extension) {
    std::string const path = TempPath(extension);
    write(CQEL_String::FromASCII(path.c_str()), Points(kTextPoints), false, {});
    return Slurp(path);
}

template <class ParseLine>
double ForEachLine(std::string const& text, ParseLine&& parse) {
    double sum = 0;
    char const* p = text.data();
    char const* const end = p + text.size();
    while (p < end) {
        char const* newline = static_cast<char const*>(std::memchr(p, '\n', std::size_t(end - p)));
        if (!newline) newline = end;
        sum += parse(p, newline);
        p = newline + 1;
    }
    return sum;
}

void FromCharsReference(benchmark::State& state, WriteFn write, char const* extension) {
    std::string const text = TextOf(write, extension);
    for (auto _ : state) {
        double const sum = ForEachLine(text, [](char const* p, char const* end) {
            double line = 0;
            for (int k = 0; k < 3; ++k) {
                while (p < end && *p == ' ')
                    ++p;
                double v;
                auto const r = std::from_chars(p, end, v);
                if (r.ptr == p) break;  // a header line
                line += v;
                p = r.ptr;
            }
            return line;
        });
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}

void SscanfReference(benchmark::State& state, WriteFn write, char const* extension) {
    std::string const text = TextOf(write, extension);
    for (auto _ : state) {
        // Through a small line buffer: sscanf on the whole text would measure
        // strlen of the rest of the file on every call.
        double const sum = ForEachLine(text, [](char const* p, char const* end) {
            char line[128];
            std::size_t const length = std::min<std::size_t>(std::size_t(end - p), sizeof line - 1);
            std::memcpy(line, p, length);
            line[length] = 0;
            double x, y, z;
            return std::sscanf(line, "%lf %lf %lf", &x, &y, &z) == 3 ? x + y + z : 0.0;
        });
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * kTextPoints);
}

void BM_Reference_DAT_FromChars(benchmark::State& state) {
    FromCharsReference(state, &CPointSetParser::WriteDATFile, ".dat");
}
void BM_Reference_DAT_Sscanf(benchmark::State& state) {
    SscanfReference(state, &CPointSetParser::WriteDATFile, ".dat");
}
void BM_Reference_ASC_FromChars(benchmark::State& state) {
    FromCharsReference(state, &CPointSetParser::WriteASCFile, ".asc");
}
void BM_Reference_ASC_Sscanf(benchmark::State& state) {
    SscanfReference(state, &CPointSetParser::WriteASCFile, ".asc");
}
BENCHMARK(BM_Reference_DAT_FromChars)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Reference_DAT_Sscanf)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Reference_ASC_FromChars)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Reference_ASC_Sscanf)->Unit(benchmark::kMillisecond)->UseRealTime();

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

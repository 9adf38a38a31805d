// SPDX-License-Identifier: MIT
// The native container's throughput on a point set of 10 million points (a
// record of 240 MB of positions), without and with a key, to and from a file
// and a stream, beside MD5 alone and memcpy over the same number of bytes.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <unistd.h>

#include "core/CQEL_MD5.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CQELParser.h"
#include "core/CQEL_Stream.h"

using namespace QEL::Core;

namespace {

constexpr std::size_t kBytes = std::size_t(10000000) * 24;

std::vector<unsigned char> const& Bytes() {
    static std::vector<unsigned char> const bytes = [] {
        std::vector<unsigned char> b(kBytes);
        for (std::size_t i = 0; i < kBytes; ++i)
            b[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
        return b;
    }();
    return bytes;
}

CQEL_String KeyFor(benchmark::State const& state) {
    return state.range(0) ? CQEL_String::FromASCII("bench key") : CQEL_String();
}

// Ten sections of a million points each.
CPointSet const& Points() {
    static CPointSet const set = [] {
        CPointSet made(10, 1000000, CPtsData::def);
        for (int s = 0; s < 10; ++s)
            for (int i = 0; i < 1000000; ++i)
                made.get_Sec(s).set_Pts(i, CPoint3<double>(i * 0.001, s, (i * 2654435761u >> 13) * 1e-6));
        return made;
    }();
    return set;
}

// A file in the temporary directory, removed when the benchmark ends.
struct STempFile {
    std::string path;
    STempFile() {
        path = (std::filesystem::temp_directory_path() / ("qel_bench_" + std::to_string(::getpid()) + ".qel"))
                   .string();
    }
    ~STempFile() { std::remove(path.c_str()); }
    CQEL_String Path() const { return CQEL_String::FromASCII(path.c_str()); }
};

// One import before the timed ones. The first import in a while takes its
// 300 to 600 MB from pages that the system has not used lately, which on the
// virtual machines we measure on are first touched two to three times slower
// than pages that a previous import has just freed (the whole import then
// takes up to twice as long); a host that reads files one after another
// sees the latter, which is what is measured.
template <class Import>
void WarmUp(Import import, CQELParser& parser) {
    import();
    parser.ClearObjects();
}

void BM_QEL_Export(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Points(), 1);
    CQELParser parser;
    STempFile const file;
    for (auto _ : state)
        parser.Export(file.Path(), objects, KeyFor(state));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_Export)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QEL_Import(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Points(), 1);
    CQELParser parser;
    STempFile const file;
    parser.Export(file.Path(), objects, KeyFor(state));
    WarmUp([&] { parser.Import(file.Path(), KeyFor(state)); }, parser);
    for (auto _ : state) {
        parser.Import(file.Path(), KeyFor(state));
        benchmark::DoNotOptimize(parser.GetNumObjects());
        parser.ClearObjects();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_Import)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QEL_ExportStream(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Points(), 1);
    CQELParser parser;
    for (auto _ : state) {
        CQEL_Stream stream;
        parser.Export(stream, objects, KeyFor(state));
        benchmark::DoNotOptimize(stream.SizeInBytes());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_ExportStream)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QEL_ImportStream(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Points(), 1);
    CQELParser parser;
    CQEL_Stream stream;
    parser.Export(stream, objects, KeyFor(state));
    WarmUp([&] { parser.Import(stream, KeyFor(state)); }, parser);
    for (auto _ : state) {
        parser.Import(stream, KeyFor(state));
        benchmark::DoNotOptimize(parser.GetNumObjects());
        parser.ClearObjects();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_ImportStream)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

// References over the same bytes.
void BM_Reference_MD5(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(CQEL_MD5::Compute(Bytes().data(), kBytes));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_Reference_MD5)->Unit(benchmark::kMillisecond)->UseRealTime();

// The fixed cost of a key as OpenSSL's generic PKCS5_PBKDF2_HMAC pays it
// (PBKDF2-HMAC-SHA256 at the default count); every enciphered export and
// import stretches its key once, with the library's own loop, which computes
// the same bytes with two SHA-256 compressions per iteration.
void BM_Reference_KeyDerivation(benchmark::State& state) {
    unsigned char const salt[32] = {1, 2, 3};
    unsigned char key[32];
    for (auto _ : state) {
        PKCS5_PBKDF2_HMAC("bench key", 9, salt, sizeof salt, CQELParser::kDefaultIterations, EVP_sha256(),
                          sizeof key, key);
        benchmark::DoNotOptimize(key);
    }
}
BENCHMARK(BM_Reference_KeyDerivation)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_Memcpy(benchmark::State& state) {
    std::vector<unsigned char> copy(kBytes);
    for (auto _ : state) {
        std::memcpy(copy.data(), Bytes().data(), kBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_Reference_Memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

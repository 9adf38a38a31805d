// SPDX-License-Identifier: MIT
// The native container's throughput on one record of 240 MB (the size of the
// positions of 10 million points), without and with a key, beside MD5 alone
// and memcpy over the same bytes.
#include <benchmark/benchmark.h>

#include <cstring>
#include <vector>

#include "core/CExportData.h"
#include "core/CImportData.h"
#include "core/CQEL_MD5.h"
#include "formats/CQELParser.h"
#include "platform/CQEL_Stream.h"

using namespace QEL::Core;

namespace {

constexpr std::size_t kBytes = std::size_t(10000000) * 24;

class CBlob : public ISerialisable {
  public:
    bool Serialise(CExportData* data) const override {
        data->SetClassIdentifier(CQEL_String::FromASCII("B0000000-0000-4000-8000-000000000240"));
        data->SetTypeName(CQEL_String::FromASCII("QEL_BenchBlob"));
        data->PutChunk("BYTES", bytes.data(), std::int64_t(bytes.size()));
        return true;
    }
    bool Deserialise(CImportData* data) override {
        SQELChunk chunk;
        while (data->NextChunk(chunk)) {
            bytes.resize(std::size_t(chunk.bytes));
            data->GetStream().Get(bytes.data(), chunk.bytes);
        }
        return true;
    }
    std::vector<unsigned char> bytes;
};

CBlob const& Blob() {
    static CBlob const blob = [] {
        CBlob b;
        b.bytes.resize(kBytes);
        for (std::size_t i = 0; i < kBytes; ++i)
            b.bytes[i] = static_cast<unsigned char>(i * 2654435761u >> 13);
        return b;
    }();
    return blob;
}

CQEL_String KeyFor(benchmark::State const& state) {
    return state.range(0) ? CQEL_String::FromASCII("bench key") : CQEL_String();
}

void BM_QEL_Export(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Blob(), 1);
    CQELParser parser;
    for (auto _ : state) {
        CQEL_Stream stream;
        parser.Export(stream, objects, KeyFor(state));
        benchmark::DoNotOptimize(stream.SizeInBytes());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_Export)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QEL_Import(benchmark::State& state) {
    static CObjectCreator<CBlob> creator;
    CQELParser::RegisterObjectCreator(CQEL_String::FromASCII("B0000000-0000-4000-8000-000000000240"),
                                      &creator);
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Blob(), 1);
    CQELParser parser;
    CQEL_Stream stream;
    parser.Export(stream, objects, KeyFor(state));
    for (auto _ : state) {
        parser.Import(stream, KeyFor(state));
        benchmark::DoNotOptimize(parser.GetNumObjects());
        parser.ClearObjects();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_QEL_Import)->Arg(0)->Arg(1)->ArgName("key")->Unit(benchmark::kMillisecond)->UseRealTime();

// References over the same bytes.
void BM_Reference_MD5(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(CQEL_MD5::Compute(Blob().bytes.data(), kBytes));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_Reference_MD5)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_Memcpy(benchmark::State& state) {
    std::vector<unsigned char> copy(kBytes);
    for (auto _ : state) {
        std::memcpy(copy.data(), Blob().bytes.data(), kBytes);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(kBytes));
}
BENCHMARK(BM_Reference_Memcpy)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

// SPDX-License-Identifier: MIT
// Triangle files of the generated torus (800,000 triangles, 400,000 distinct
// vertices, tools/meshgen/TorusMesh.h) read into a fully paired triangulation
// and written, each beside a reference over the same bytes in the same run:
//  - binary STL read (weld + pairing) against fread of the file, the corners
//    copied out and meshopt_generateVertexRemap over them (the bare weld);
//  - ASCII STL and ".raw" reads against a bare std::from_chars parse of the
//    same bytes (words skipped, every number parsed as a double);
//  - binary STL write against memcpy of the file's number of bytes, twice:
//    into a memory-backed folder (/dev/shm when there is one, else the
//    temporary directory), which measures the writer itself, and into the
//    temporary directory on disk, where the flush to the disk that the
//    atomic file waits for before its rename (20-80 ms for the 40 MB on a
//    small virtual machine) weighs as much as the writing;
//  - .qel export and import of the mesh against MD5 of the record's bytes,
//    as the container benchmark does.
// The loaded mesh's bytes per triangle are reported as a counter.
#include <benchmark/benchmark.h>
#include <meshoptimizer.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchReferences.h"
#include "core/CQEL_MD5.h"
#include "qel.h"
#include "tools/meshgen/TorusMesh.h"

using namespace QEL::Core;

namespace {

// The generated files, written once per run into the temporary directory.
struct SMeshFiles {
    std::string folder, memoryFolder, binary, ascii, raw, written, writtenInMemory, container;
    SMeshFiles() {
        folder = (std::filesystem::temp_directory_path() / ("qel_bench_mesh_" + std::to_string(::getpid())))
                     .string();
        std::filesystem::create_directories(folder);
        binary = folder + "/torus.stl", ascii = folder + "/torus.ascii.stl", raw = folder + "/torus.raw";
        written = folder + "/written.stl", container = folder + "/torus.qel";
        std::string const name = "qel_bench_mesh_" + std::to_string(::getpid());
        std::error_code error;
        memoryFolder =
            std::filesystem::is_directory("/dev/shm", error) ? "/dev/shm/" + name : folder + "/memory";
        std::filesystem::create_directories(memoryFolder, error);
        if (error) memoryFolder = folder;
        writtenInMemory = memoryFolder + "/written.stl";
        auto const mesh = QEL::MeshGen::MakeTorus();
        QEL::MeshGen::WriteBinarySTL(binary, mesh);
        QEL::MeshGen::WriteASCIISTL(ascii, mesh);
        QEL::MeshGen::WriteRAW(raw, mesh);
    }
    ~SMeshFiles() {
        std::error_code error;
        std::filesystem::remove_all(memoryFolder, error);
        std::filesystem::remove_all(folder, error);
    }
};

SMeshFiles const& Files() {
    static SMeshFiles const files;
    return files;
}

CQEL_String Path(std::string const& path) {
    return CQEL_String::FromUTF8(path.c_str());
}

std::vector<unsigned char> ReadAll(std::string const& path) {
    std::FILE* file = std::fopen(path.c_str(), "rb");
    std::vector<unsigned char> bytes(std::filesystem::file_size(path));
    if (file == nullptr || std::fread(bytes.data(), 1, bytes.size(), file) != bytes.size()) bytes.clear();
    if (file) std::fclose(file);
    return bytes;
}

CTriangulation const& Loaded() {
    static CTriangulation const mesh = [] {
        CTriangulation made;
        CTriangulationParser().ReadSTLFile(Path(Files().binary), &made);
        return made;
    }();
    return mesh;
}

void Report(benchmark::State& state, CTriangulation const& mesh, std::int64_t fileBytes) {
    state.SetBytesProcessed(std::int64_t(state.iterations()) * fileBytes);
    state.counters["triangles"] = mesh.GetNumTris();
    state.counters["vertices"] = mesh.GetNumPts();
    state.counters["bytes_per_triangle"] = double(mesh.GetApproxSize()) / std::max(1, mesh.GetNumTris());
}

void BM_STL_ReadBinary(benchmark::State& state) {
    std::string const& path = Files().binary;
    CTriangulation mesh;
    for (auto _ : state)
        CTriangulationParser().ReadSTLFile(Path(path), &mesh);
    Report(state, mesh, std::int64_t(std::filesystem::file_size(path)));
}
BENCHMARK(BM_STL_ReadBinary)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_FreadMeshoptRemap(benchmark::State& state) {
    std::string const& path = Files().binary;
    std::size_t vertices = 0;
    for (auto _ : state) {
        std::vector<unsigned char> const bytes = ReadAll(path);
        std::uint32_t count = 0;
        std::memcpy(&count, bytes.data() + 80, 4);
        std::vector<float> corners(std::size_t(count) * 9);
        for (std::size_t t = 0; t < count; ++t)
            std::memcpy(&corners[9 * t], bytes.data() + 84 + 50 * t + 12, 36);
        std::vector<unsigned> remap(std::size_t(count) * 3);
        vertices = meshopt_generateVertexRemap(remap.data(), nullptr, remap.size(), corners.data(),
                                               remap.size(), 12);
        benchmark::DoNotOptimize(remap.data());
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) *
                            std::int64_t(std::filesystem::file_size(path)));
    state.counters["vertices"] = double(vertices);
}
BENCHMARK(BM_Reference_FreadMeshoptRemap)->Unit(benchmark::kMillisecond)->UseRealTime();

// Every number of the text parsed as a double; words ("facet", "vertex", ...) skipped.
double ParseNumbers(std::vector<unsigned char> const& bytes) {
    char const* p = reinterpret_cast<char const*>(bytes.data());
    char const* const end = p + bytes.size();
    double sum = 0.0;
    while (p < end) {
        while (p < end && static_cast<unsigned char>(*p) <= ' ')
            ++p;
        if (p == end) break;
        if ((*p >= 'a' && *p <= 'z') || (*p >= 'A' && *p <= 'Z')) {
            while (p<end&& static_cast<unsigned char>(*p)> ' ')
                ++p;
            continue;
        }
        double value = 0.0;
        auto const result = std::from_chars(p, end, value);
        sum += value;
        p = result.ptr == p ? p + 1 : result.ptr;
    }
    return sum;
}

void BM_STL_ReadASCII(benchmark::State& state) {
    std::string const& path = Files().ascii;
    CTriangulation mesh;
    for (auto _ : state)
        CTriangulationParser().ReadSTLFile(Path(path), &mesh);
    Report(state, mesh, std::int64_t(std::filesystem::file_size(path)));
}
BENCHMARK(BM_STL_ReadASCII)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_FromCharsASCIISTL(benchmark::State& state) {
    std::string const& path = Files().ascii;
    for (auto _ : state)
        benchmark::DoNotOptimize(ParseNumbers(ReadAll(path)));
    state.SetBytesProcessed(std::int64_t(state.iterations()) *
                            std::int64_t(std::filesystem::file_size(path)));
}
BENCHMARK(BM_Reference_FromCharsASCIISTL)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_RAW_Read(benchmark::State& state) {
    std::string const& path = Files().raw;
    CTriangulation mesh;
    for (auto _ : state)
        CTriangulationParser().ReadRAWFile(Path(path), &mesh);
    Report(state, mesh, std::int64_t(std::filesystem::file_size(path)));
}
BENCHMARK(BM_RAW_Read)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_FromCharsRAW(benchmark::State& state) {
    std::string const& path = Files().raw;
    for (auto _ : state)
        benchmark::DoNotOptimize(ParseNumbers(ReadAll(path)));
    state.SetBytesProcessed(std::int64_t(state.iterations()) *
                            std::int64_t(std::filesystem::file_size(path)));
}
BENCHMARK(BM_Reference_FromCharsRAW)->Unit(benchmark::kMillisecond)->UseRealTime();

void WriteBinary(benchmark::State& state, std::string const& path) {
    CTriangulation const& mesh = Loaded();
    for (auto _ : state)
        CTriangulationParser().WriteSTLFile(Path(path), mesh, CQEL_String());
    state.SetBytesProcessed(std::int64_t(state.iterations()) * (84 + 50 * std::int64_t(mesh.GetNumTris())));
}
void BM_STL_WriteBinary(benchmark::State& state) {
    WriteBinary(state, Files().writtenInMemory);
}
BENCHMARK(BM_STL_WriteBinary)->Unit(benchmark::kMillisecond)->UseRealTime();
void BM_STL_WriteBinaryDisk(benchmark::State& state) {
    WriteBinary(state, Files().written);
}
BENCHMARK(BM_STL_WriteBinaryDisk)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_MemcpySTLBytes(benchmark::State& state) {
    std::size_t const bytes = 84 + 50 * std::size_t(Loaded().GetNumTris());
    MemcpyReference(state, bytes);
}
BENCHMARK(BM_Reference_MemcpySTLBytes)->Unit(benchmark::kMillisecond)->UseRealTime();

std::int64_t ContainerBytes() {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Loaded(), 1);
    CQELParser().Export(Path(Files().container), objects, CQEL_String());
    return std::int64_t(std::filesystem::file_size(Files().container));
}

void BM_QEL_ExportMesh(benchmark::State& state) {
    CQEL_Array<ISerialisable const*> objects;
    objects.PushBack(&Loaded(), 1);
    CQELParser parser;
    for (auto _ : state)
        parser.Export(Path(Files().container), objects, CQEL_String());
    state.SetBytesProcessed(std::int64_t(state.iterations()) * ContainerBytes());
}
BENCHMARK(BM_QEL_ExportMesh)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_QEL_ImportMesh(benchmark::State& state) {
    std::int64_t const bytes = ContainerBytes();
    CQELParser parser;
    parser.Import(Path(Files().container), CQEL_String());  // untimed: see the container benchmark
    parser.ClearObjects();
    for (auto _ : state) {
        parser.Import(Path(Files().container), CQEL_String());
        benchmark::DoNotOptimize(parser.GetNumObjects());
        parser.ClearObjects();
    }
    state.SetBytesProcessed(std::int64_t(state.iterations()) * bytes);
}
BENCHMARK(BM_QEL_ImportMesh)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_Reference_MD5MeshRecord(benchmark::State& state) {
    std::vector<unsigned char> const bytes = ReadAll((ContainerBytes(), Files().container));
    for (auto _ : state)
        benchmark::DoNotOptimize(CQEL_MD5::Compute(bytes.data(), bytes.size()));
    state.SetBytesProcessed(std::int64_t(state.iterations()) * std::int64_t(bytes.size()));
}
BENCHMARK(BM_Reference_MD5MeshRecord)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

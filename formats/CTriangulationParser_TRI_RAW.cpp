// SPDX-License-Identifier: MIT
// ".tri" and ".raw" reading and writing.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"
#include "entities/CTriangulation.h"
#include "formats/CMappedInput.h"
#include "formats/COutputFile.h"
#include "formats/CProgressText.h"
#include "formats/CTriangleTextScanner.h"
#include "formats/CTriangulationParser.h"
#include "formats/CTriangulationParser_Internal.h"
#include "formats/QEL_TextNumbers.h"
#include "operations/triangulation/QEL_TriangleAssembly.h"
#include "platform/CFaultTranslator.h"

namespace QEL::Core {

namespace {

constexpr char kTriTag[14] = {'v', 'e', 'r', 's', 'i', 'o', 'n', '_', 'i', 'n', 'f', 'o', '=', '\0'};
constexpr std::int64_t kTriHeaderBytes = 26;  // tag, version, vertex count, triangle count
constexpr std::int32_t kTriVersion = 1;

// One triangulation of a ".tri" file: where its header starts and its counts.
struct STriBlock {
    std::int64_t at = 0;
    std::int32_t vertices = 0;
    std::int32_t triangles = 0;
};

std::int32_t LoadInt(unsigned char const* at) {
    std::int32_t value;
    std::memcpy(&value, at, 4);
    return value;
}

// Walks the headers of every triangulation in the file, checking each count
// against the bytes that follow it before anything is allocated.
std::vector<STriBlock> FindTriBlocks(CQEL_Operation const& op, CQEL_String const& path,
                                     unsigned char const* data, std::int64_t size) {
    std::vector<STriBlock> blocks;
    std::int64_t at = 0;
    do {
        if (size - at < kTriHeaderBytes || std::memcmp(data + at, kTriTag, sizeof kTriTag) != 0 ||
            LoadInt(data + at + 14) != kTriVersion)
            op.Throw(QEL_UNSUPPORTED_FORMAT, "path", "Unsupported file version");
        STriBlock block{at, LoadInt(data + at + 18), LoadInt(data + at + 22)};
        std::int64_t const needed =
            kTriHeaderBytes + 12 * std::int64_t(block.vertices) + 12 * std::int64_t(block.triangles);
        if (block.vertices < 0 || block.triangles < 0 || needed > size - at)
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat(
                         "%s: triangulation %d at byte %lld claims %d vertices and %d triangles, "
                         "but only %lld bytes follow its header",
                         path.GetArray(), int(blocks.size()) + 1, (long long)at, block.vertices,
                         block.triangles, (long long)(size - at - kTriHeaderBytes)));
        blocks.push_back(block);
        at += needed;
    } while (at < size);  // further data: another triangulation
    return blocks;
}

}  // namespace

bool CTriangulationParser::ReadTRIFile(CQEL_String const& path, CQEL_ObjectList<CTriangulation>* pTrisList) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::ReadTRIFile");
    return op.Run([&] {
        op.Check(pTrisList != nullptr, QEL_NULL_PARAMETER, "pTrisList", "Null Pointer");
        CQEL_ScopedTimer timer("TRI import");
        CMappedInput file;
        if (!file.Open(path.GetArray())) {
            timer.Cancel();
            return false;
        }
        if (!file.Load()) TriangleFiles::ReadFailure(op, path);
        CFaultTranslationScope const faults;
        unsigned char const* const data = file.Data();
        std::vector<STriBlock> const blocks = FindTriBlocks(op, path, data, file.Size());
        // Progress by step (load, then each triangulation's assembly):
        // shown only for reads that last.
        CProgressText progress("reading " + std::string(path.View()), std::int64_t(blocks.size()) + 1);
        progress.Report(1);
        std::int64_t points = 0, triangles = 0;
        for (STriBlock const& block : blocks)
            points += block.vertices, triangles += block.triangles;
        CQEL_Output_Events::Text(
            CQEL_String::FromFormat("  Number of points in triangulation list %lld", (long long)points));
        CQEL_Output_Events::Text(CQEL_String::FromFormat("  Number of triangles in triangulation list %lld",
                                                         (long long)triangles));

        // On failure the list loses what this call added.
        int const before = pTrisList->GetNum();
        SAssemblyReport total;
        try {
            for (std::size_t b = 0; b < blocks.size(); ++b) {
                STriBlock const& block = blocks[b];
                unsigned char const* const vertexBytes = data + block.at + kTriHeaderBytes;
                unsigned char const* const cornerBytes = vertexBytes + 12 * std::int64_t(block.vertices);
                // Copied out of the file: its fields are not aligned.
                std::vector<float> xyz(std::size_t(block.vertices) * 3);
                if (!xyz.empty()) std::memcpy(xyz.data(), vertexBytes, xyz.size() * sizeof(float));
                std::vector<int> corners(std::size_t(block.triangles) * 3);
                if (!corners.empty()) std::memcpy(corners.data(), cornerBytes, corners.size() * sizeof(int));
                for (std::size_t c = 0; c < corners.size(); ++c)
                    if (corners[c] < 0 || corners[c] >= block.vertices)
                        op.Throw(
                            QEL_FILE_READ_ERROR, "path",
                            CQEL_String::FromFormat(
                                "%s: corner %d of triangle %lld in triangulation %d refers to vertex %d, "
                                "but there are %d vertices",
                                path.GetArray(), int(c % 3), (long long)(c / 3), int(b) + 1, corners[c],
                                block.vertices));
                CTriangulation& tris = pTrisList->AddNew();
                SAssemblyReport const report = CTriangulation_Merge_Parts(tris).MergeIndexed(
                    xyz.data(), block.vertices, corners.data(), block.triangles, m_options);
                TriangleFiles::AnnounceCounts(report);
                total.cornersIn += report.cornersIn;
                total.trianglesIn += report.trianglesIn;
                total.verticesOut += report.verticesOut;
                total.trianglesOut += report.trianglesOut;
                total.degenerateDropped += report.degenerateDropped;
                total.weldedByTolerance += report.weldedByTolerance;
                total.boundaryHalfEdges += report.boundaryHalfEdges;
                total.nonManifoldEdges += report.nonManifoldEdges;
                total.orientationConflicts += report.orientationConflicts;
                progress.Report(std::int64_t(b) + 2);
            }
        } catch (...) {
            pTrisList->RemoveLast(pTrisList->GetNum() - before);
            throw;
        }
        m_lastReport = total;
        return true;
    });
}

bool CTriangulationParser::WriteTRIFile(CQEL_String const& path, CTriangulation const& tris) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::WriteTRIFile");
    return op.Run([&] {
        CQEL_ScopedTimer timer("TRI export");
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) {
            timer.Cancel();
            return false;
        }
        TriangleFiles::STriangleView const view(tris);
        std::int32_t const header[3] = {kTriVersion, tris.GetNumPts(), tris.GetNumTris()};
        file.Write(kTriTag, sizeof kTriTag);
        file.Write(header, sizeof header);
        constexpr int kBlock = 1 << 14;
        std::vector<float> xyz(std::size_t(kBlock) * 3);
        for (int first = 0; first < header[1]; first += kBlock) {
            int const n = std::min(kBlock, header[1] - first);
            for (int i = 0; i < n; ++i) {
                CTriangulation_Vertex const& v = view.Vertex(first + i);
                xyz[std::size_t(3 * i)] = float(v.get_x());
                xyz[std::size_t(3 * i + 1)] = float(v.get_y());
                xyz[std::size_t(3 * i + 2)] = float(v.get_z());
            }
            file.Write(xyz.data(), std::size_t(n) * 12);
        }
        std::vector<std::int32_t> corners(std::size_t(kBlock) * 3);
        for (int first = 0; first < header[2]; first += kBlock) {
            int const n = std::min(kBlock, header[2] - first);
            for (int i = 0; i < n; ++i)
                for (int k = 0; k < 3; ++k)
                    corners[std::size_t(3 * i + k)] = view.Corner(first + i, k);
            file.Write(corners.data(), std::size_t(n) * 12);
        }
        file.Commit();
        return true;
    });
}

bool CTriangulationParser::ReadRAWFile(CQEL_String const& path, CTriangulation* pTris) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::ReadRAWFile");
    return op.Run([&] {
        op.Check(pTris != nullptr, QEL_NULL_PARAMETER, "pTris", "Null Pointer");
        CQEL_ScopedTimer timer("RAW import");
        CMappedInput file;
        if (!file.Open(path.GetArray())) {
            timer.Cancel();
            return false;
        }
        // Progress by step (load, scan, assembly): shown only for reads that last.
        CProgressText progress("reading " + std::string(path.View()), 3);
        if (!file.Load()) TriangleFiles::ReadFailure(op, path);
        CFaultTranslationScope const faults;
        progress.Report(1);
        std::int64_t stoppedAt = -1;
        Assembly::CBuffer<double> const numbers = TriangleText::ScanNumbers(file.Text(), stoppedAt);
        progress.Report(2);
        if (stoppedAt >= 0)
            CQEL_Output_Events::Warning(
                CQEL_String::FromFormat("  %s: reading stopped at byte %lld, which is not a number",
                                        path.GetArray(), (long long)stoppedAt));
        std::int64_t const points = numbers.size() / 3;
        if (points % 3 != 0) CQEL_Output_Events::Warning(CQEL_String::FromASCII("Inconsistent point set"));
        SCornerLayout const layout{numbers.data(), points / 3, 72, 24, true};
        SAssemblyReport const report = CTriangulation_Merge_Parts(*pTris).Merge(layout, m_options);
        TriangleFiles::AnnounceCounts(report);
        m_lastReport = report;
        return true;
    });
}

bool CTriangulationParser::WriteRAWFile(CQEL_String const& path, CTriangulation const& tris) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::WriteRAWFile");
    return op.Run([&] {
        CQEL_ScopedTimer timer("RAW export");
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) {
            timer.Cancel();
            return false;
        }
        TriangleFiles::STriangleView const view(tris);
        constexpr int kDigits = 6;  // a C++ stream's default
        char line[9 * 32 + 8];
        for (int t = 0; t < view.Triangles(); ++t) {
            char* at = line;
            for (int k = 0; k < 3; ++k) {
                double xyz[3];
                view.CornerPosition(t, k, xyz);
                for (double value : xyz) {
                    if (at != line) *at++ = ' ';
                    at = Text::PrintDouble(at, value, kDigits);
                }
            }
            *at++ = '\n';
            file.Write(line, std::size_t(at - line));
        }
        file.Commit();
        return true;
    });
}

}  // namespace QEL::Core

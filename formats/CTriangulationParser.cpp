// SPDX-License-Identifier: MIT
// STL reading and writing, and the table of triangle formats. (".tri" and
// ".raw" are in CTriangulationParser_TRI_RAW.cpp.)
#include "formats/CTriangulationParser.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"
#include "entities/CTriangulation.h"
#include "formats/CMappedInput.h"
#include "formats/COutputFile.h"
#include "formats/CObjOffParser.h"
#include "formats/CPlyParser.h"
#include "formats/CProgressText.h"
#include "formats/CTriangleTextScanner.h"
#include "formats/CTriangulationParser_Internal.h"
#include "formats/QEL_TextNumbers.h"
#include "operations/triangulation/QEL_TriangleAssembly.h"
#include "platform/CFaultTranslator.h"
#include "platform/CTask.h"

namespace QEL::Core {

namespace {

constexpr std::int64_t kHeaderBytes = 80;
constexpr std::int64_t kRecordBytes = 50;
constexpr std::int64_t kTestBytes = 1000;  // the binary test looks at this many bytes
constexpr char kDefaultHeader[] = "STL created by QEL";

// The header up to its first zero byte, when it is 7-bit text.
void AnnounceHeader(unsigned char const* header) {
    int length = 0;
    while (length < kHeaderBytes && header[length] != 0) {
        if (header[length] & 0x80) return;
        ++length;
    }
    CQEL_Output_Events::Text(
        CQEL_String::FromFormat("STL file header text: %.*s", length, reinterpret_cast<char const*>(header)));
}

}  // namespace

void TriangleFiles::AnnounceCounts(SAssemblyReport const& report) {
    CQEL_Output_Events::Text(CQEL_String::FromFormat("  Number of points = %d", report.verticesOut));
    CQEL_Output_Events::Text(CQEL_String::FromFormat("  Number of triangles = %d", report.trianglesOut));
}

[[noreturn]] void TriangleFiles::ReadFailure(CQEL_Operation const& op, CQEL_String const& path) {
    op.Throw(QEL_FILE_READ_ERROR, "path", CQEL_String::FromFormat("%s: read failure", path.GetArray()));
}

bool CTriangulationParser::ReadSTLFile(CQEL_String const& path, CTriangulation* pTris) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::ReadSTLFile");
    return op.Run([&] {
        op.Check(pTris != nullptr, QEL_NULL_PARAMETER, "pTris", "Null Pointer");
        CQEL_ScopedTimer timer("STL import");
        CMappedInput file;
        if (!file.Open(path.GetArray())) {
            timer.Cancel();
            return false;
        }
        std::int64_t const size = file.Size();
        unsigned char start[kTestBytes];
        std::int64_t const tested = std::min(size, kTestBytes);
        if (!file.ReadStart(start, tested)) TriangleFiles::ReadFailure(op, path);
        bool const binary =
            std::any_of(start, start + tested, [](unsigned char b) { return (b & 0x80) != 0; });

        CTriangulation_Merge_Parts assembler(*pTris);
        SAssemblyReport report;
        // Progress by step (load, scan, assembly): shown only for reads that last.
        CProgressText progress("reading " + std::string(path.View()), 3);
        if (binary) {
            if (size < kHeaderBytes + 4) {
                timer.Cancel();
                return false;
            }
            std::uint32_t count = 0;  // little-endian, as the host
            std::memcpy(&count, start + kHeaderBytes, 4);
            if (kHeaderBytes + 4 + kRecordBytes * std::int64_t(count) != size) {
                timer.Cancel();
                return false;
            }
            AnnounceHeader(start);
            if (count > Assembly::kMaxTriangles)
                op.Throw(QEL_FILE_READ_ERROR, "path",
                         CQEL_String::FromFormat("%s holds %u triangles; a triangulation holds at most %lld",
                                                 path.GetArray(), count, (long long)Assembly::kMaxTriangles));
            if (!file.Load()) TriangleFiles::ReadFailure(op, path);
            progress.Report(2);
            // A mapped file cut short by another process faults: reason 32, not the end of the process.
            CFaultTranslationScope const faults;
            // The corners are read in place: 12 bytes into each 50-byte record.
            SCornerLayout const layout{file.Data() + kHeaderBytes + 4 + 12, count, kRecordBytes, 12, false};
            report = assembler.Merge(layout, m_options);
        } else {
            if (!file.Load()) TriangleFiles::ReadFailure(op, path);
            CFaultTranslationScope const faults;
            progress.Report(1);
            Assembly::CBuffer<double> const corners = TriangleText::ScanSTLVertices(file.Text(), op);
            progress.Report(2);
            std::int64_t const triangles = corners.size() / 9;
            if (corners.size() % 9 != 0)
                CQEL_Output_Events::Warning(CQEL_String::FromFormat(
                    "  %d vertices after the last whole triangle were ignored", int(corners.size() % 9 / 3)));
            SCornerLayout const layout{corners.data(), triangles, 72, 24, true};
            report = assembler.Merge(layout, m_options);
        }
        TriangleFiles::AnnounceCounts(report);
        m_lastReport = report;
        return true;
    });
}

bool CTriangulationParser::WriteSTLFile(CQEL_String const& path, CTriangulation const& tris,
                                        CQEL_String const& header) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::WriteSTLFile");
    return op.Run([&] {
        CQEL_ScopedTimer timer("STL export");
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) {
            timer.Cancel();
            return false;
        }
        unsigned char head[kHeaderBytes + 4] = {};
        if (header.IsEmpty()) {
            std::memcpy(head, kDefaultHeader, sizeof kDefaultHeader - 1);
        } else {
            CQEL_String text = header;
            text.ToASCII();
            std::memcpy(head, text.GetArray(), std::min<std::size_t>(text.View().size(), kHeaderBytes));
        }
        int const triangles = tris.GetNumTris();
        std::uint32_t const count = std::uint32_t(triangles);
        std::memcpy(head + kHeaderBytes, &count, 4);
        file.Write(head, sizeof head);

        // Records are made in blocks: while one block goes to the file (and
        // on to the disk, see CAtomicFile::Write), a task makes the next one,
        // so that making records and the system's copy of them run side by side.
        TriangleFiles::STriangleView const view(tris);
        constexpr int kBlock = 1 << 15;  // 1.6 MB of records
        std::size_t const blockBytes = std::size_t(std::min(kBlock, std::max(triangles, 1))) * kRecordBytes;
        std::unique_ptr<unsigned char[]> const records[2] = {
            std::make_unique_for_overwrite<unsigned char[]>(blockBytes),
            std::make_unique_for_overwrite<unsigned char[]>(blockBytes)};
        auto make = [&](int block) {
            int const first = block * kBlock;
            view.Records(first, std::min(kBlock, triangles - first), records[block % 2].get());
        };
        int const blocks = (triangles + kBlock - 1) / kBlock;
        if (blocks > 0) make(0);
        for (int block = 0; block < blocks; ++block) {
            std::unique_ptr<CTask> next;
            if (block + 1 < blocks) next = std::make_unique<CTask>([&make, block] { make(block + 1); });
            int const first = block * kBlock;
            file.Write(records[block % 2].get(),
                       std::size_t(std::min(kBlock, triangles - first)) * kRecordBytes);
            if (next) next->Join();
        }
        file.Commit();
        return true;
    });
}

bool CTriangulationParser::ReadPLYFile(CQEL_String const& path, CTriangulation* pTris) {
    SAssemblyReport report;
    if (!CPlyParser::ReadTriangulation(path, pTris, m_options, &report)) return false;
    m_lastReport = report;
    return true;
}

bool CTriangulationParser::ReadOBJFile(CQEL_String const& path, CTriangulation* pTris) {
    SAssemblyReport report;
    if (!CObjOffParser::ReadOBJ(path, pTris, m_options, &report)) return false;
    m_lastReport = report;
    return true;
}

bool CTriangulationParser::ReadOFFFile(CQEL_String const& path, CTriangulation* pTris) {
    SAssemblyReport report;
    if (!CObjOffParser::ReadOFF(path, pTris, m_options, &report)) return false;
    m_lastReport = report;
    return true;
}

bool CTriangulationParser::WritePLYFile(CQEL_String const& path, CTriangulation const& tris) {
    return CPlyParser::WriteTriangulation(path, tris);
}

// --- the format table ------------------------------------------------------------------

namespace {

bool ReadSTL(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    return parser.ReadSTLFile(path, target);
}
bool WriteSTL(CTriangulationParser& parser, CQEL_String const& path, CTriangulation const& source) {
    return parser.WriteSTLFile(path, source, CQEL_String());
}
bool ReadTRI(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    static CQEL_Operation const op("QEL::Core::CTriangulationParser::ReadTRIFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "pTris", "Null Pointer");
        CQEL_ObjectList<CTriangulation> list;
        if (!parser.ReadTRIFile(path, &list)) return false;
        if (list.GetNum() > 1)
            CQEL_Output_Events::Warning(CQEL_String::FromFormat(
                "  %s holds %d triangulations; only the first was taken", path.GetArray(), list.GetNum()));
        // Reset first: copying an empty triangulation would leave the target as it was.
        target->Reset();
        if (!list.IsEmpty()) *target = list.Get(0);
        return true;
    });
}
bool WriteTRI(CTriangulationParser& parser, CQEL_String const& path, CTriangulation const& source) {
    return parser.WriteTRIFile(path, source);
}
bool ReadRAW(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    return parser.ReadRAWFile(path, target);
}
bool WriteRAW(CTriangulationParser& parser, CQEL_String const& path, CTriangulation const& source) {
    return parser.WriteRAWFile(path, source);
}

bool ReadPLY(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    return parser.ReadPLYFile(path, target);
}
bool WritePLY(CTriangulationParser& parser, CQEL_String const& path, CTriangulation const& source) {
    return parser.WritePLYFile(path, source);
}

bool ReadOBJ(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    return parser.ReadOBJFile(path, target);
}
bool WriteOBJ(CTriangulationParser&, CQEL_String const& path, CTriangulation const& source) {
    return CObjOffParser::WriteOBJ(path, source);
}
bool ReadOFF(CTriangulationParser& parser, CQEL_String const& path, CTriangulation* target) {
    return parser.ReadOFFFile(path, target);
}
bool WriteOFF(CTriangulationParser&, CQEL_String const& path, CTriangulation const& source) {
    return CObjOffParser::WriteOFF(path, source);
}

}  // namespace

STriangleFormat const* GetTriangleFormats(int& count) {
    static STriangleFormat const formats[] = {
        {".stl", "STL, binary or ASCII (written binary)", &ReadSTL, &WriteSTL},
        {".tri", "binary vertices and indexed triangles", &ReadTRI, &WriteTRI},
        {".raw", "text, nine corner coordinates per triangle", &ReadRAW, &WriteRAW},
        {".ply", "PLY, ASCII or binary (written binary), polygons as fans", &ReadPLY, &WritePLY},
        {".obj", "Wavefront OBJ, polygons as fans", &ReadOBJ, &WriteOBJ},
        {".off", "OFF, polygons as fans", &ReadOFF, &WriteOFF},
    };
    count = int(std::size(formats));
    return formats;
}

STriangleFormat const* FindTriangleFormat(CQEL_String const& path) {
    std::string_view const text = path.View();
    std::size_t const dot = text.rfind('.');
    if (dot == std::string_view::npos || text.find('/', dot) != std::string_view::npos) return nullptr;
    int count = 0;
    STriangleFormat const* formats = GetTriangleFormats(count);
    for (int i = 0; i < count; ++i)
        if (Text::EqualsNoCase(text.substr(dot), formats[i].extension)) return &formats[i];
    return nullptr;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The binary point format ".bin".
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/CQEL_Operation.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointFileWriter.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CPointSetParser.h"
#include "formats/CProgressText.h"
#include "platform/CFaultTranslator.h"
#include "platform/CMappedFile.h"
#include "platform/CTask.h"

namespace QEL::Core {

namespace {

// A ".bin" file read by parts of whole 12-byte records. Large files are cut
// into as many parts as there are processors (at most eight, at least 8 MiB
// each), and the parts are read side by side: filling millions of fresh
// points is bound by first touching their pages, which several threads do
// faster than one. The file is mapped where the system allows it (read in
// place, with no copy), else read into a buffer per part. The caller and the
// parts' threads translate faults, so a mapped file cut short by another
// process while it is read gives reason 32, not the end of the process.
class CBinRecords {
  public:
    static constexpr std::int64_t kRecord = 12;

    // Pages come in as the parts first touch them (no read-ahead of the
    // whole file: the parts' threads share that work).
    CBinRecords(CMappedFile& file, CQEL_String const& path, CQEL_Operation const& op)
        : m_file(file), m_records(file.Size() / kRecord), m_path(path), m_op(op) {
        m_parts = PartsFor(file.Size(), std::int64_t(8) << 20);
        if (file.Map(false)) m_mapped = file.Data();
    }
    CBinRecords(CBinRecords const&) = delete;
    CBinRecords& operator=(CBinRecords const&) = delete;

    int Parts() const { return m_parts; }
    std::int64_t Records() const { return m_records; }
    // The records [first, end) of a part.
    std::int64_t PartBegin(int part) const { return m_records * part / m_parts; }
    std::int64_t PartEnd(int part) const { return m_records * (part + 1) / m_parts; }

    // Calls visit(records, first, count) for each block of a part, in order,
    // with the index of the block's first record in the file; records done
    // counts what all parts have read.
    template <class Visitor>
    void ForEachBlock(int part, std::atomic<std::int64_t>& done, Visitor&& visit) const {
        constexpr std::int64_t kBlockRecords = std::int64_t(1) << 16;  // 768 KiB, cache-sized
        std::vector<unsigned char> buffer(m_mapped ? 0 : std::size_t(kRecord * kBlockRecords));
        for (std::int64_t first = PartBegin(part), end = PartEnd(part); first < end;) {
            std::int64_t const count = std::min(kBlockRecords, end - first);
            unsigned char const* records = m_mapped + first * kRecord;
            if (!m_mapped) {
                Read(buffer.data(), first * kRecord, count * kRecord);
                records = buffer.data();
            }
            visit(records, first, count);
            done.fetch_add(count, std::memory_order_relaxed);
            first += count;
        }
    }

    static bool IsMarker(unsigned char const* record) {
        std::uint32_t x, yz[2];
        std::memcpy(&x, record, 4);
        if (x != ~std::uint32_t(0)) [[likely]]  // a NaN x: points almost never start so
            return false;
        std::memcpy(yz, record + 4, 8);
        return (yz[0] & yz[1]) == ~std::uint32_t(0);
    }
    // The first marker among count records, or count.
    static std::int64_t FindMarker(unsigned char const* records, std::int64_t count) {
        std::int64_t r = 0;
        while (r < count && !IsMarker(records + 12 * r))
            ++r;
        return r;
    }

    [[noreturn]] void Changed() const {
        m_op.Throw(QEL_FILE_READ_ERROR, "path",
                   CQEL_String::FromFormat("%s changed while it was being read", m_path.GetArray()));
    }

  private:
    void Read(unsigned char* to, std::int64_t at, std::int64_t bytes) const {
        if (int const error = m_file.ReadAt(at, to, bytes))
            m_op.Throw(QEL_FILE_READ_ERROR, "path",
                       CQEL_String::FromFormat("%s: read failure in the %lld bytes from byte %lld: %s",
                                               m_path.GetArray(), (long long)bytes, (long long)at,
                                               std::strerror(error)));
    }

    CMappedFile const& m_file;
    std::int64_t m_records;
    CQEL_String const& m_path;
    CQEL_Operation const& m_op;
    int m_parts = 1;
    unsigned char const* m_mapped = nullptr;
};

// Converts count point records (none of them a marker: false if one is) into
// fresh points, whose modified flags stay clear. Where SSE2 is at hand, a
// point is written as two 16-byte stores that cover it whole, the flag and
// padding as the zeros that they hold already (fewer, wider stores into
// pages that the system has just cleared); the records are read 16 bytes at
// a time except the last, whose 4 following bytes may lie past the end.
// (Streaming stores were slower: the cleared pages are still in cache.)
bool ConvertRecords(unsigned char const* records, std::int64_t count, CPointSet_Section::Point* points) {
    using Point = CPointSet_Section::Point;
    std::int64_t r = 0;
#if defined(__SSE2__)
    static_assert(sizeof(Point) == 4 * sizeof(double));  // x, y, z, then the flag and padding
    // New points carry the fill value's flag: clear, unless a host chose otherwise.
    if ((reinterpret_cast<std::uintptr_t>(points) & 15) == 0 && count > 0 && !points->IsModified()) {
        auto* const out = reinterpret_cast<double*>(points);
        for (; r + 1 < count; ++r) {
            __m128 const xyz = _mm_loadu_ps(reinterpret_cast<float const*>(records + 12 * r));
            if (CBinRecords::IsMarker(records + 12 * r)) [[unlikely]]
                return false;
            _mm_store_pd(out + 4 * r, _mm_cvtps_pd(xyz));
            _mm_store_pd(out + 4 * r + 2, _mm_cvtss_sd(_mm_setzero_pd(), _mm_movehl_ps(xyz, xyz)));
        }
    }
#endif
    for (; r < count; ++r) {
        unsigned char const* record = records + 12 * r;
        if (CBinRecords::IsMarker(record)) [[unlikely]]
            return false;
        float xyz[3];
        std::memcpy(xyz, record, 12);
        points[r].x = xyz[0], points[r].y = xyz[1], points[r].z = xyz[2];
    }
    return true;
}

// A maximal stretch of point records between markers: the first record's
// index in the file, the number of records, and where its points go.
struct SBinRun {
    std::int64_t first = 0;
    std::int64_t count = 0;
    CPointSet_Section::Point* points = nullptr;
};

// Adds run to runs, joined to the last one where it goes on from there.
void AddRun(std::vector<SBinRun>& runs, SBinRun const& run) {
    if (!runs.empty() && runs.back().first + runs.back().count == run.first)
        runs.back().count += run.count;
    else
        runs.push_back(run);
}

}  // namespace

bool CPointSetParser::ReadBINFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadBINFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CMappedFile mapped;
        if (mapped.Open(path.GetArray()) != 0 || !mapped.IsRegular()) return false;
        std::int64_t const size = mapped.Size();
        if (size % 12 != 0)
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("%s: its %lld bytes are not a whole number of 12-byte records",
                                             path.GetArray(), (long long)size));
        CFaultTranslationScope const faults;
        CBinRecords const file(mapped, path, op);
        CProgressText progress(FileLabel("reading", path), 2 * file.Records());
        std::atomic<std::int64_t> done{0};
        // Part 0 runs on the calling thread, which reports for all parts.
        auto report = [&](int part) {
            if (part == 0) progress.Report(done.load(std::memory_order_relaxed));
        };

        // First pass: the runs of points between markers, found part by part
        // and joined where a run crosses from one part into the next.
        std::vector<std::vector<SBinRun>> found(std::size_t(file.Parts()));
        RunInParts(file.Parts(), [&](int part) {
            std::vector<SBinRun>& runs = found[std::size_t(part)];
            file.ForEachBlock(
                part, done, [&](unsigned char const* records, std::int64_t first, std::int64_t count) {
                    for (std::int64_t r = 0; r < count; ++r) {
                        std::int64_t const points = CBinRecords::FindMarker(records + 12 * r, count - r);
                        if (points == 0) continue;
                        AddRun(runs, {first + r, points});
                        r += points;  // onto the marker, or past the block
                    }
                    report(part);
                });
        });
        std::vector<SBinRun> runs;
        for (auto& part : found) {
            for (SBinRun const& run : part)
                AddRun(runs, run);
            std::vector<SBinRun>().swap(part);
        }
        std::int64_t total = 0;
        for (SBinRun const& run : runs)
            total += run.count;
        if (std::int64_t(target->GetNumPts()) + total > kMaxPointsInSet)
            op.Throw(QEL_INVALID_POINTSET, "target",
                     CQEL_String::FromFormat("A point set holds at most %d points", kMaxPointsInSet));

        // Every marker starts a section, so doubled and trailing markers give
        // empty ones (a set written with empty sections reads back with as
        // many). Points before the first marker go on in the target's last
        // section. The new points are not written here: their storage comes
        // zeroed from the system and is first touched by the part that fills it.
        std::int64_t next = 0;  // the record after the last run
        for (std::size_t i = 0; i < runs.size(); ++i) {
            std::int64_t const markers = runs[i].first - next;
            for (std::int64_t m = 1; m < markers; ++m)
                AppendSection(*target);
            bool const last = markers == 0 && target->GetNumSec() > 0;
            CPointSet_Section& section = last ? target->GetTail() : AppendSection(*target);
            int const base = section.GetNumPts();
            section.CheckSpace(base + int(runs[i].count), section.GetMetaDataFlags());
            runs[i].points = section.EditPts().data() + base;
            next = runs[i].first + runs[i].count;
        }
        for (std::int64_t m = next; m < file.Records(); ++m)
            AppendSection(*target);

        // Second pass: each part converts its records into the runs' points;
        // the records between runs must still be markers.
        RunInParts(file.Parts(), [&](int part) {
            auto run =
                std::upper_bound(runs.begin(), runs.end(), file.PartBegin(part),
                                 [](std::int64_t at, SBinRun const& r) { return at < r.first + r.count; });
            file.ForEachBlock(
                part, done, [&](unsigned char const* records, std::int64_t first, std::int64_t count) {
                    std::int64_t at = first;
                    std::int64_t const end = first + count;
                    while (at < end) {
                        std::int64_t const runStart = run == runs.end() ? end : std::max(run->first, at);
                        for (; at < std::min(runStart, end); ++at)
                            if (!CBinRecords::IsMarker(records + 12 * (at - first))) file.Changed();
                        if (at == end) break;
                        std::int64_t const stop = std::min(run->first + run->count, end);
                        CPointSet_Section::Point* const points = run->points + (at - run->first);
                        if (!ConvertRecords(records + 12 * (at - first), stop - at, points)) [[unlikely]]
                            file.Changed();
                        at = stop;
                        if (at == run->first + run->count) ++run;
                    }
                    report(part);
                });
        });
        ReportPoints(int(total));
        return true;
    });
}

bool CPointSetParser::WriteBINFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteBINFile");
    static constexpr unsigned char kMarker[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                  0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    constexpr int kStage = 1 << 14;
    std::vector<float> stage;
    return WritePointFile(
        op, path, source, append, options,
        [&](COutputFile& file, int s, CPointSet_Section const& section, CWriteProgress& progress) {
            // Appended data start a section of their own.
            if (append || s > 0) file.Write(kMarker, sizeof kMarker);
            stage.resize(std::size_t(kStage) * 3);
            auto const& points = section.GetPtsArray();
            for (int first = 0; first < points.Count(); first += kStage) {
                int const count = std::min(kStage, points.Count() - first);
                for (int i = 0; i < count; ++i) {
                    auto const& p = points.Unsafe_Get(first + i);
                    stage[std::size_t(3 * i)] = float(p.x);
                    stage[std::size_t(3 * i + 1)] = float(p.y);
                    stage[std::size_t(3 * i + 2)] = float(p.z);
                }
                file.Write(stage.data(), std::size_t(count) * 12);
                progress.Points(count);
            }
        });
}

}  // namespace QEL::Core

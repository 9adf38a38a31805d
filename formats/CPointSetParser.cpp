// SPDX-License-Identifier: MIT
#include "formats/CPointSetParser.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/COutputFile.h"
#include "formats/CProgressText.h"
#include "formats/CTextLineScanner.h"
#include "formats/QEL_TextNumbers.h"
#include "platform/CFaultTranslator.h"
#include "platform/CTask.h"

namespace QEL::Core {

// A point set counts its points in an int; readers stop well before.
constexpr int kMaxPointsInSet = 1000000000;

// --- adding points to a section in batches -------------------------------------

// One point as a reader sees it: every attribute the text formats carry.
struct SPointRow {
    double x = 0, y = 0, z = 0;
    double i = 0, j = 0, k = 0;  // normal
    double u = 0, v = 0;         // parameter pair
    double e = 0;                // error value
    double vel = 0;              // velocity
};

// Collects rows for the current section of a target and adds them in
// batches, so that the section grows once per batch rather than per point.
class CPointSectionAppender {
  public:
    explicit CPointSectionAppender(CPointSet& target) : m_target(target) {}
    ~CPointSectionAppender() = default;

    // Points now go to the target's last section, its first, or a new
    // section at its end. The section is found (or made) when the first point
    // arrives, so that no empty section is ever added.
    void UseLastSection() { Target(ETarget::Last); }
    void UseFirstSection() { Target(ETarget::First); }
    void StartSection() { Target(ETarget::New); }
    // Whether any of the three was called.
    bool HasSection() const { return m_started; }

    // The attributes the next rows carry (added to the section).
    void SetAttributes(CPtsData flags) {
        Flush();
        m_flags = flags;
    }

    // The row of the next point, all zero; it is added by the next call.
    SPointRow& NextRow() {
        if (m_count == kBatch) Flush();
        SPointRow& row = m_rows[std::size_t(m_count++)];
        row = SPointRow{};
        return row;
    }
    // A point with a position only: the other fields of its row are never read
    // unless the attributes say so, and then rows come through NextRow.
    void AddPosition(double x, double y, double z) {
        if (m_count == kBatch) Flush();
        SPointRow& row = m_rows[std::size_t(m_count++)];
        row.x = x, row.y = y, row.z = z;
    }

    void Flush() {
        if (m_count == 0) return;
        static CQEL_Operation const op("QEL::Core::CPointSetParser::Read");
        if (!m_section) m_section = &Resolve();
        CPointSet_Section& section = *m_section;
        int const base = section.GetNumPts();
        int const count = m_count;
        if (std::int64_t(m_target.GetNumPts()) + count > kMaxPointsInSet)
            op.Throw(QEL_INVALID_POINTSET, "target",
                     CQEL_String::FromFormat("A point set holds at most %d points", kMaxPointsInSet));
        section.AddMetaData(m_flags);
        section.CheckSpace(base + count, section.GetMetaDataFlags());
        // Positions in one pass over the section's array (one change mark).
        CPointSet_Section::Point* const points = section.EditPts().data() + base;
        for (int r = 0; r < count; ++r) {
            SPointRow const& row = m_rows[std::size_t(r)];
            points[r].x = row.x, points[r].y = row.y, points[r].z = row.z;
        }
        bool const normals = m_flags.Contains(CPtsData::nms);
        bool const uvs = m_flags.Contains(CPtsData::cuv);
        bool const errors = m_flags.Contains(CPtsData::err);
        bool const vels = m_flags.Contains(CPtsData::vel);
        if (normals || uvs || errors || vels)
            for (int r = 0; r < count; ++r) {
                SPointRow const& row = m_rows[std::size_t(r)];
                int const at = base + r;
                if (normals) section.set_Nms(at, CVector3<double>(row.i, row.j, row.k));
                if (uvs) section.set_CUV(at, CPoint2<double>(row.u, row.v));
                if (errors) section.set_Err(at, row.e);
                if (vels) section.set_Vel(at, row.vel);
            }
        m_points += count;
        m_count = 0;
    }

    int Points() const { return m_points; }

  private:
    enum class ETarget { Last, First, New };

    void Target(ETarget target) {
        Flush();
        m_kind = target;
        m_section = nullptr;
        m_started = true;
    }
    CPointSet_Section& Resolve() {
        int const sections = m_target.GetNumSec();
        if (m_kind == ETarget::Last && sections > 0) return m_target.GetTail();
        if (m_kind == ETarget::First && sections > 0) return m_target.GetHead();
        return CPointSetParser::AppendSection(m_target);
    }

    // Small enough for the rows to stay in cache between parse and copy.
    static constexpr int kBatch = 2048;

    CPointSet& m_target;
    CPointSet_Section* m_section = nullptr;
    ETarget m_kind = ETarget::Last;
    bool m_started = false;
    CPtsData m_flags = CPtsData::def;
    std::vector<SPointRow> m_rows = std::vector<SPointRow>(kBatch);
    int m_count = 0;  // rows in use
    int m_points = 0;
};

CPointSet_Section& CPointSetParser::AppendSection(CPointSet& set) {
    return *set.InsertSectionAtIndex(new CPointSet_Section(), set.GetNumSec());
}

namespace {

void ReportPoints(int points) {
    CQEL_Output_Events::Text(
        CQEL_String::FromFormat("  a total of %d points were read from the file", points));
}

void WarnSkipped(std::int64_t lines, char const* what) {
    if (lines > 0)
        CQEL_Output_Events::Warning(
            CQEL_String::FromFormat("  %lld line%s %s", (long long)lines, lines == 1 ? "" : "s", what));
}

std::string FileLabel(char const* verb, CQEL_String const& path) {
    return std::string(verb) + " " + path.GetArray();
}

// --- .asc columns ----------------------------------------------------------------

enum class EColumn : unsigned char { X, Y, Z, I, J, K, U, V, E, Ignored };

struct SColumns {
    std::array<EColumn, 9> column{};
    int count = 0;
    CPtsData flags = CPtsData::def;

    static SColumns XYZ() {
        SColumns c;
        c.column[0] = EColumn::X, c.column[1] = EColumn::Y, c.column[2] = EColumn::Z;
        c.count = 3;
        return c;
    }
    // Positions only, in order: rows need no other field.
    bool PositionsOnly() const {
        return count == 3 && column[0] == EColumn::X && column[1] == EColumn::Y && column[2] == EColumn::Z;
    }
};

EColumn ColumnOf(std::string_view name) {
    static constexpr struct {
        char const* name;
        EColumn column;
    } kNames[] = {{"x", EColumn::X}, {"y", EColumn::Y}, {"z", EColumn::Z},
                  {"i", EColumn::I}, {"j", EColumn::J}, {"k", EColumn::K},
                  {"u", EColumn::U}, {"v", EColumn::V}, {"e", EColumn::E}};
    for (auto const& entry : kNames)
        if (Text::EqualsNoCase(name, entry.name)) return entry.column;
    return EColumn::Ignored;
}

// The columns named after "scan" (up to 9); a "scan" line naming none reads x y z.
SColumns ParseHeader(std::string_view rest, std::int64_t& unknownNames) {
    SColumns columns;
    while (columns.count < 9) {
        std::string_view const name = Text::FirstWord(rest, &rest);
        if (name.empty()) break;
        EColumn const column = ColumnOf(name);
        if (column == EColumn::Ignored && name != "?") ++unknownNames;
        columns.column[std::size_t(columns.count++)] = column;
        switch (column) {
            case EColumn::I:
            case EColumn::J:
            case EColumn::K:
                columns.flags = columns.flags | CPtsData::nms;
                break;
            case EColumn::U:
            case EColumn::V:
                columns.flags = columns.flags | CPtsData::cuv;
                break;
            case EColumn::E:
                columns.flags = columns.flags | CPtsData::err;
                break;
            default:
                break;
        }
    }
    return columns.count == 0 ? SColumns::XYZ() : columns;
}

void Assign(SPointRow& row, EColumn column, double value) {
    switch (column) {
        case EColumn::X:
            row.x = value;
            break;
        case EColumn::Y:
            row.y = value;
            break;
        case EColumn::Z:
            row.z = value;
            break;
        case EColumn::I:
            row.i = value;
            break;
        case EColumn::J:
            row.j = value;
            break;
        case EColumn::K:
            row.k = value;
            break;
        case EColumn::U:
            row.u = value;
            break;
        case EColumn::V:
            row.v = value;
            break;
        case EColumn::E:
            row.e = value;
            break;
        case EColumn::Ignored:
            break;
    }
}

// --- writing text ----------------------------------------------------------------

// Formats one line of values into a small buffer and hands it to the file.
class CLineWriter {
  public:
    CLineWriter(COutputFile& file, int digits) : m_file(file), m_digits(digits) {}
    void Value(double value) {
        if (m_at != m_line) *m_at++ = ' ';
        m_at = Text::PrintDouble(m_at, value, m_digits);
    }
    void Literal(char const* text) {
        std::size_t const n = std::strlen(text);
        std::memcpy(m_at, text, n);
        m_at += n;
    }
    void End() {
        *m_at++ = '\n';
        m_file.Write(m_line, std::size_t(m_at - m_line));
        m_at = m_line;
    }

  private:
    COutputFile& m_file;
    int m_digits;
    char m_line[16 * 34];
    char* m_at = m_line;
};

void CheckOptions(CQEL_Operation const& op, SPointFileOptions const& options) {
    op.CheckRange(options.significantDigits, 1, 17, "significantDigits");
}

}  // namespace

// --- readers ------------------------------------------------------------------------

namespace {

// A "scan" line (any case), with the text after the word in rest. Data lines
// are told apart by their first character before any word is cut out.
bool IsHeaderLine(std::string_view line, std::string_view& rest) {
    std::size_t first = 0;
    while (first < line.size() && Text::IsSpace(line[first]))
        ++first;
    if (first == line.size() || (line[first] != 's' && line[first] != 'S')) return false;
    return Text::EqualsNoCase(Text::FirstWord(line, &rest), "scan");
}

}  // namespace

bool CPointSetParser::ReadASCFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadASCFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineScanner lines(9);
        if (!lines.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target);
        SColumns columns = SColumns::XYZ();
        bool positionsOnly = true;
        std::int64_t shortLines = 0, unknownNames = 0;
        lines.ForEachLine([&](std::string_view line, double const* values, int n) {
            progress.Update(lines.Consumed());
            if (line.size() < 3) return;
            if (n == 0) {  // a header, or text that is neither a header nor data
                std::string_view rest;
                if (IsHeaderLine(line, rest)) {
                    columns = ParseHeader(rest, unknownNames);
                    positionsOnly = columns.PositionsOnly();
                    appender.StartSection();
                    appender.SetAttributes(columns.flags);
                }
                return;
            }
            if (!appender.HasSection()) {
                appender.StartSection();  // data before any header: a section of its own
                appender.SetAttributes(columns.flags);
            }
            if (n < columns.count) ++shortLines;
            if (positionsOnly && n >= 3) {
                appender.AddPosition(values[0], values[1], values[2]);
                return;
            }
            SPointRow& row = appender.NextRow();
            for (int c = 0; c < std::min(n, columns.count); ++c)
                Assign(row, columns.column[std::size_t(c)], values[c]);
        });
        appender.Flush();
        WarnSkipped(shortLines, "had fewer values than their section's columns; the missing ones read as 0");
        if (unknownNames > 0)
            CQEL_Output_Events::Warning(
                CQEL_String::FromFormat("  %lld column name%s not known; their values were ignored",
                                        (long long)unknownNames, unknownNames == 1 ? " was" : "s were"));
        ReportPoints(appender.Points());
        return true;
    });
}

bool CPointSetParser::ReadDATFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadDATFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CQEL_ScopedTimer timer("Time to import");
        CTextLineScanner lines(3);
        if (!lines.Open(path.GetArray())) {
            timer.Cancel();
            return false;
        }
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target);
        appender.UseLastSection();
        std::int64_t skipped = 0;
        lines.ForEachLine([&](std::string_view line, double const* values, int n) {
            progress.Update(lines.Consumed());
            if (n < 3) {
                if (Text::FirstWord(line).size() > 0) ++skipped;  // blank lines are not worth a warning
                return;
            }
            appender.AddPosition(values[0], values[1], values[2]);
        });
        appender.Flush();
        WarnSkipped(skipped, "without three numbers were skipped");
        ReportPoints(appender.Points());
        return true;
    });
}

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

    CBinRecords(int fd, std::int64_t size, CQEL_String const& path, CQEL_Operation const& op)
        : m_fd(fd), m_records(size / kRecord), m_path(path), m_op(op) {
        m_parts = PartsFor(size, std::int64_t(8) << 20);
        if (size > 0) {
            void* const mapped = ::mmap(nullptr, std::size_t(size), PROT_READ, MAP_PRIVATE, fd, 0);
            if (mapped != MAP_FAILED) {
                m_mapped = static_cast<unsigned char const*>(mapped);
                m_mappedBytes = std::size_t(size);
            }
        }
    }
    ~CBinRecords() {
        if (m_mapped) ::munmap(const_cast<unsigned char*>(m_mapped), m_mappedBytes);
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
        for (std::int64_t got = 0; got < bytes;) {
            ssize_t const n = ::pread(m_fd, to + got, std::size_t(bytes - got), off_t(at + got));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0)
                m_op.Throw(QEL_FILE_READ_ERROR, "path",
                           CQEL_String::FromFormat("%s: read failure at byte %lld", m_path.GetArray(),
                                                   (long long)(at + got)));
            got += n;
        }
    }

    int m_fd;
    std::int64_t m_records;
    CQEL_String const& m_path;
    CQEL_Operation const& m_op;
    int m_parts = 1;
    unsigned char const* m_mapped = nullptr;
    std::size_t m_mappedBytes = 0;
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
        int const fd = ::open(path.GetArray(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) return false;
        struct SCloser {
            int fd;
            ~SCloser() { ::close(fd); }
        } const closer{fd};
        struct stat info {};
        if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) return false;
        std::int64_t const size = info.st_size;
        if (size % 12 != 0)
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("%s: its %lld bytes are not a whole number of 12-byte records",
                                             path.GetArray(), (long long)size));
        CFaultTranslationScope const faults;
        CBinRecords const file(fd, size, path, op);
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

        // Every run gets its room: the first goes on in the target's last
        // section unless a marker precedes it, each other one opens a section.
        // The new points are not written here: their storage comes zeroed
        // from the system and is first touched by the part that fills it.
        for (std::size_t i = 0; i < runs.size(); ++i) {
            bool const last = i == 0 && runs[0].first == 0 && target->GetNumSec() > 0;
            CPointSet_Section& section = last ? target->GetTail() : AppendSection(*target);
            int const base = section.GetNumPts();
            section.CheckSpace(base + int(runs[i].count), section.GetMetaDataFlags());
            runs[i].points = section.EditPts().data() + base;
        }

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

bool CPointSetParser::ReadCUTFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadCUTFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineScanner lines(4);
        if (!lines.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target);
        appender.UseFirstSection();
        std::int64_t skipped = 0;
        bool feeds = false;
        lines.ForEachLine([&](std::string_view line, double const* values, int n) {
            progress.Update(lines.Consumed());
            if (n < 3) {
                if (Text::FirstWord(line).size() > 0) ++skipped;
                return;
            }
            if (n == 4 && !feeds) {
                // The feed is a per-minute speed: it comes back as the velocity it was written from.
                feeds = true;
                appender.SetAttributes(CPtsData::def | CPtsData::vel);
            }
            SPointRow& row = appender.NextRow();
            row.x = values[0], row.y = values[1], row.z = values[2];
            row.vel = n == 4 ? values[3] / 60.0 : 0.0;
        });
        appender.Flush();
        WarnSkipped(skipped, "without three numbers were skipped");
        ReportPoints(appender.Points());
        CQEL_Output_Events::Text(
            CQEL_String::FromFormat("  a total of %d moves were read from the file", appender.Points()));
        return true;
    });
}

// --- writers ------------------------------------------------------------------------

bool CPointSetParser::WriteASCFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteASCFile");
    return op.Run([&] {
        CheckOptions(op, options);
        COutputFile file;
        if (!file.Open(path.GetArray(), append)) return false;
        CProgressText progress(FileLabel("writing", path), source.GetNumPts());
        CLineWriter out(file, options.significantDigits);
        std::int64_t written = 0;
        for (int s = 0; s < source.GetNumSec(); ++s) {
            CPointSet_Section const& section = source.get_Sec(s);
            CPtsData const flags = section.GetMetaDataFlags();
            bool const cnm = flags.Contains(CPtsData::cnm), nms = flags.Contains(CPtsData::nms);
            bool const cuv = flags.Contains(CPtsData::cuv), err = flags.Contains(CPtsData::err);
            // The header names the columns that follow.
            out.Literal("scan x y z");
            if (cnm || nms) out.Literal(" i j k");
            if (cuv) out.Literal(" u v");
            if (err) out.Literal(" e");
            out.End();
            auto const& points = section.GetPtsArray();
            for (int i = 0; i < points.Count(); ++i) {
                auto const& p = points.Unsafe_Get(i);
                out.Value(p.x), out.Value(p.y), out.Value(p.z);
                if (cnm || nms) {
                    auto const& n =
                        cnm ? section.GetCNmArray().Unsafe_Get(i) : section.GetNmsArray().Unsafe_Get(i);
                    out.Value(n.x), out.Value(n.y), out.Value(n.z);
                }
                if (cuv) {
                    auto const& uv = section.GetCUVArray().Unsafe_Get(i);
                    out.Value(uv.x), out.Value(uv.y);
                }
                if (err) out.Value(section.GetErrArray().Unsafe_Get(i));
                out.End();
                progress.Update(++written);
            }
        }
        file.Commit();
        return true;
    });
}

bool CPointSetParser::WriteDATFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteDATFile");
    return op.Run([&] {
        CheckOptions(op, options);
        COutputFile file;
        if (!file.Open(path.GetArray(), append)) return false;
        CProgressText progress(FileLabel("writing", path), source.GetNumPts());
        CLineWriter out(file, options.significantDigits);
        std::int64_t written = 0;
        for (int s = 0; s < source.GetNumSec(); ++s) {
            auto const& points = source.get_Sec(s).GetPtsArray();
            for (int i = 0; i < points.Count(); ++i) {
                auto const& p = points.Unsafe_Get(i);
                out.Value(p.x), out.Value(p.y), out.Value(p.z);
                out.End();
                progress.Update(++written);
            }
        }
        file.Commit();
        return true;
    });
}

bool CPointSetParser::WriteBINFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteBINFile");
    return op.Run([&] {
        CheckOptions(op, options);
        COutputFile file;
        if (!file.Open(path.GetArray(), append)) return false;
        CProgressText progress(FileLabel("writing", path), source.GetNumPts());
        static constexpr unsigned char kMarker[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        constexpr int kStage = 1 << 14;
        std::vector<float> stage(std::size_t(kStage) * 3);
        std::int64_t written = 0;
        for (int s = 0; s < source.GetNumSec(); ++s) {
            // Appended data start a section of their own.
            if (append || s > 0) file.Write(kMarker, sizeof kMarker);
            auto const& points = source.get_Sec(s).GetPtsArray();
            for (int first = 0; first < points.Count(); first += kStage) {
                int const count = std::min(kStage, points.Count() - first);
                for (int i = 0; i < count; ++i) {
                    auto const& p = points.Unsafe_Get(first + i);
                    stage[std::size_t(3 * i)] = float(p.x);
                    stage[std::size_t(3 * i + 1)] = float(p.y);
                    stage[std::size_t(3 * i + 2)] = float(p.z);
                }
                file.Write(stage.data(), std::size_t(count) * 12);
                written += count;
                progress.Report(written);
            }
        }
        file.Commit();
        return true;
    });
}

bool CPointSetParser::WriteCUTFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteCUTFile");
    return op.Run([&] {
        CheckOptions(op, options);
        COutputFile file;
        if (!file.Open(path.GetArray(), append)) return false;
        CProgressText progress(FileLabel("writing", path), source.GetNumPts());
        CLineWriter out(file, options.significantDigits);
        std::int64_t written = 0;
        for (int s = 0; s < source.GetNumSec(); ++s) {
            CPointSet_Section const& section = source.get_Sec(s);
            bool const vel = section.HasMetaData(CPtsData::vel);
            auto const& points = section.GetPtsArray();
            for (int i = 0; i < points.Count(); ++i) {
                auto const& p = points.Unsafe_Get(i);
                out.Value(p.x), out.Value(p.y), out.Value(p.z);
                if (vel)
                    out.Value(section.GetVelArray().Unsafe_Get(i) * 60.0);
                else
                    out.Literal(" 1250");
                out.End();
                progress.Update(++written);
            }
        }
        file.Commit();
        return true;
    });
}

// --- the format table ------------------------------------------------------------------

SPointFormat const* GetPointFormats(int& count) {
    static SPointFormat const formats[] = {
        {".asc", "text with section headers and attribute columns", &CPointSetParser::ReadASCFile,
         &CPointSetParser::WriteASCFile},
        {".dat", "text, one point per line", &CPointSetParser::ReadDATFile, &CPointSetParser::WriteDATFile},
        {".bin", "binary single-precision points with section markers", &CPointSetParser::ReadBINFile,
         &CPointSetParser::WriteBINFile},
        {".cut", "machining path of moves with feed", &CPointSetParser::ReadCUTFile,
         &CPointSetParser::WriteCUTFile},
    };
    count = int(std::size(formats));
    return formats;
}

SPointFormat const* FindPointFormat(CQEL_String const& path) {
    std::string_view const text = path.View();
    std::size_t const dot = text.rfind('.');
    if (dot == std::string_view::npos || text.find('/', dot) != std::string_view::npos) return nullptr;
    int count = 0;
    SPointFormat const* formats = GetPointFormats(count);
    for (int i = 0; i < count; ++i)
        if (Text::EqualsNoCase(text.substr(dot), formats[i].extension)) return &formats[i];
    return nullptr;
}

}  // namespace QEL::Core

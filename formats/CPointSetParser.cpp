// SPDX-License-Identifier: MIT
#include "formats/CPointSetParser.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/COutputFile.h"
#include "formats/CProgressText.h"
#include "formats/CTextLineReader.h"
#include "formats/QEL_TextNumbers.h"

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
        CTextLineReader reader;
        if (!reader.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), reader.FileSize());
        CPointSectionAppender appender(*target);
        SColumns columns = SColumns::XYZ();
        std::int64_t shortLines = 0, unknownNames = 0;
        std::string_view line;
        while (reader.NextLine(line)) {
            progress.Update(reader.Consumed());
            if (line.size() < 3) continue;
            std::string_view rest;
            if (IsHeaderLine(line, rest)) {
                columns = ParseHeader(rest, unknownNames);
                appender.StartSection();
                appender.SetAttributes(columns.flags);
                continue;
            }
            double values[9];
            int const n = Text::ScanDoubles(line, values, 9);
            if (n == 0) continue;  // text that is neither a header nor data
            if (!appender.HasSection()) {
                appender.StartSection();  // data before any header: a section of its own
                appender.SetAttributes(columns.flags);
            }
            if (n < columns.count) ++shortLines;
            SPointRow& row = appender.NextRow();
            for (int c = 0; c < std::min(n, columns.count); ++c)
                Assign(row, columns.column[std::size_t(c)], values[c]);
        }
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
        CTextLineReader reader;
        if (!reader.Open(path.GetArray())) {
            timer.Cancel();
            return false;
        }
        CProgressText progress(FileLabel("reading", path), reader.FileSize());
        CPointSectionAppender appender(*target);
        appender.UseLastSection();
        std::int64_t skipped = 0;
        std::string_view line;
        while (reader.NextLine(line)) {
            progress.Update(reader.Consumed());
            double values[3];
            if (Text::ScanDoubles(line, values, 3) < 3) {
                if (Text::FirstWord(line).size() > 0) ++skipped;  // blank lines are not worth a warning
                continue;
            }
            appender.AddPosition(values[0], values[1], values[2]);
        }
        appender.Flush();
        WarnSkipped(skipped, "without three numbers were skipped");
        ReportPoints(appender.Points());
        return true;
    });
}

namespace {

// A ".bin" file read in blocks of whole 12-byte records, from the start as
// often as asked: the reader walks it twice.
class CBinRecords {
  public:
    CBinRecords(int fd, std::int64_t size, CQEL_String const& path) : m_fd(fd), m_size(size), m_path(path) {}

    // Calls visit(records, count) for each block, from the start of the file.
    template <class Visitor>
    void ForEachBlock(CQEL_Operation const& op, Visitor&& visit) {
        if (::lseek(m_fd, 0, SEEK_SET) != 0) Fail(op, 0);
        std::int64_t done = 0;
        while (done < m_size) {
            std::int64_t const want = std::min<std::int64_t>(m_size - done, std::int64_t(m_buffer.size()));
            std::int64_t got = 0;
            while (got < want) {
                ssize_t const n = ::read(m_fd, m_buffer.data() + got, std::size_t(want - got));
                if (n < 0 && errno == EINTR) continue;
                if (n <= 0) Fail(op, done + got);
                got += n;
            }
            visit(m_buffer.data(), want / 12);
            done += want;
        }
    }

    static bool IsMarker(unsigned char const* record) {
        static constexpr unsigned char kMarker[12] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                                      0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
        return std::memcmp(record, kMarker, 12) == 0;
    }

  private:
    [[noreturn]] void Fail(CQEL_Operation const& op, std::int64_t at) const {
        op.Throw(QEL_FILE_READ_ERROR, "path",
                 CQEL_String::FromFormat("%s: read failure at byte %lld", m_path.GetArray(), (long long)at));
    }

    int m_fd;
    std::int64_t m_size;
    CQEL_String const& m_path;
    std::vector<unsigned char> m_buffer = std::vector<unsigned char>(std::size_t(12) << 18);  // 3 MiB
};

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
        CProgressText progress(FileLabel("reading", path), 2 * size);
        CBinRecords file(fd, size, path);

        // First pass: the length of each run of points between markers, so
        // that every section is sized once and filled in place.
        std::vector<std::int64_t> runs;
        std::int64_t run = 0, total = 0, seen = 0;
        bool leadingMarker = false;
        file.ForEachBlock(op, [&](unsigned char const* records, std::int64_t count) {
            for (std::int64_t r = 0; r < count; ++r) {
                if (!CBinRecords::IsMarker(records + 12 * r)) {
                    ++run;
                    continue;
                }
                if (run > 0)
                    runs.push_back(run);
                else if (runs.empty())
                    leadingMarker = true;
                total += run;
                run = 0;
            }
            seen += count;
            progress.Report(12 * seen);
        });
        if (run > 0) runs.push_back(run);
        total += run;
        if (std::int64_t(target->GetNumPts()) + total > kMaxPointsInSet)
            op.Throw(QEL_INVALID_POINTSET, "target",
                     CQEL_String::FromFormat("A point set holds at most %d points", kMaxPointsInSet));

        // Second pass: the points of run i go to the target's last section
        // (the first run, unless a marker precedes it) or to a new section.
        auto changed = [&] {
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("%s changed while it was being read", path.GetArray()));
        };
        std::size_t next = 0;
        std::int64_t left = 0;
        CPointSet_Section::Point* points = nullptr;
        file.ForEachBlock(op, [&](unsigned char const* records, std::int64_t count) {
            for (std::int64_t r = 0; r < count; ++r) {
                unsigned char const* record = records + 12 * r;
                if (CBinRecords::IsMarker(record)) {
                    if (left > 0) changed();
                    continue;
                }
                if (left == 0) {
                    if (next == runs.size()) changed();
                    bool const last = next == 0 && !leadingMarker && target->GetNumSec() > 0;
                    CPointSet_Section& section = last ? target->GetTail() : AppendSection(*target);
                    int const base = section.GetNumPts();
                    left = runs[next++];
                    section.CheckSpace(base + int(left), section.GetMetaDataFlags());
                    points = section.EditPts().data() + base;
                }
                float xyz[3];
                std::memcpy(xyz, record, 12);
                points->x = xyz[0], points->y = xyz[1], points->z = xyz[2];
                ++points, --left;
            }
            seen += count;
            progress.Report(12 * seen);
        });
        if (next != runs.size() || left != 0) changed();
        ReportPoints(int(total));
        return true;
    });
}

bool CPointSetParser::ReadCUTFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadCUTFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineReader reader;
        if (!reader.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), reader.FileSize());
        CPointSectionAppender appender(*target);
        appender.UseFirstSection();
        std::int64_t skipped = 0;
        bool feeds = false;
        std::string_view line;
        while (reader.NextLine(line)) {
            progress.Update(reader.Consumed());
            double values[4];
            int const n = Text::ScanDoubles(line, values, 4);
            if (n < 3) {
                if (Text::FirstWord(line).size() > 0) ++skipped;
                continue;
            }
            if (n == 4 && !feeds) {
                // The feed is a per-minute speed: it comes back as the velocity it was written from.
                feeds = true;
                appender.SetAttributes(CPtsData::def | CPtsData::vel);
            }
            SPointRow& row = appender.NextRow();
            row.x = values[0], row.y = values[1], row.z = values[2];
            row.vel = n == 4 ? values[3] / 60.0 : 0.0;
        }
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

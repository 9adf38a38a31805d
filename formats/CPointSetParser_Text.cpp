// SPDX-License-Identifier: MIT
// The text point formats: ".asc", ".dat" and ".cut".
#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_Timer.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointFileWriter.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CPointSetParser.h"
#include "formats/CProgressText.h"
#include "formats/CTextLineScanner.h"
#include "formats/QEL_TextNumbers.h"

namespace QEL::Core {

namespace {

// The feed written for a move of a section without velocities.
constexpr char const* kDefaultFeed = " 1250";

// The columns named by a header: the slot of each (kAscColumns), -1 ignored.
struct SColumns {
    std::array<int, 9> slot{};
    int count = 0;
    CPtsData flags = CPtsData::def;

    static SColumns XYZ() {
        SColumns c;
        c.slot[0] = 0, c.slot[1] = 1, c.slot[2] = 2;
        c.count = 3;
        return c;
    }
    // Positions only, in order: rows need no other field.
    bool PositionsOnly() const { return count == 3 && slot[0] == 0 && slot[1] == 1 && slot[2] == 2; }
};

// The columns named after "scan" (up to 9); a "scan" line naming none reads x y z.
SColumns ParseHeader(std::string_view rest, std::int64_t& unknownNames) {
    SColumns columns;
    while (columns.count < 9) {
        std::string_view const name = Text::FirstWord(rest, &rest);
        if (name.empty()) break;
        int const slot = name.size() <= 3 ? kAscColumns.Find(name.data(), int(name.size())) : -1;
        if (slot < 0 && name != "?") ++unknownNames;
        columns.slot[std::size_t(columns.count++)] = slot;
        if (slot >= 0)
            columns.flags =
                columns.flags | PointAttributeFlag(kPointAttributes[kAscColumns.column[slot].row]);
    }
    return columns.count == 0 ? SColumns::XYZ() : columns;
}

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
        CPointSectionAppender appender(*target, op);
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
                    appender.AddSection();  // every header starts a section, even one without points
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
                if (int const slot = columns.slot[std::size_t(c)]; slot >= 0) row.value[slot] = values[c];
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
        CPointSectionAppender appender(*target, op);
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

bool CPointSetParser::ReadCUTFile(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::ReadCUTFile");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineScanner lines(4);
        if (!lines.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target, op);
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
            row.value[0] = values[0], row.value[1] = values[1], row.value[2] = values[2];
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
    // Per section, the arrays written, one per group of columns (the last
    // row naming them that the section has), in the order of the columns.
    struct SSource {
        EPointElement element;
        void const* array;  // the CQEL_Array of the element type
    };
    std::array<SSource, CPtsData::kCount> sources{};
    int numSources = 0;
    return WriteTextPointFile(
        op, path, source, append, options,
        [&](CPointSet_Section const& section, CLineWriter& line) {
            CPtsData const flags = section.GetMetaDataFlags();
            std::array<int, CPtsData::kCount> written;
            written.fill(-1);
            for (int a = 0; a < CPtsData::kCount; ++a) {
                int const slot = kAscColumns.first[a];
                if (slot >= 0 && flags.Contains(PointAttributeFlag(kPointAttributes[a])))
                    written[std::size_t(kAscColumns.column[slot].row)] = a;
            }
            // The header names the columns that follow.
            line.Literal("scan");
            numSources = 0;
            for (int group = 0; group < CPtsData::kCount; ++group) {
                int const a = written[std::size_t(group)];
                if (a < 0) continue;
                line.Literal(" ");
                line.Literal(kPointAttributes[group].columns);
                SPointAttribute const& row = kPointAttributes[a];
                sources[std::size_t(numSources++)] = {
                    row.element, VisitPointElement(row.element, [&]<EPointElement E>() -> void const* {
                        return &PointAttributeCollection<E>(section, row).GetAsArray();
                    })};
            }
            line.End();
        },
        [&](CPointSet_Section const&, int i, CLineWriter& line) {
            for (int k = 0; k < numSources; ++k)
                VisitPointElement(sources[std::size_t(k)].element, [&]<EPointElement E>() {
                    if constexpr (E != EPointElement::Pointer) {
                        auto const& array =
                            *static_cast<CQEL_Array<PointElement_t<E>> const*>(sources[std::size_t(k)].array);
                        double values[3] = {};
                        ToComponents<E>(array.Unsafe_Get(i), values);
                        for (int c = 0; c < kPointComponents<E>; ++c)
                            line.Value(values[c]);
                    }
                });
        });
}

bool CPointSetParser::WriteDATFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteDATFile");
    return WriteTextPointFile(
        op, path, source, append, options, [](CPointSet_Section const&, CLineWriter&) {},
        [](CPointSet_Section const& section, int i, CLineWriter& line) {
            auto const& p = section.GetPtsArray().Unsafe_Get(i);
            line.Value(p.x), line.Value(p.y), line.Value(p.z);
        });
}

bool CPointSetParser::WriteCUTFile(CQEL_String const& path, CPointSet const& source, bool append,
                                   SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CPointSetParser::WriteCUTFile");
    bool velocities = false;
    return WriteTextPointFile(
        op, path, source, append, options,
        [&](CPointSet_Section const& section, CLineWriter&) {
            velocities = section.HasMetaData(CPtsData::vel);
        },
        [&](CPointSet_Section const& section, int i, CLineWriter& line) {
            auto const& p = section.GetPtsArray().Unsafe_Get(i);
            line.Value(p.x), line.Value(p.y), line.Value(p.z);
            // The feed is a per-minute speed.
            if (velocities)
                line.Value(section.GetVelArray().Unsafe_Get(i) * 60.0);
            else
                line.Literal(kDefaultFeed);
        });
}

}  // namespace QEL::Core

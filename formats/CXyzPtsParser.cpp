// SPDX-License-Identifier: MIT
// ".xyz" and ".pts" reading and writing.
#include "formats/CXyzPtsParser.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/CPointFileWriter.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CTextLineScanner.h"
#include "formats/QEL_TextNumbers.h"

namespace QEL::Core {

namespace {

// Slots of the appender's rows (the ".asc" columns): normals after the position, then u v, then e.
constexpr int kNormalSlot = 3;
constexpr int kErrorSlot = 8;

bool AllSectionsHave(CPointSet const& set, CPtsData flags) {
    for (int s = 0; s < set.GetNumSec(); ++s)
        if (!set.get_Sec(s).HasMetaData(flags)) return false;
    return set.GetNumSec() > 0;
}

}  // namespace

bool CXyzPtsParser::ReadXYZ(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CXyzPtsParser::ReadXYZ");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineScanner lines(6);
        if (!lines.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target, op);
        appender.StartSection();
        std::int64_t skipped = 0;
        bool normals = false;
        lines.ForEachLine([&](std::string_view line, double const* values, int n) {
            progress.Update(lines.Consumed());
            if (n < 3) {
                if (!Text::FirstWord(line).empty()) ++skipped;
                return;
            }
            if (n == 6 && !normals) {
                normals = true;
                appender.SetAttributes(CPtsData::def | CPtsData::nms);
            }
            if (!normals) return appender.AddPosition(values[0], values[1], values[2]);
            SPointRow& row = appender.NextRow();
            std::copy(values, values + 3, row.value);
            if (n == 6) std::copy(values + 3, values + 6, row.value + kNormalSlot);
        });
        appender.Flush();
        WarnSkipped(skipped, "without three numbers were skipped");
        ReportPoints(appender.Points());
        return true;
    });
}

bool CXyzPtsParser::ReadPTS(CQEL_String const& path, CPointSet* target) {
    static CQEL_Operation const op("QEL::Core::CXyzPtsParser::ReadPTS");
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        CTextLineScanner lines(7);
        if (!lines.Open(path.GetArray())) return false;
        CProgressText progress(FileLabel("reading", path), lines.FileSize());
        CPointSectionAppender appender(*target, op);
        appender.StartSection();
        std::int64_t skipped = 0;
        double announced = 0;
        bool intensity = false;
        // Colours are no column of the appender's rows: kept aside and set after.
        std::vector<double> colours;
        lines.ForEachLine([&](std::string_view line, double const* values, int n) {
            progress.Update(lines.Consumed());
            if (n == 1) {
                announced += values[0];
                return;
            }
            if (n < 3) {
                if (!Text::FirstWord(line).empty()) ++skipped;
                return;
            }
            bool const hasIntensity = n == 4 || n == 7;
            if (hasIntensity && !intensity) {
                intensity = true;
                appender.SetAttributes(CPtsData::def | CPtsData::err);
            }
            SPointRow& row = appender.NextRow();
            std::copy(values, values + 3, row.value);
            if (hasIntensity) row.value[kErrorSlot] = values[3];
            if (n >= 6) {
                double const* rgb = values + (n == 7 ? 4 : 3);
                colours.insert(colours.end(), {rgb[0] / 255.0, rgb[1] / 255.0, rgb[2] / 255.0});
            } else if (!colours.empty()) {
                colours.insert(colours.end(), {0.0, 0.0, 0.0});
            }
        });
        appender.Flush();
        int const points = appender.Points();
        if (!colours.empty() && points > 0) {
            CPointSet_Section& section = target->get_Sec(target->GetNumSec() - 1);
            section.AddMetaData(CPtsData::col);
            int const base = section.GetNumPts() - points;
            // Points before the first coloured one keep black.
            int const offset = points - int(colours.size() / 3);
            for (int i = 0; i < int(colours.size() / 3); ++i)
                section.set_Col(base + offset + i,
                                CPoint3<double>(colours[std::size_t(3 * i)], colours[std::size_t(3 * i + 1)],
                                                colours[std::size_t(3 * i + 2)]));
        }
        WarnSkipped(skipped, "without three numbers were skipped");
        if (announced != 0 && announced != double(points))
            CQEL_Output_Events::Warning(CQEL_String::FromFormat("  %s announces %g points, but %d were read",
                                                                path.GetArray(), announced, points));
        ReportPoints(points);
        return true;
    });
}

bool CXyzPtsParser::WriteXYZ(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CXyzPtsParser::WriteXYZ");
    bool const normals = AllSectionsHave(source, CPtsData::nms);
    return WriteTextPointFile(
        op, path, source, append, options, [](CPointSet_Section const&, CLineWriter&) {},
        [&](CPointSet_Section const& section, int i, CLineWriter& line) {
            auto const& p = section.GetPtsArray().Unsafe_Get(i);
            line.Value(p.x), line.Value(p.y), line.Value(p.z);
            if (!normals) return;
            auto const& n = section.get_Nms(i);
            line.Value(n.x), line.Value(n.y), line.Value(n.z);
        });
}

bool CXyzPtsParser::WritePTS(CQEL_String const& path, CPointSet const& source, bool append,
                             SPointFileOptions const& options) {
    static CQEL_Operation const op("QEL::Core::CXyzPtsParser::WritePTS");
    return op.Run([&] {
        op.Check(!append, QEL_PARAMETER_OUT_OF_RANGE, "append", "PTS files cannot be appended to");
        bool const intensity = AllSectionsHave(source, CPtsData::err);
        bool const colours = AllSectionsHave(source, CPtsData::col);
        bool first = true;
        return WriteTextPointFile(
            op, path, source, false, options,
            [&](CPointSet_Section const&, CLineWriter& line) {
                if (!first) return;
                first = false;
                line.Value(double(source.GetNumPts()));
                line.End();
            },
            [&](CPointSet_Section const& section, int i, CLineWriter& line) {
                auto const& p = section.GetPtsArray().Unsafe_Get(i);
                line.Value(p.x), line.Value(p.y), line.Value(p.z);
                if (intensity) line.Value(section.get_Err(i));
                if (!colours) return;
                auto const& c = section.get_Col(i);
                for (double v : {c.x, c.y, c.z})
                    line.Value(std::isfinite(v) ? std::clamp(std::round(v * 255.0), 0.0, 255.0) : 0.0);
            });
    });
}

}  // namespace QEL::Core

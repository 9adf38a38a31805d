// SPDX-License-Identifier: MIT
// The frame every point-format writer shares (internal to the library): the
// options are checked, the file is opened beside its target (false when it
// cannot be), each section is written with progress texts, and the file is
// committed. A writer names only what differs: how a section is written, or
// for the text formats, a section's header line and a point's values.
#pragma once

#include <cstdint>
#include <cstring>

#include "core/CQEL_Operation.h"
#include "core/CQEL_String.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "formats/COutputFile.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CPointSetParser.h"
#include "formats/CProgressText.h"
#include "formats/QEL_TextNumbers.h"

namespace QEL::Core {

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

// Points written so far, with their progress texts.
class CWriteProgress {
  public:
    CWriteProgress(CQEL_String const& path, std::int64_t total)
        : m_progress(FileLabel("writing", path), total) {}
    // After each point.
    void Point() { m_progress.Update(++m_written); }
    // After a batch of points.
    void Points(std::int64_t count) {
        m_written += count;
        m_progress.Report(m_written);
    }

  private:
    CProgressText m_progress;
    std::int64_t m_written = 0;
};

// Writes source to path in op's frame: writeSection(file, index, section, progress)
// for each section in order.
template <class WriteSection>
bool WritePointFile(CQEL_Operation const& op, CQEL_String const& path, CPointSet const& source, bool append,
                    SPointFileOptions const& options, WriteSection&& writeSection) {
    return op.Run([&] {
        op.CheckRange(options.significantDigits, 1, 17, "significantDigits");
        COutputFile file;
        if (!file.Open(path.GetArray(), append)) return false;
        CWriteProgress progress(path, source.GetNumPts());
        for (int s = 0; s < source.GetNumSec(); ++s)
            writeSection(file, s, source.get_Sec(s), progress);
        file.Commit();
        return true;
    });
}

// A text format of one line per point: writeHeader(section, line) may write a
// line before a section's points (calling End), writePoint(section, i, line)
// writes point i's values.
template <class WriteHeader, class WritePoint>
bool WriteTextPointFile(CQEL_Operation const& op, CQEL_String const& path, CPointSet const& source,
                        bool append, SPointFileOptions const& options, WriteHeader&& writeHeader,
                        WritePoint&& writePoint) {
    return WritePointFile(
        op, path, source, append, options,
        [&](COutputFile& file, int, CPointSet_Section const& section, CWriteProgress& progress) {
            CLineWriter line(file, options.significantDigits);
            writeHeader(section, line);
            int const count = section.GetPtsArray().Count();
            for (int i = 0; i < count; ++i) {
                writePoint(section, i, line);
                line.End();
                progress.Point();
            }
        });
}

}  // namespace QEL::Core

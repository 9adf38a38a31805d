// SPDX-License-Identifier: MIT
// CPointSectionAppender: what the point-format readers share (internal to the
// library): points added to a target's sections in batches, and the texts a
// reader sends when it is done.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/CQEL_String.h"
#include "entities/CPtsData.h"

namespace QEL::Core {

class CPointSet;
class CQEL_Operation;
class CPointSet_Section;

// A point set counts its points in an int; readers stop well before.
constexpr int kMaxPointsInSet = 1000000000;

// The ".asc" columns of kPointAttributes: each column name once, in table
// order, with the row that introduced it (a later row naming the same
// columns shares them). Slot i of a point's values is column i; x y z are 0..2.
struct SAscColumns {
    struct SColumn {
        char name[4];
        int row;  // in kPointAttributes
    };
    SColumn column[16] = {};
    int count = 0;
    int first[CPtsData::kCount] = {};  // a row's first slot, -1 when it has no columns

    // Slot of name, -1 when no row names it.
    constexpr int Find(char const* name, int length) const {
        for (int c = 0; c < count; ++c) {
            int k = 0;
            while (k < length && column[c].name[k] != '\0' && (column[c].name[k] | 0x20) == (name[k] | 0x20))
                ++k;
            if (k == length && column[c].name[k] == '\0') return c;
        }
        return -1;
    }
};

constexpr SAscColumns MakeAscColumns() {
    SAscColumns layout;
    for (int r = 0; r < CPtsData::kCount; ++r) {
        layout.first[r] = -1;
        char const* text = kPointAttributes[r].columns;
        for (int at = 0; text[at] != '\0';) {
            while (text[at] == ' ')
                ++at;
            int length = 0;
            while (text[at + length] != '\0' && text[at + length] != ' ')
                ++length;
            if (length == 0) break;
            int slot = layout.Find(text + at, length);
            if (slot < 0) {
                slot = layout.count++;
                for (int k = 0; k < length && k < 3; ++k)
                    layout.column[slot].name[k] = text[at + k];
                layout.column[slot].row = r;
            }
            if (layout.first[r] < 0) layout.first[r] = slot;
            at += length;
        }
    }
    return layout;
}
inline constexpr SAscColumns kAscColumns = MakeAscColumns();

// One point as a reader sees it: the values of the ".asc" columns (x, y, z
// first) and the velocity of a ".cut" move.
struct SPointRow {
    double value[16] = {};
    double vel = 0;
};
static_assert(kAscColumns.count <= 16);

// Collects rows for the current section of a target and adds them in
// batches, so that the section grows once per batch rather than per point.
class CPointSectionAppender {
  public:
    // op: the reader's operation, which failures are reported as.
    CPointSectionAppender(CPointSet& target, CQEL_Operation const& op) : m_target(target), m_op(op) {}
    ~CPointSectionAppender() = default;

    // Points now go to the target's last section, its first, or a new
    // section at its end. The section is found (or made) when the first point
    // arrives, so that these add no empty section.
    void UseLastSection() { Target(ETarget::Last); }
    void UseFirstSection() { Target(ETarget::First); }
    void StartSection() { Target(ETarget::New); }
    // A new section at the target's end, made now: it stays, empty, if no
    // point follows (a section header of a format that has them).
    void AddSection() {
        Target(ETarget::New);
        m_section = &Resolve();
    }
    // Whether any of the three was called.
    bool HasSection() const { return m_started; }

    // The attributes the next rows carry (added to the section, at once if it is made).
    void SetAttributes(CPtsData flags);

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
        row.value[0] = x, row.value[1] = y, row.value[2] = z;
    }

    // Adds the rows collected so far to the section (made now if need be).
    // Throws reason 15 when the target would hold more than kMaxPointsInSet points.
    void Flush();

    int Points() const { return m_points; }

  private:
    enum class ETarget { Last, First, New };

    void Target(ETarget target) {
        Flush();
        m_kind = target;
        m_section = nullptr;
        m_started = true;
    }
    CPointSet_Section& Resolve();

    // Small enough for the rows to stay in cache between parse and copy.
    static constexpr int kBatch = 2048;

    CPointSet& m_target;
    CQEL_Operation const& m_op;
    CPointSet_Section* m_section = nullptr;
    ETarget m_kind = ETarget::Last;
    bool m_started = false;
    CPtsData m_flags = CPtsData::def;
    std::vector<SPointRow> m_rows = std::vector<SPointRow>(kBatch);
    int m_count = 0;  // rows in use
    int m_points = 0;
};

// "  a total of <points> points were read from the file" on the text channel.
void ReportPoints(int points);
// A warning "  <lines> line(s) <what>" when lines is not 0.
void WarnSkipped(std::int64_t lines, char const* what);
// The label of a progress text: "<verb> <path>".
std::string FileLabel(char const* verb, CQEL_String const& path);

}  // namespace QEL::Core

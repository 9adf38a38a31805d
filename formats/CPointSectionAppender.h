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
class CPointSet_Section;

// A point set counts its points in an int; readers stop well before.
constexpr int kMaxPointsInSet = 1000000000;

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

// SPDX-License-Identifier: MIT
// OBJ and OFF reading and writing.
#include "formats/CObjOffParser.h"

#include <charconv>
#include <climits>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CPointSet.h"
#include "entities/CPointSet_Section.h"
#include "entities/CTriangulation.h"
#include "formats/CMappedInput.h"
#include "formats/COutputFile.h"
#include "formats/CPointSectionAppender.h"
#include "formats/CTriangulationParser_Internal.h"
#include "formats/QEL_TextNumbers.h"
#include "platform/CFaultTranslator.h"

namespace QEL::Core {

namespace {

// What a file holds: vertices as read, normals (OBJ), fan triangles.
struct SMeshText {
    std::vector<double> xyz;
    std::vector<double> normals;
    std::vector<int> corners;
    std::int64_t shortFaces = 0;
};

// The lines of text with their numbers from 1, comments cut off.
class CLines {
  public:
    explicit CLines(std::string_view text) : m_text(text) {}
    bool Next(std::string_view& line) {
        if (m_at >= m_text.size()) return false;
        std::size_t end = m_text.find('\n', m_at);
        if (end == std::string_view::npos) end = m_text.size();
        line = m_text.substr(m_at, end - m_at);
        m_at = end + 1;
        ++m_number;
        if (std::size_t const hash = line.find('#'); hash != std::string_view::npos)
            line = line.substr(0, hash);
        return true;
    }
    std::int64_t Number() const { return m_number; }
    std::int64_t Left() const { return std::int64_t(m_text.size()) - std::int64_t(m_at); }

  private:
    std::string_view m_text;
    std::size_t m_at = 0;
    std::int64_t m_number = 0;
};

[[noreturn]] void Damaged(CQEL_Operation const& op, CQEL_String const& path, std::int64_t line,
                          std::string const& what) {
    op.Throw(QEL_FILE_READ_ERROR, "path",
             CQEL_String::FromFormat("%s: line %lld: %s", path.GetArray(), (long long)line, what.c_str()));
}

// Adds polygon as a fan.
void AddFan(std::vector<std::int64_t> const& polygon, SMeshText& mesh) {
    if (polygon.size() < 3) {
        ++mesh.shortFaces;
        return;
    }
    for (std::size_t i = 1; i + 1 < polygon.size(); ++i)
        mesh.corners.insert(mesh.corners.end(), {int(polygon[0]), int(polygon[i]), int(polygon[i + 1])});
}

SMeshText ParseOBJ(CQEL_Operation const& op, CQEL_String const& path, std::string_view text) {
    SMeshText mesh;
    CLines lines(text);
    std::string_view line;
    std::vector<std::int64_t> polygon;
    std::string ignored;
    auto ignore = [&](std::string_view what) {
        if (ignored.find(std::string(what) + ",") == std::string::npos) ignored += std::string(what) + ",";
    };
    while (lines.Next(line)) {
        std::string_view rest;
        std::string_view const key = Text::FirstWord(line, &rest);
        if (key == "v" || key == "vn") {
            double values[3];
            char const* p = rest.data();
            if (Text::ScanDoublesAt(p, rest.data() + rest.size(), values, 3) != 3)
                Damaged(op, path, lines.Number(), "\"" + std::string(key) + "\" without three numbers");
            (key == "v" ? mesh.xyz : mesh.normals)
                .insert((key == "v" ? mesh.xyz : mesh.normals).end(), values, values + 3);
        } else if (key == "f") {
            polygon.clear();
            std::int64_t const vertices = std::int64_t(mesh.xyz.size() / 3);
            for (std::string_view corner = Text::FirstWord(rest, &rest); !corner.empty();
                 corner = Text::FirstWord(rest, &rest)) {
                long long index = 0;
                auto const r = std::from_chars(corner.data(), corner.data() + corner.size(), index);
                if (r.ec != std::errc() || (r.ptr != corner.data() + corner.size() && *r.ptr != '/') ||
                    index == 0)
                    Damaged(op, path, lines.Number(),
                            "a face corner \"" + std::string(corner) + "\" without a vertex index");
                // Negative indices count back from the last vertex read so far.
                std::int64_t const at = index < 0 ? vertices + index : index - 1;
                if (at < 0 || at >= INT_MAX)
                    Damaged(op, path, lines.Number(),
                            "face corner " + std::string(corner) + " refers to no vertex");
                polygon.push_back(at);
            }
            AddFan(polygon, mesh);
        } else if (key == "vt" || key == "g" || key == "o" || key == "s" || key == "usemtl" ||
                   key == "mtllib" || key == "l" || key == "p") {
            ignore(key);
        } else if (!key.empty()) {
            ignore(key);
        }
    }
    // Positive indices may point ahead; all must lie among the vertices at the end.
    std::int64_t const vertices = std::int64_t(mesh.xyz.size() / 3);
    for (int c : mesh.corners)
        if (c >= vertices)
            op.Throw(QEL_FILE_READ_ERROR, "path",
                     CQEL_String::FromFormat("%s: a face refers to vertex %d, but there are %lld vertices",
                                             path.GetArray(), c + 1, (long long)vertices));
    if (!ignored.empty()) {
        ignored.pop_back();
        CQEL_Output_Events::Warning(CQEL_String::FromFormat(
            "  OBJ statements ignored (only v, vn and f are read): %s", ignored.c_str()));
    }
    return mesh;
}

SMeshText ParseOFF(CQEL_Operation const& op, CQEL_String const& path, std::string_view text) {
    SMeshText mesh;
    CLines lines(text);
    std::string_view line;
    // The keyword, then the three counts (on its line or the next ones).
    std::string_view rest;
    do {
        if (!lines.Next(line)) Damaged(op, path, lines.Number(), "no \"OFF\" line");
        rest = line;
    } while (Text::FirstWord(line).empty());
    std::string_view const key = Text::FirstWord(line, &rest);
    if (key != "OFF" && key != "COFF" && key != "NOFF" && key != "CNOFF" && key != "STOFF")
        Damaged(op, path, lines.Number(), "not an OFF file (no \"OFF\" keyword)");
    double counts[3] = {};
    int got = 0;
    for (;;) {
        char const* p = rest.data();
        got += Text::ScanDoublesAt(p, rest.data() + rest.size(), counts + got, 3 - got);
        if (got >= 2) break;
        if (!lines.Next(rest))
            Damaged(op, path, lines.Number(), "the counts of vertices and faces are missing");
    }
    // At least "0 0 0\n" a vertex and "3 0 0 0\n" a face.
    if (!(counts[0] >= 0 && counts[1] >= 0) || counts[0] != std::floor(counts[0]) ||
        counts[1] != std::floor(counts[1]) || counts[0] * 6 + counts[1] * 8 > double(lines.Left()) + 1)
        Damaged(op, path, lines.Number(),
                CQEL_String::FromFormat("%g vertices and %g faces cannot fit in the %lld bytes that follow",
                                        counts[0], counts[1], (long long)lines.Left())
                    .GetArray());
    std::int64_t const vertices = std::int64_t(counts[0]), faces = std::int64_t(counts[1]);
    mesh.xyz.reserve(std::size_t(vertices) * 3);
    for (std::int64_t v = 0; v < vertices;) {
        if (!lines.Next(line)) Damaged(op, path, lines.Number(), "the file ends before its vertices do");
        double values[3];
        char const* p = line.data();
        int const n = Text::ScanDoublesAt(p, line.data() + line.size(), values, 3);
        if (n == 0 && Text::FirstWord(line).empty()) continue;
        if (n != 3) Damaged(op, path, lines.Number(), "a vertex without three numbers");
        mesh.xyz.insert(mesh.xyz.end(), values, values + 3);
        ++v;
    }
    std::vector<std::int64_t> polygon;
    for (std::int64_t f = 0; f < faces;) {
        if (!lines.Next(line)) Damaged(op, path, lines.Number(), "the file ends before its faces do");
        if (Text::FirstWord(line).empty()) continue;
        char const* p = line.data();
        char const* const end = line.data() + line.size();
        double n = 0;
        if (Text::ScanDoublesAt(p, end, &n, 1) != 1 || !(n >= 0) || n != std::floor(n) ||
            n > double(line.size()))
            Damaged(op, path, lines.Number(), "a face without its corner count");
        polygon.clear();
        for (std::int64_t i = 0; i < std::int64_t(n); ++i) {
            double index = 0;
            if (Text::ScanDoublesAt(p, end, &index, 1) != 1)
                Damaged(op, path, lines.Number(), "a face with fewer corners than it announces");
            if (!(index >= 0 && index < double(vertices)) || index != std::floor(index))
                Damaged(op, path, lines.Number(),
                        CQEL_String::FromFormat("a face refers to vertex %g, but there are %lld vertices",
                                                index, (long long)vertices)
                            .GetArray());
            polygon.push_back(std::int64_t(index));
        }
        AddFan(polygon, mesh);
        ++f;
    }
    return mesh;
}

using Parse = SMeshText (*)(CQEL_Operation const&, CQEL_String const&, std::string_view);

// False when path cannot be opened.
bool Load(CQEL_Operation const& op, CQEL_String const& path, Parse parse, SMeshText& mesh) {
    CMappedInput input;
    if (!input.Open(path.GetArray())) return false;
    if (!input.Load()) TriangleFiles::ReadFailure(op, path);
    CFaultTranslationScope const faults;
    mesh = parse(op, path, input.Text());
    if (mesh.shortFaces > 0)
        CQEL_Output_Events::Warning(CQEL_String::FromFormat(
            "  %lld faces of fewer than three corners were skipped", (long long)mesh.shortFaces));
    if (mesh.xyz.size() / 3 > std::size_t(kMaxPointsInSet))
        op.Throw(QEL_FILE_READ_ERROR, "path",
                 CQEL_String::FromFormat("%s holds too many vertices", path.GetArray()));
    return true;
}

bool ReadMesh(char const* name, Parse parse, CQEL_String const& path, CTriangulation* target,
              SAssemblyOptions const& assembly, SAssemblyReport* report) {
    CQEL_Operation const op(name);
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "pTris", "Null Pointer");
        SMeshText mesh;
        if (!Load(op, path, parse, mesh)) return false;
        std::vector<float> xyz(mesh.xyz.begin(), mesh.xyz.end());
        SAssemblyReport const result = CTriangulation_Merge_Parts(*target).MergeIndexed(
            xyz.data(), int(xyz.size() / 3), mesh.corners.data(), std::int64_t(mesh.corners.size() / 3),
            assembly);
        TriangleFiles::AnnounceCounts(result);
        if (report) *report = result;
        return true;
    });
}

bool ReadPoints(char const* name, Parse parse, CQEL_String const& path, CPointSet* target) {
    CQEL_Operation const op(name);
    return op.Run([&] {
        op.Check(target != nullptr, QEL_NULL_PARAMETER, "target", "Null Pointer");
        SMeshText mesh;
        if (!Load(op, path, parse, mesh)) return false;
        if (!mesh.corners.empty())
            CQEL_Output_Events::Warning(
                CQEL_String::FromASCII("  the faces were ignored: the vertices were read as points"));
        bool const normals = mesh.normals.size() == mesh.xyz.size();
        CPointSectionAppender appender(*target, op);
        appender.StartSection();
        appender.SetAttributes(normals ? CPtsData::def | CPtsData::nms : CPtsData::def);
        for (std::size_t i = 0; i < mesh.xyz.size(); i += 3) {
            if (normals) {
                SPointRow& row = appender.NextRow();
                // positions, then normals, as the attribute table orders them
                for (int k = 0; k < 3; ++k)
                    row.value[k] = mesh.xyz[i + std::size_t(k)],
                    row.value[3 + k] = mesh.normals[i + std::size_t(k)];
            } else {
                appender.AddPosition(mesh.xyz[i], mesh.xyz[i + 1], mesh.xyz[i + 2]);
            }
        }
        appender.Flush();
        ReportPoints(appender.Points());
        return true;
    });
}

// "v x y z" / "x y z" lines, then faces.
class CTextOut {
  public:
    explicit CTextOut(COutputFile& file) : m_file(file) {}
    void Text(std::string_view text) { m_text += text; }
    void Value(double value) {
        char buffer[32];
        m_text.push_back(' ');
        m_text.append(buffer, Text::PrintDouble(buffer, value, 17));
    }
    void Int(std::int64_t value) {
        char buffer[24];
        m_text.push_back(' ');
        m_text.append(buffer, std::to_chars(buffer, buffer + 24, value).ptr);
    }
    void End() {
        m_text.push_back('\n');
        if (m_text.size() > (std::size_t(1) << 16)) Flush();
    }
    void Flush() {
        m_file.Write(m_text);
        m_text.clear();
    }

  private:
    COutputFile& m_file;
    std::string m_text;
};

}  // namespace

bool CObjOffParser::ReadOBJ(CQEL_String const& path, CTriangulation* target, SAssemblyOptions const& assembly,
                            SAssemblyReport* report) {
    return ReadMesh("QEL::Core::CObjOffParser::ReadOBJ", &ParseOBJ, path, target, assembly, report);
}
bool CObjOffParser::ReadOFF(CQEL_String const& path, CTriangulation* target, SAssemblyOptions const& assembly,
                            SAssemblyReport* report) {
    return ReadMesh("QEL::Core::CObjOffParser::ReadOFF", &ParseOFF, path, target, assembly, report);
}
bool CObjOffParser::ReadOBJPoints(CQEL_String const& path, CPointSet* target) {
    return ReadPoints("QEL::Core::CObjOffParser::ReadOBJPoints", &ParseOBJ, path, target);
}
bool CObjOffParser::ReadOFFPoints(CQEL_String const& path, CPointSet* target) {
    return ReadPoints("QEL::Core::CObjOffParser::ReadOFFPoints", &ParseOFF, path, target);
}

bool CObjOffParser::HoldsFaces(CQEL_String const& path) {
    static CQEL_Operation const op("QEL::Core::CObjOffParser::HoldsFaces");
    return op.Run([&] {
        CMappedInput input;
        if (!input.Open(path.GetArray())) return false;
        if (!input.Load()) TriangleFiles::ReadFailure(op, path);
        CFaultTranslationScope const faults;
        std::string_view const text = input.Text();
        std::string_view const extension =
            path.View().substr(path.View().size() >= 4 ? path.View().size() - 4 : 0);
        if (Text::EqualsNoCase(extension, ".off")) {
            // The face count: the second number after the keyword.
            CLines lines(text);
            std::string_view line, rest;
            while (lines.Next(line) && Text::FirstWord(line).empty()) {
            }
            Text::FirstWord(line, &rest);
            double counts[3] = {};
            int got = 0;
            for (;;) {
                char const* p = rest.data();
                got += Text::ScanDoublesAt(p, rest.data() + rest.size(), counts + got, 3 - got);
                if (got >= 2 || !lines.Next(rest)) break;
            }
            return got >= 2 && counts[1] > 0;
        }
        // An OBJ face line: "f" at a line's start.
        for (std::size_t at = 0; at < text.size();) {
            std::size_t end = text.find('\n', at);
            if (end == std::string_view::npos) end = text.size();
            if (Text::FirstWord(text.substr(at, end - at)) == "f") return true;
            at = end + 1;
        }
        return false;
    });
}

namespace {

template <class Body>
bool WriteText(char const* name, CQEL_String const& path, Body&& body) {
    CQEL_Operation const op(name);
    return op.Run([&] {
        COutputFile file;
        if (!file.Open(path.GetArray(), false)) return false;
        CTextOut out(file);
        body(out);
        out.Flush();
        file.Commit();
        return true;
    });
}

}  // namespace

bool CObjOffParser::WriteOBJ(CQEL_String const& path, CTriangulation const& source) {
    return WriteText("QEL::Core::CObjOffParser::WriteOBJ", path, [&](CTextOut& out) {
        TriangleFiles::STriangleView const view(source);
        out.Text("# written by QEL\n");
        for (int v = 0; v < source.GetNumPts(); ++v) {
            out.Text("v");
            out.Value(view.Vertex(v).get_x()), out.Value(view.Vertex(v).get_y()),
                out.Value(view.Vertex(v).get_z());
            out.End();
        }
        for (int t = 0; t < view.Triangles(); ++t) {
            out.Text("f");
            for (int k = 0; k < 3; ++k)
                out.Int(std::int64_t(view.Corner(t, k)) + 1);
            out.End();
        }
    });
}

bool CObjOffParser::WriteOFF(CQEL_String const& path, CTriangulation const& source) {
    return WriteText("QEL::Core::CObjOffParser::WriteOFF", path, [&](CTextOut& out) {
        TriangleFiles::STriangleView const view(source);
        out.Text("OFF\n");
        out.Text(std::to_string(source.GetNumPts()) + " " + std::to_string(view.Triangles()) + " 0\n");
        for (int v = 0; v < source.GetNumPts(); ++v) {
            out.Value(view.Vertex(v).get_x()), out.Value(view.Vertex(v).get_y()),
                out.Value(view.Vertex(v).get_z());
            out.End();
        }
        for (int t = 0; t < view.Triangles(); ++t) {
            out.Text("3");
            for (int k = 0; k < 3; ++k)
                out.Int(std::max(view.Corner(t, k), 0));
            out.End();
        }
    });
}

bool CObjOffParser::WriteOBJPoints(CQEL_String const& path, CPointSet const& source) {
    return WriteText("QEL::Core::CObjOffParser::WriteOBJPoints", path, [&](CTextOut& out) {
        out.Text("# written by QEL\n");
        bool normals = source.GetNumSec() > 0;
        for (int s = 0; s < source.GetNumSec(); ++s)
            normals = normals && source.get_Sec(s).HasMetaData(CPtsData::nms);
        for (int s = 0; s < source.GetNumSec(); ++s) {
            CPointSet_Section const& section = source.get_Sec(s);
            for (int i = 0; i < section.GetNumPts(); ++i) {
                auto const& p = section.get_Pts(i);
                out.Text("v");
                out.Value(p.x), out.Value(p.y), out.Value(p.z);
                out.End();
                if (!normals) continue;
                auto const& n = section.get_Nms(i);
                out.Text("vn");
                out.Value(n.x), out.Value(n.y), out.Value(n.z);
                out.End();
            }
        }
    });
}

bool CObjOffParser::WriteOFFPoints(CQEL_String const& path, CPointSet const& source) {
    return WriteText("QEL::Core::CObjOffParser::WriteOFFPoints", path, [&](CTextOut& out) {
        out.Text("OFF\n" + std::to_string(source.GetNumPts()) + " 0 0\n");
        for (int s = 0; s < source.GetNumSec(); ++s) {
            CPointSet_Section const& section = source.get_Sec(s);
            for (int i = 0; i < section.GetNumPts(); ++i) {
                auto const& p = section.get_Pts(i);
                out.Value(p.x), out.Value(p.y), out.Value(p.z);
                out.End();
            }
        }
    });
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// `qel create <shape> [options]`: runs one CPointSet_Create operation and
// prints a summary of the point set it made. Option names follow the
// library's parameter names (--spacing, --radius, --minor-radius, ...);
// points and vectors are written x,y,z.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CommandOptions.h"
#include "PointFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;
using QEL::Elements::CPlane3d;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace QEL::Tool {

void PrintPointSetSummary(char const* shape, CPointSet const& set) {
    auto point = [](CPoint3<double> const& p) {
        char text[128];
        std::snprintf(text, sizeof text, "(%.6g, %.6g, %.6g)", p.x, p.y, p.z);
        return std::string(text);
    };
    std::printf("%s: %d sections, %d points\n", shape, set.GetNumSec(), set.GetNumPts());
    std::printf("  attributes:     %s\n", AttributeNames(set.GetMetaDataFlags()).c_str());
    std::printf("  bounding box:   %s .. %s\n", point(set.GetMin()).c_str(), point(set.GetMax()).c_str());
    std::printf("  centre of mass: %s\n", point(set.GetCenMass()).c_str());
    std::printf("  memory:         %lld bytes\n", static_cast<long long>(set.GetApproxSize()));
}

namespace {

// --- the shapes ------------------------------------------------------------------------------

// The options of one shape, a flag and the source point set of the profile shapes.
struct SOptions : SShapeValues {
    bool flag = false;
    CPointSet const* source = nullptr;
};

class CShape {
  public:
    CShape(CLI::App& create, char const* name, char const* description) : m_name(name) {
        m_app = create.add_subcommand(name, description);
        m_app->callback([this] { Run(); });
        m_app->add_option(
            "-o,--output", m_output,
            "Also write the point set to this file (.qel .asc .dat .bin .cut .xyz .txt .pts .ply .obj .off)");
        m_app->add_option("--key", m_key, "Encipher a .qel output with this key");
    }
    CShape& Point(char const* name, char const* description, char const* fallback = nullptr) {
        AddTextOption(*m_app, m_options, name, description, fallback);
        return *this;
    }
    CShape& Number(char const* name, char const* description, double const* fallback = nullptr) {
        AddNumberOption(*m_app, m_options, name, description, fallback);
        return *this;
    }
    CShape& Count(char const* name, char const* description) {
        AddCountOption(*m_app, m_options, name, description, nullptr);
        return *this;
    }
    CShape& Flag(char const* name, char const* description) {
        m_app->add_flag(std::string("--") + name, m_options.flag, description);
        return *this;
    }
    CShape& Source() {
        m_app->add_option("--source-points", m_options.text["source-points"],
                          "Source point set: sections separated by '|', points by ';', x,y,z each");
        m_app->add_option("--source-sphere", m_options.text["source-sphere"],
                          "Source point set: a sphere about the origin, radius,spacing");
        return *this;
    }
    CShape& Does(std::function<void(CPointSet_Create&, SOptions const&)> action) {
        m_action = std::move(action);
        return *this;
    }

  private:
    void Run() {
        CPointSet set;
        CPointSet_Create create(set);
        SOptions options = m_options;
        if (m_options.text.count("source-points") || m_options.text.count("source-sphere"))
            MakeSource(options);
        m_action(create, options);
        PrintPointSetSummary(m_name, set);
        if (!m_output.empty()) {
            WritePointSets(m_output, {&set}, m_key, false, 17);
            std::printf("  written to:     %s%s\n", m_output.c_str(), m_key.empty() ? "" : " (enciphered)");
        }
    }
    void MakeSource(SOptions& options) {
        auto const& points = options.text["source-points"];
        auto const& sphere = options.text["source-sphere"];
        if (points.empty() == sphere.empty())
            throw CLI::ValidationError("--source-points/--source-sphere", "give exactly one source");
        m_source = std::make_shared<CPointSet>();
        if (!sphere.empty()) {
            std::vector<double> const v = ParseNumbers(sphere, "--source-sphere");
            if (v.size() != 2) throw CLI::ValidationError("--source-sphere", "expects radius,spacing");
            CPointSet_Create(*m_source).Sphere(CPoint3<double>(0, 0, 0), v[1], v[0]);
        } else {
            CPointSet_Modify modify(*m_source);
            for (std::string const& section : Split(points, '|')) {
                CPointSet_Section& added = modify.AppendSection();
                for (auto const& p : ParsePoints(section, "--source-points"))
                    added.AddPoint(p);
            }
        }
        options.source = m_source.get();
    }

    char const* m_name;
    CLI::App* m_app = nullptr;
    SOptions m_options;
    std::string m_output, m_key;
    std::shared_ptr<CPointSet> m_source;
    std::function<void(CPointSet_Create&, SOptions const&)> m_action;
};

}  // namespace

void AddCreateCommand(CLI::App& app) {
    auto* create = app.add_subcommand(
        "create", "Create a point set or a curve from a shape and print its summary (meshes: qel mesh)");
    create->require_subcommand(1);
    create->footer(
        "These shapes are point sets (sections of points). For triangle meshes of the same shapes\n"
        "(closed sphere, cuboid, cylinder, cone, torus, disc, sweeps): `qel mesh <shape>`.");
    create->preparse_callback([](std::size_t) { LimitMemory(); });
    static std::vector<std::unique_ptr<CShape>> shapes;
    auto shape = [&](char const* name, char const* description) -> CShape& {
        shapes.push_back(std::make_unique<CShape>(*create, name, description));
        return *shapes.back();
    };
    double const zero = 0.0;

    shape("sphere", "Sphere surface, one section per ring")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Number("spacing", "Point spacing")
        .Number("radius", "Radius, at least twice the spacing")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Sphere(o.Point("centre"), o.number.at("spacing"), o.number.at("radius"));
        });
    shape("circle", "Filled disc of concentric rings")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Point("normal", "Normal x,y,z", "0,0,1")
        .Number("spacing", "Point spacing")
        .Number("radius", "Radius")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Circle(o.Point("centre"), o.Vector("normal"), o.number.at("spacing"), o.number.at("radius"));
        });
    shape("cylinder", "Closed cylinder from start to end")
        .Point("start", "Centre of the first end x,y,z")
        .Point("end", "Centre of the second end x,y,z")
        .Number("spacing", "Point spacing")
        .Number("radius", "Radius")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Cylinder(o.Point("start"), o.Point("end"), o.number.at("spacing"), o.number.at("radius"));
        });
    shape("cone", "Cone from a base disc towards an apex")
        .Point("base-centre", "Centre of the base x,y,z")
        .Point("apex", "Apex x,y,z")
        .Number("spacing", "Point spacing")
        .Number("radius", "Base radius")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Cone(o.Point("base-centre"), o.Point("apex"), o.number.at("spacing"), o.number.at("radius"));
        });
    shape("torus", "Torus, one section per tube circle")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Point("axis", "Axis x,y,z", "0,0,1")
        .Number("spacing", "Point spacing")
        .Number("minor-radius", "Tube radius")
        .Number("major-radius", "Distance of the tube's centre from the axis")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Torus(o.Point("centre"), o.Vector("axis"), o.number.at("spacing"), o.number.at("minor-radius"),
                    o.number.at("major-radius"));
        });
    shape("cuboid", "Surface of an axis-aligned box")
        .Point("corner", "One corner x,y,z")
        .Point("opposite", "The opposite corner x,y,z")
        .Number("spacing", "Point spacing")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Cuboid(o.Point("corner"), o.Point("opposite"), o.number.at("spacing"));
        });
    shape("pcd", "Points on a pitch circle")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Point("axis", "Axis x,y,z", "0,0,1")
        .Point("ref-dir", "Direction of the first point x,y,z", "1,0,0")
        .Number("radius", "Radius")
        .Count("num-pts", "Number of points")
        .Number("angle", "Angle between points in radians (0: evenly around)", &zero)
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.PitchCircleDiameter(o.Point("centre"), o.Vector("axis"), o.Vector("ref-dir"),
                                  o.number.at("radius"), o.count.at("num-pts"), o.number.at("angle"));
        });
    shape("arc", "Circular arc through three points")
        .Point("first", "First point x,y,z")
        .Point("middle", "A point on the arc between x,y,z")
        .Point("last", "Last point x,y,z")
        .Point("normal", "Plane normal x,y,z (0,0,0: the points' own plane)", "0,0,0")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Arc(o.Point("first"), o.Point("middle"), o.Point("last"), o.Vector("normal"));
        });
    double const one = 1.0;
    shape("sinusoid", "Sine wave along a direction")
        .Point("origin", "Start x,y,z", "0,0,0")
        .Point("direction", "Direction x,y,z", "1,0,0")
        .Point("displacement", "Direction of the wave's displacement x,y,z", "0,1,0")
        .Number("length", "Length along the direction")
        .Number("amplitude", "Amplitude", &one)
        .Count("num-steps", "Steps (points - 1)")
        .Number("angular-span", "Angle covered over the length, radians")
        .Number("phase", "Phase at the start, radians", &zero)
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.Sinusoid(o.Point("origin"), o.Vector("direction"), o.Vector("displacement"),
                       o.number.at("length"), o.number.at("amplitude"), o.count.at("num-steps"),
                       o.number.at("angular-span"), o.number.at("phase"));
        });
    shape("grid", "Grid spanned by two vectors")
        .Point("origin", "Origin x,y,z", "0,0,0")
        .Point("primary", "Primary vector x,y,z")
        .Point("secondary", "Secondary vector x,y,z")
        .Count("num-pts-primary-axis", "Points along the primary vector")
        .Count("num-pts-secondary-axis", "Points along the secondary vector")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.InterpolatedGrid(o.Point("origin"), o.Vector("primary"), o.Vector("secondary"),
                               o.count.at("num-pts-primary-axis"), o.count.at("num-pts-secondary-axis"));
        });
    shape("grid4", "Bilinear grid between four corners")
        .Point("points", "Four corners x,y,z;x,y,z;x,y,z;x,y,z")
        .Count("num-pts-primary-axis", "Points from the first corner to the second")
        .Count("num-pts-secondary-axis", "Points from the first corner to the fourth")
        .Flag("order", "Put the corners in order by their principal axes first")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.GridFromFourPoints(ParsePoints(o.text.at("points"), "--points"),
                                 o.count.at("num-pts-primary-axis"), o.count.at("num-pts-secondary-axis"),
                                 o.flag);
        });
    shape("matrix", "Height field, one section per column")
        .Point("heights", "Rows separated by ';', values by ','")
        .Number("dx", "Column spacing (0: automatic)", &zero)
        .Number("dy", "Row spacing (0: automatic)", &zero)
        .Does([](CPointSet_Create& c, SOptions const& o) {
            std::vector<std::vector<double>> rows;
            for (std::string const& row : Split(o.text.at("heights"), ';'))
                rows.push_back(ParseNumbers(row, "--heights"));
            if (rows.empty()) throw CLI::ValidationError("--heights", "expects at least one row");
            for (auto const& row : rows)
                if (row.size() != rows.front().size())
                    throw CLI::ValidationError("--heights", "every row needs the same number of values");
            std::vector<double const*> pointers;
            for (auto const& row : rows)
                pointers.push_back(row.data());
            c.FromMatrix(pointers.data(), int(rows.size()), int(rows.front().size()), o.number.at("dx"),
                         o.number.at("dy"));
        });
    shape("array", "One section of the given points")
        .Point("points", "Points x,y,z;x,y,z;...")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.FromArray(ParsePoints(o.text.at("points"), "--points"));
        });
    auto& offset = shape("grid-offset", "Regular profiles of a source, offset along a signed axis");
    offset.Source().Number("spacing", "Profile spacing").Number("offset", "Offset along the axis");
    offset.Point("axis", "Signed axis: +x, -x, +y, -y, +z or -z", "+z")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            std::string const& axis = o.text.at("axis");
            double const s = o.number.at("spacing"), d = o.number.at("offset");
            if (axis == "+x") return c.GridOffsetPosX(*o.source, s, d);
            if (axis == "-x") return c.GridOffsetNegX(*o.source, s, d);
            if (axis == "+y") return c.GridOffsetPosY(*o.source, s, d);
            if (axis == "-y") return c.GridOffsetNegY(*o.source, s, d);
            if (axis == "+z") return c.GridOffsetPosZ(*o.source, s, d);
            if (axis == "-z") return c.GridOffsetNegZ(*o.source, s, d);
            throw CLI::ValidationError("--axis", "expects +x, -x, +y, -y, +z or -z");
        });
    shape("profile-intersections", "Profiles of a source across a direction")
        .Source()
        .Point("direction", "Direction across the profiles x,y,z")
        .Point("second-vector", "Direction along each profile x,y,z")
        .Number("spacing", "Profile spacing")
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.ProfileIntersections(*o.source, o.Vector("direction"), o.Vector("second-vector"),
                                   o.number.at("spacing"));
        });
    shape("profile-offset", "Profile of a source cut by a plane, offset within it")
        .Source()
        .Point("plane-point", "A point of the plane x,y,z", "0,0,0")
        .Point("plane-normal", "The plane's normal x,y,z")
        .Number("offset", "Offset within the plane", &zero)
        .Does([](CPointSet_Create& c, SOptions const& o) {
            c.ProfileOffset(*o.source, CPlane3d(o.Point("plane-point"), o.Vector("plane-normal")),
                            o.number.at("offset"));
        });
    AddCurveShapes(*create);
}

}  // namespace QEL::Tool

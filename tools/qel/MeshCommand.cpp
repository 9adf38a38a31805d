// SPDX-License-Identifier: MIT
// `qel mesh <shape> [options] [-o FILE]`: one CTriangulation_Create
// construction (solids, discs, sweeps, offsets), its summary and its file.
// Option names follow the library's parameter names (--radius, --splits,
// --size for approx_tri_size, ...); points and vectors are written x,y,z.
#include "MeshCommand.h"

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "CommandOptions.h"
#include "CurveFiles.h"
#include "MeshFiles.h"
#include "PointFiles.h"
#include "QelCommands.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace QEL::Tool {

CPointSet SMeshOptions::Profile(std::string const& name) const {
    std::string const file = name + "-file";
    if (Given(name) == Given(file))
        throw CLI::ValidationError("--" + name + "/--" + file, "give exactly one of them");
    CPointSet set;
    if (Given(file)) {
        auto sets = ReadPointSets(text.at(file), "");
        if (sets.empty()) throw std::runtime_error(text.at(file) + " holds no point set");
        set = *sets.front();
        return set;
    }
    CPointSet_Section& section = CPointSet_Modify(set).AppendSection();
    for (auto const& p : ParsePoints(text.at(name), "--" + name))
        section.AddPoint(p);
    return set;
}

CMeshShape::CMeshShape(CLI::App& mesh, char const* name, char const* description) : m_name(name) {
    m_app = mesh.add_subcommand(name, description);
    m_app->callback([this] { Run(); });
    m_app->add_option("-o,--output", m_output,
                      "Also write the mesh to this file (.stl .tri .raw .ply .obj .off, or .qel)");
    m_app->add_option("--key", m_key, "Encipher a .qel output with this key");
}

CMeshShape& CMeshShape::Point(char const* name, char const* description, char const* fallback) {
    AddTextOption(*m_app, m_options, name, description, fallback);
    return *this;
}

CMeshShape& CMeshShape::Number(char const* name, char const* description, double const* fallback) {
    AddNumberOption(*m_app, m_options, name, description, fallback);
    return *this;
}

CMeshShape& CMeshShape::Count(char const* name, char const* description, int const* fallback) {
    AddCountOption(*m_app, m_options, name, description, fallback);
    return *this;
}

CMeshShape& CMeshShape::Text(char const* name, char const* description, char const* fallback) {
    AddTextOption(*m_app, m_options, name, description, fallback);
    return *this;
}

CMeshShape& CMeshShape::Profile(char const* name, char const* description) {
    std::string const file = std::string(name) + "-file";
    m_app->add_option(std::string("--") + name, m_options.text[name],
                      std::string(description) + ": points x,y,z;x,y,z;...");
    m_app->add_option("--" + file, m_options.text[file],
                      std::string(description) + ": the first point set of a point file or .qel");
    return *this;
}

CMeshShape& CMeshShape::Does(MeshAction action) {
    m_action = std::move(action);
    return *this;
}

void CMeshShape::Run() {
    CTriangulation mesh;
    CTriangulation_Create create(mesh);
    m_action(create, m_options);
    PrintMeshSummary(m_name, mesh);
    if (!m_output.empty()) {
        WriteMesh(m_output, mesh, m_key);
        std::printf("  written to: %s%s\n", m_output.c_str(), m_key.empty() ? "" : " (enciphered)");
    }
}

CMeshShape& MeshShape(CLI::App& mesh, char const* name, char const* description) {
    static std::vector<std::unique_ptr<CMeshShape>> shapes;
    shapes.push_back(std::make_unique<CMeshShape>(mesh, name, description));
    return *shapes.back();
}

namespace {

// The curve of a tube: the index-th curve of a container, or a cubic through points.
CNURBS_Curve TubeCurve(SMeshOptions const& o) {
    if (o.Given("curve") == o.Given("through"))
        throw CLI::ValidationError("--curve/--through", "give exactly one of them");
    if (o.Given("through")) {
        CPointSet set = o.Profile("through");
        CNURBS_Curve curve;
        int const points = set.get_Sec(0).GetNumPts();
        CNURBS_Curve_Create(curve).InterpolateScan(set.get_Sec(0), points > 3 ? 3 : points - 1, 1);
        return curve;
    }
    CurveList curves = ReadCurves(o.Text("curve"), "");
    int const index = o.Count("curve-index");
    if (index < 0 || index >= int(curves.size()))
        throw std::runtime_error(o.Text("curve") + " holds " + std::to_string(curves.size()) +
                                 " curves: no curve " + std::to_string(index));
    return *curves[std::size_t(index)];
}

// "fraction:radius,fraction:radius,...".
CQEL_Array<CTriangulation_Create::sRadiusTransition> Transitions(std::string const& text) {
    CQEL_Array<CTriangulation_Create::sRadiusTransition> steps;
    if (text.empty()) return steps;
    for (std::string const& entry : Split(text, ',')) {
        std::vector<std::string> const parts = Split(entry, ':');
        if (parts.size() != 2)
            throw CLI::ValidationError("--radius-at", "expects fraction:radius pairs, got '" + entry + "'");
        steps.PushBack({ParseNumber(parts[0], "--radius-at"), ParseNumber(parts[1], "--radius-at")});
    }
    return steps;
}

}  // namespace

CLI::App& AddMeshCommand(CLI::App& app) {
    auto* mesh =
        app.add_subcommand("mesh",
                           "Create a triangle mesh (closed solids, discs, sweeps, offsets), print its "
                           "summary and write it (-o)");
    mesh->require_subcommand(1);
    mesh->preparse_callback([](std::size_t) { LimitMemory(); });
    mesh->footer(
        "Every shape prints the mesh's topology, area and volume, and writes it with -o FILE by extension.\n"
        "Point sets of the same shapes (sphere, cylinder, ...): `qel create`.");
    int const four = 4, zeroCount = 0, one = 1, twenty = 20;

    MeshShape(*mesh, "sphere", "Closed sphere: an octahedron split and pushed onto the sphere")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Number("radius", "Radius")
        .Count("splits", "Times every triangle is split in four (8 x 4^splits triangles)", &four)
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.Sphere(o.Point("centre"), o.Number("radius"), o.Count("splits"));
        });
    MeshShape(*mesh, "cuboid", "Closed axis-aligned box, two triangles per face, split flat")
        .Point("corner", "One corner x,y,z")
        .Point("opposite", "The opposite corner x,y,z")
        .Count("splits", "Times every triangle is split in four", &zeroCount)
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.Cuboid(o.Point("corner"), o.Point("opposite"), o.Count("splits"));
        });
    MeshShape(*mesh, "cylinder", "Closed cylinder: wall and both end discs")
        .Point("base-centre", "Centre of the base x,y,z")
        .Point("top-centre", "Centre of the top x,y,z")
        .Number("radius", "Radius")
        .Number("size", "Approximate triangle size")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.Cylinder(o.Point("base-centre"), o.Point("top-centre"), o.Number("radius"), o.Number("size"));
        });
    MeshShape(*mesh, "cone", "Closed cone: mantle to the apex and the base disc")
        .Point("base-centre", "Centre of the base x,y,z")
        .Point("apex", "Apex x,y,z")
        .Number("radius", "Base radius")
        .Number("size", "Approximate triangle size")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.Cone(o.Point("base-centre"), o.Point("apex"), o.Number("radius"), o.Number("size"));
        });
    MeshShape(*mesh, "torus", "Closed torus about an axis")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Point("normal", "Axis x,y,z", "0,0,1")
        .Number("major-radius", "Distance of the tube's centre from the axis")
        .Number("minor-radius", "Tube radius, at most the major radius")
        .Number("size", "Approximate triangle size")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.Torus(o.Point("centre"), o.Vector("normal"), o.Number("major-radius"), o.Number("minor-radius"),
                    o.Number("size"));
        });
    MeshShape(*mesh, "circle", "Flat disc facing its normal (open)")
        .Point("centre", "Centre x,y,z", "0,0,0")
        .Point("normal", "Normal x,y,z", "0,0,1")
        .Number("radius", "Radius")
        .Number("size", "Approximate triangle size")
        .Text("start-direction", "Direction of the rim's first point x,y,z (default: chosen from the normal)",
              "")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            CVector3<double> start;
            if (o.Given("start-direction")) start = o.Vector("start-direction");
            c.Circle(o.Point("centre"), o.Vector("normal"), o.Number("radius"), o.Number("size"),
                     o.Given("start-direction") ? &start : nullptr);
        });
    double const zero = 0.0;
    MeshShape(*mesh, "extrude", "A profile swept along a direction (open)")
        .Profile("profile", "The profile")
        .Point("direction", "Direction x,y,z", "0,0,1")
        .Number("start-offset", "Where the sweep starts along the direction", &zero)
        .Number("end-offset", "Where it ends")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.ExtrudeProfile(o.Profile("profile"), o.Vector("direction"), o.Number("start-offset"),
                             o.Number("end-offset"));
        });
    MeshShape(*mesh, "revolve", "A profile turned once round an axis (closed when it runs from axis to axis)")
        .Profile("profile", "The profile")
        .Point("axis-point", "A point of the axis x,y,z", "0,0,0")
        .Point("axis-direction", "Axis direction x,y,z", "0,0,1")
        .Number("size", "Approximate triangle size")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.FromRevolvedProfile(o.Profile("profile"), o.Point("axis-point"), o.Vector("axis-direction"),
                                  o.Number("size"));
        });
    MeshShape(*mesh, "tube", "Closed tube of varying radius along a NURBS curve")
        .Text("curve", "A .qel file with curves (see `qel create curve-*`, `qel fit`)", "")
        .Count("curve-index", "Which curve of the file", &zeroCount)
        .Text("through", "Or a cubic through points x,y,z;x,y,z;...", "")
        .Count("circles", "Circles along the curve", &twenty)
        .Number("size", "Approximate triangle size")
        .Number("start-radius", "Radius at the curve's start")
        .Number("end-radius", "Radius at the curve's end")
        .Text("radius-at", "Radii between: fraction of the length:radius,...", "")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.UsingVariableRadiusCirclesAlongCurve(o.Count("circles"), o.Number("size"),
                                                   o.Number("start-radius"), o.Number("end-radius"),
                                                   Transitions(o.Text("radius-at")), TubeCurve(o));
        });
    MeshShape(*mesh, "offset", "A mesh file's mesh moved outward along its vertex normals")
        .Text("input", "The mesh (.stl .tri .raw .ply .obj .off .qel)")
        .Number("distance", "Offset distance")
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            c.UsingOffsetFromTris(*ReadMesh(o.Text("input"), ""), o.Number("distance"));
        });
    MeshShape(*mesh, "shell", "A surface and its offset joined into one closed shell")
        .Text("input", "The surface (.stl .tri .raw .ply .obj .off .qel)")
        .Number("distance", "Offset distance")
        .Count("layers", "Bands of the wall along every boundary", &one)
        .Does([](CTriangulation_Create& c, SMeshOptions const& o) {
            auto const original = ReadMesh(o.Text("input"), "");
            CTriangulation offset;
            CTriangulation_Create(offset).UsingOffsetFromTris(*original, o.Number("distance"));
            if (!c.FromOriginalAndOffsetted(*original, offset, o.Count("layers")))
                throw std::runtime_error(o.Text("input") + " holds no triangles to join");
        });
    return *mesh;
}

}  // namespace QEL::Tool

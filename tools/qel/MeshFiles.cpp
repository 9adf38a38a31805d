// SPDX-License-Identifier: MIT
#include "MeshFiles.h"

#include <cctype>
#include <cstdio>
#include <stdexcept>

#include "PointFiles.h"

using namespace QEL::Core;

namespace QEL::Tool {

namespace {

std::string Extension(std::string const& path) {
    std::size_t const dot = path.find_last_of('.');
    std::size_t const slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    std::string extension = path.substr(dot);
    for (char& c : extension)
        c = char(std::tolower(static_cast<unsigned char>(c)));
    return extension;
}

CQEL_String File(std::string const& path) {
    return CQEL_String::FromUTF8(path.c_str());
}

struct SMeshes {
    std::vector<std::unique_ptr<ISerialisable>> objects;  // every entity read, in file order
    std::vector<CTriangulation const*> meshes;            // the triangulations among them
    int pointSets = 0;
    bool assembled = false;  // read through the triangle assembler
    SAssemblyReport report;

    void Add(std::unique_ptr<ISerialisable> object) {
        if (auto const* mesh = dynamic_cast<CTriangulation const*>(object.get()))
            meshes.push_back(mesh);
        else if (dynamic_cast<CPointSet const*>(object.get()))
            ++pointSets;
        else
            return;
        objects.push_back(std::move(object));
    }
};

SMeshes ReadContainer(std::string const& path, std::string const& key) {
    SMeshes read;
    CQELParser parser;
    if (!parser.Import(File(path), File(key)))
        throw std::runtime_error(key.empty() ? path + " is enciphered: give its key with --key"
                                             : "the key does not open " + path);
    while (parser.GetNumObjects() > 0)
        read.Add(std::unique_ptr<ISerialisable>(parser.DetachObject(0)));
    return read;
}

SMeshes ReadMeshFile(std::string const& path) {
    SMeshes read;
    CTriangulationParser parser;
    bool opened = false;
    if (Extension(path) == ".tri") {
        CQEL_ObjectList<CTriangulation> list;
        opened = parser.ReadTRIFile(File(path), &list);
        while (!list.IsEmpty())
            read.Add(list.Release(0));
    } else {
        auto mesh = std::make_unique<CTriangulation>();
        STriangleFormat const* format = FindTriangleFormat(File(path));
        opened = format && format->read(parser, File(path), mesh.get());
        read.Add(std::move(mesh));
    }
    if (!opened)
        throw std::runtime_error(Extension(path) == ".stl"
                                     ? "cannot read " + path +
                                           " (missing, or a binary STL file of the wrong size)"
                                     : "cannot open " + path);
    read.assembled = true;
    read.report = parser.GetLastReport();
    return read;
}

void WriteMeshFile(std::string const& path, CTriangulation const& mesh) {
    CTriangulationParser parser;
    STriangleFormat const* format = FindTriangleFormat(File(path));
    if (!format || !format->write(parser, File(path), mesh)) throw std::runtime_error("cannot write " + path);
}

}  // namespace

void PrintMeshSummary(std::string const& title, CTriangulation const& mesh,
                      SAssemblyReport const* assembled) {
    STriangulationTopology const t = CTriangulation_Analyse_Topology(mesh).Summarise();
    std::printf("%s: %d vertices, %d triangles", title.c_str(), t.vertices, t.triangles);
    if (!mesh.GetName().IsEmpty()) std::printf(", name \"%s\"", mesh.GetName().GetArray());
    std::printf("\n");
    if (assembled) {
        SAssemblyReport const& r = *assembled;
        std::printf(
            "  assembled: %lld corners of %lld triangles welded into %d vertices, %d degenerate triangle%s "
            "dropped, %d orientation conflict%s\n",
            (long long)r.cornersIn, (long long)r.trianglesIn, r.verticesOut, r.degenerateDropped,
            r.degenerateDropped == 1 ? "" : "s", r.orientationConflicts,
            r.orientationConflicts == 1 ? "" : "s");
    }
    std::printf("  %s, %d component%s, %d boundary edge%s in %d boundary loop%s, %d non-manifold edge%s",
                t.closed ? "closed" : "open", t.components, t.components == 1 ? "" : "s", t.boundaryEdges,
                t.boundaryEdges == 1 ? "" : "s", t.boundaryLoops, t.boundaryLoops == 1 ? "" : "s",
                t.nonManifoldEdges, t.nonManifoldEdges == 1 ? "" : "s");
    if (t.unusedVertices > 0) std::printf(", %d unused vertices", t.unusedVertices);
    std::printf("\n");
    if (t.vertices > 0)
        std::printf("  bounding box: (%g, %g, %g) to (%g, %g, %g)\n", t.min.x, t.min.y, t.min.z, t.max.x,
                    t.max.y, t.max.z);
    std::printf("  surface area: %.9g\n", t.area);
    if (t.hasVolume)
        std::printf("  enclosed volume: %.9g\n", t.volume);
    else
        std::printf("  enclosed volume: none (the mesh is open)\n");
    std::printf("  memory: %.1f bytes per triangle\n",
                t.triangles > 0 ? double(mesh.GetApproxSize()) / t.triangles : 0.0);
}

std::unique_ptr<CTriangulation> ReadMesh(std::string const& path, std::string const& key) {
    if (!IsContainer(path) && !IsMeshFile(path))
        throw std::runtime_error(path +
                                 " is not a mesh file: give .stl, .tri, .raw, .ply, .obj, .off or .qel");
    SMeshes read = IsContainer(path) ? ReadContainer(path, key) : ReadMeshFile(path);
    for (auto& object : read.objects)
        if (dynamic_cast<CTriangulation*>(object.get()))
            return std::unique_ptr<CTriangulation>(static_cast<CTriangulation*>(object.release()));
    throw std::runtime_error(path + " holds no triangulation");
}

void WriteMesh(std::string const& path, CTriangulation const& mesh, std::string const& key) {
    if (IsContainer(path)) {
        CQEL_Array<ISerialisable const*> objects;
        objects.PushBack(&mesh, 1);
        CQELParser().Export(File(path), objects, File(key));
        return;
    }
    if (!key.empty()) throw std::runtime_error("--key applies to .qel containers only");
    if (!FindTriangleFormat(File(path)))
        throw std::runtime_error("cannot write a mesh to " + path +
                                 ": give .stl, .tri, .raw, .ply, .obj, .off or .qel");
    WriteMeshFile(path, mesh);
}

bool IsMeshFile(std::string const& path) {
    if (!FindTriangleFormat(File(path))) return false;
    // A format for both (".ply", ".obj", ".off") holds a mesh when the file has faces.
    if (!FindPointFormat(File(path))) return true;
    return Extension(path) == ".ply" ? CPlyParser::HoldsFaces(File(path))
                                     : CObjOffParser::HoldsFaces(File(path));
}

bool ConvertMeshes(std::string const& in, std::string const& out, std::string const& key) {
    bool const meshIn = IsMeshFile(in);
    bool const containerWithMeshes = IsContainer(in);
    // An output format for both takes a mesh when one comes in, else points.
    bool const meshOut =
        FindTriangleFormat(File(out)) && (!FindPointFormat(File(out)) || meshIn || containerWithMeshes);
    bool const containerIn = IsContainer(in), containerOut = IsContainer(out);
    if (!meshIn && !containerIn) {
        if (meshOut)
            throw std::runtime_error(
                in + " holds points, and a point set cannot become a mesh file (" + Extension(out) +
                "): convert it to .qel, .asc, .dat, .bin, .cut, .xyz, .pts, .ply, .obj or .off");
        return false;
    }
    if (meshIn && !meshOut && !containerOut)
        throw std::runtime_error(in + " holds a mesh, which cannot become a point file (" + Extension(out) +
                                 "): convert it to .stl, .tri, .raw, .ply, .obj, .off or .qel");
    if (!key.empty() && !containerIn && !containerOut)
        throw std::runtime_error("--key applies to .qel containers only");

    SMeshes const read = containerIn ? ReadContainer(in, key) : ReadMeshFile(in);
    if (containerIn && read.meshes.empty()) {
        if (meshOut && !FindPointFormat(File(out)))
            throw std::runtime_error(in +
                                     " holds no triangulation, only point sets: convert them to .qel, .asc, "
                                     ".dat, .bin, .cut, .xyz, .pts, .ply, .obj or .off");
        return false;  // point sets only: the point sets' conversion
    }
    if (containerIn && !meshOut && !containerOut) {
        if (read.pointSets == 0)
            throw std::runtime_error(in + " holds triangulations only, which cannot become a point file (" +
                                     Extension(out) +
                                     "): convert them to .stl, .tri, .raw, .ply, .obj, .off or .qel");
        std::fprintf(stderr, "warning: the %zu triangulation%s of %s are not written to %s\n",
                     read.meshes.size(), read.meshes.size() == 1 ? "" : "s", in.c_str(), out.c_str());
        return false;
    }
    long long vertices = 0, triangles = 0;
    for (auto const& mesh : read.meshes)
        vertices += mesh->GetNumPts(), triangles += mesh->GetNumTris();
    if (containerOut) {
        CQEL_Array<ISerialisable const*> objects;
        for (auto const& object : read.objects)
            objects.PushBack(object.get(), 1);
        CQELParser().Export(File(out), objects, File(key));
    } else {
        if (read.meshes.size() > 1)
            throw std::runtime_error(in + " holds " + std::to_string(read.meshes.size()) +
                                     " triangulations and " + Extension(out) + " takes one: convert to .qel");
        if (read.pointSets > 0)
            std::fprintf(stderr, "warning: the %d point set%s of %s are not written to %s\n", read.pointSets,
                         read.pointSets == 1 ? "" : "s", in.c_str(), out.c_str());
        WriteMeshFile(out, *read.meshes.front());
    }
    std::printf("%s -> %s: %zu triangulation%s, %lld vertices, %lld triangles%s\n", in.c_str(), out.c_str(),
                read.meshes.size(), read.meshes.size() == 1 ? "" : "s", vertices, triangles,
                containerOut && !key.empty() ? " (enciphered)" : "");
    return true;
}

bool ShowMeshes(std::string const& path, std::string const& key) {
    SMeshes const read = IsContainer(path) ? ReadContainer(path, key) : ReadMeshFile(path);
    for (std::size_t i = 0; i < read.meshes.size(); ++i)
        PrintMeshSummary(read.meshes.size() == 1 ? "triangulation" : "triangulation " + std::to_string(i),
                         *read.meshes[i], read.assembled ? &read.report : nullptr);
    return !read.meshes.empty();
}

}  // namespace QEL::Tool

// SPDX-License-Identifier: MIT
// Writes small valid files of every format the fuzz targets read, as their
// starting corpus: qel_fuzz_seeds <folder> fills <folder>/<target>/.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "FuzzBlob.h"
#include "qel.h"
#include "test_helpers/HandBuiltMeshes.h"

using namespace QEL::Core;

namespace {

// A point set of two sections, the first with every stored attribute.
CPointSet MakePointSet() {
    CPointSet set(2, 3, CPtsData::def);
    set.get_Sec(0).AddMetaData(CPtsData::nms | CPtsData::cuv | CPtsData::cpt | CPtsData::cnm | CPtsData::col |
                               CPtsData::err | CPtsData::vel | CPtsData::sta | CPtsData::ind);
    for (int s = 0; s < 2; ++s)
        for (int i = 0; i < 3; ++i)
            set.get_Sec(s).set_Pts(i, CPoint3<double>(s, i, s + i));
    set.SetName(CQEL_String::FromASCII("seed"));
    unsigned char const user[] = {1, 2, 3};
    set.SetUserMetaData(CQEL_Array<unsigned char>(3, user));
    return set;
}

void WriteQEL(std::filesystem::path const& folder, char const* name, char const* key, int objects) {
    std::filesystem::create_directories(folder);
    std::vector<QEL::Fuzz::CFuzzBlob> blobs(static_cast<std::size_t>(objects));
    CPointSet const points = MakePointSet();
    CQEL_Array<ISerialisable const*> list;
    if (objects > 0) list.PushBack(&points, 1);
    for (int i = 0; i < objects; ++i) {
        blobs[std::size_t(i)].bytes.assign(std::size_t(8 + 5 * i), static_cast<unsigned char>('a' + i));
        list.PushBack(&blobs[std::size_t(i)], 1);
    }
    CQELParser parser;
    parser.SetKeyDerivationIterations(CQELParser::kMinIterations);  // keeps each fuzz run cheap
    parser.Export(CQEL_String::FromASCII((folder / name).c_str()), list, CQEL_String::FromASCII(key));
}

// A tetrahedron with a fin on one edge (non-manifold) and a flipped copy of
// one face: small, but through every rule of the triangle assembler.
CTriangulation MakeMesh() {
    double const c[][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1}};
    int const faces[][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}, {0, 1, 4}, {0, 1, 2}};
    CTriangulation mesh;
    CTriangulation_Merge_Parts assembler(mesh);
    for (auto const& f : faces)
        assembler.AddTriangle(CPoint3<double>(c[f[0]][0], c[f[0]][1], c[f[0]][2]),
                              CPoint3<double>(c[f[1]][0], c[f[1]][1], c[f[1]][2]),
                              CPoint3<double>(c[f[2]][0], c[f[2]][1], c[f[2]][2]));
    assembler.Merge();
    return mesh;
}

void WriteTriangleSeeds(std::filesystem::path const& root) {
    CTriangulation const mesh = MakeMesh();
    CTriangulationParser parser;
    for (char const* folder : {"stl", "stl_ascii", "tri", "raw"})
        std::filesystem::create_directories(root / folder);
    parser.WriteSTLFile(CQEL_String::FromASCII((root / "stl" / "mesh.stl").c_str()), mesh, CQEL_String());
    parser.WriteTRIFile(CQEL_String::FromASCII((root / "tri" / "mesh.tri").c_str()), mesh);
    parser.WriteRAWFile(CQEL_String::FromASCII((root / "raw" / "mesh.raw").c_str()), mesh);
    // Two triangulations in one ".tri" file.
    {
        std::ifstream in(root / "tri" / "mesh.tri", std::ios::binary);
        std::string const one((std::istreambuf_iterator<char>(in)), {});
        std::ofstream(root / "tri" / "two.tri", std::ios::binary) << one << one;
    }
    std::ofstream ascii(root / "stl_ascii" / "mesh.stl", std::ios::binary);
    ascii << "solid seed\n";
    for (CTriangulation_Triangle const& triangle : mesh.GetTriangles()) {
        ascii << "  facet normal 0 0 1\n    outer loop\n";
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Vertex const* v = triangle.Edge(k).GetVertex();
            ascii << "      vertex " << v->get_x() << ' ' << v->get_y() << ' ' << v->get_z() << "\n";
        }
        ascii << "    endloop\n  endfacet\n";
    }
    ascii << "endsolid seed\n";
}

// PLY: the mesh binary and as ASCII floats, and points with normals, colours and errors.
void WritePlySeeds(std::filesystem::path const& root) {
    std::filesystem::create_directories(root / "ply");
    auto path = [&](char const* name) { return CQEL_String::FromASCII((root / "ply" / name).c_str()); };
    CTriangulation const mesh = MakeMesh();
    CPlyParser::WriteTriangulation(path("mesh.ply"), mesh);
    SPlyOptions ascii;
    ascii.ascii = true;
    ascii.floatValues = true;
    ascii.significantDigits = 6;
    CPlyParser::WriteTriangulation(path("mesh_ascii.ply"), mesh, ascii);
    CPointSet points(1, 4, CPtsData::nms | CPtsData::col | CPtsData::err);
    for (int i = 0; i < 4; ++i) {
        points.get_Sec(0).set_Pts(i, CPoint3<double>(i, 2 * i, -i));
        points.get_Sec(0).set_Col(i, CPoint3<double>(0.5, 1, 0));
        points.get_Sec(0).set_Err(i, 0.25 * i);
    }
    CPlyParser::WritePointSet(path("points.ply"), points);
    CPlyParser::WritePointSet(path("points_ascii.ply"), points, ascii);
}

// Triangulation records as the container hands them over: a closed cube, a
// grid with a hole and a fin (unpaired edges) carrying every stored
// attribute, and an empty mesh.
void WriteMeshRecords(std::filesystem::path const& folder) {
    std::filesystem::create_directories(folder);
    QEL::Test::SHandMesh finned = QEL::Test::Grid(3, true);
    finned.points.push_back({1.5, 0.5, 1.0});
    finned.triangles.push_back({0, 1, int(finned.points.size()) - 1});
    CTriangulation meshes[3];
    QEL::Test::BuildInto(meshes[0], QEL::Test::Cube());
    QEL::Test::BuildInto(meshes[1], finned);
    meshes[1].AddPtsMetaData(CTrisData_Pts(0xBF));
    meshes[1].AddTrisMetaData(CTrisData_Tris(0x1FF));
    meshes[1].SetName(CQEL_String::FromASCII("seed"));
    for (int i = 0; i < 3; ++i) {
        CExportData data;
        meshes[i].Serialise(&data);
        std::string const path = (folder / ("mesh" + std::to_string(i) + ".rec")).string();
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr) throw std::runtime_error("cannot write " + path);
        data.ForEachRun(
            [&](unsigned char const* run, std::int64_t n) { std::fwrite(run, 1, std::size_t(n), file); });
        std::fclose(file);
    }
}

// NURBS curve records as the container hands them over: a rational cubic
// with a repeated knot, a quadratic arc, and a curve in the new state; and a
// container holding a curve beside a point set and a mesh.
void WriteCurveRecords(std::filesystem::path const& folder, std::filesystem::path const& qelFolder) {
    std::filesystem::create_directories(folder);
    CNURBS_Curve curves[3];
    curves[0].CheckSpace(7, 3);
    curves[0].EditKnotVector().set_Knots(5, curves[0].GetKnotVector().get_Knots(4));
    for (int i = 0; i < 7; ++i)
        curves[0].set_CtrlPts(i, CCtrlPoint(i, i % 3, -i, 0.5 + 0.25 * (i % 4)));
    curves[0].SetName(CQEL_String::FromASCII("seed"));
    curves[1].CheckSpace(3, 2);
    curves[1].set_CtrlPts(0, CCtrlPoint(1, 0, 0, 1));
    curves[1].set_CtrlPts(1, CCtrlPoint(0.5, 0.5, 0, 0.5));
    curves[1].set_CtrlPts(2, CCtrlPoint(0, 1, 0, 1));
    curves[1].SetClosed(true);
    for (int i = 0; i < 3; ++i) {
        CExportData data;
        curves[i].Serialise(&data);
        std::string const path = (folder / ("curve" + std::to_string(i) + ".rec")).string();
        std::FILE* file = std::fopen(path.c_str(), "wb");
        if (file == nullptr) throw std::runtime_error("cannot write " + path);
        data.ForEachRun(
            [&](unsigned char const* run, std::int64_t n) { std::fwrite(run, 1, std::size_t(n), file); });
        std::fclose(file);
    }
    CPointSet const points = MakePointSet();
    CTriangulation const mesh = MakeMesh();
    CQEL_Array<ISerialisable const*> list;
    list.PushBack(&points, 1);
    list.PushBack(&curves[0], 1);
    list.PushBack(&mesh, 1);
    CQELParser parser;
    parser.Export(CQEL_String::FromASCII((qelFolder / "curve.qel").c_str()), list, CQEL_String());
}

// OBJ and OFF: the mesh as written, and hand-written quads, negative indices and comments.
void WriteObjOffSeeds(std::filesystem::path const& root) {
    CTriangulation const mesh = MakeMesh();
    for (char const* folder : {"obj", "off"})
        std::filesystem::create_directories(root / folder);
    CObjOffParser::WriteOBJ(CQEL_String::FromASCII((root / "obj" / "mesh.obj").c_str()), mesh);
    CObjOffParser::WriteOFF(CQEL_String::FromASCII((root / "off" / "mesh.off").c_str()), mesh);
    std::ofstream(root / "obj" / "quads.obj", std::ios::binary)
        << "# quads\no q\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvn 0 0 1\ng top\nusemtl m\n"
           "f 1/1/1 2/1/1 3//1 4\nf -1 -2 -4\n";
    std::ofstream(root / "off" / "quad.off", std::ios::binary)
        << "OFF 4 1 0\n# corners\n0 0 0\n1 0 0\n1 1 0\n0 1 0\n4 0 1 2 3 255 0 0\n";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: qel_fuzz_seeds <folder>\n");
        return 2;
    }
    std::filesystem::path const root = argv[1];
    try {
        for (int n : {0, 1, 3}) {
            std::string const name = "blobs" + std::to_string(n) + ".qel";
            WriteQEL(root / "qel", name.c_str(), "", n);
            WriteQEL(root / "qel_key", name.c_str(), "fuzz", n);
        }
        WriteTriangleSeeds(root);
        WritePlySeeds(root);
        WriteObjOffSeeds(root);
        WriteMeshRecords(root / "qel_mesh");
        WriteCurveRecords(root / "qel_curve", root / "qel");
    } catch (std::exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    return 0;
}

// SPDX-License-Identifier: MIT
// CTriangulation_Create: sphere, cuboid, cylinder, cone, torus and disc.
#include <cmath>
#include <vector>

#include "core/CEntityTransform.h"
#include "core/CQEL_Operation.h"
#include "operations/triangulation/CTriangulation_Create.h"
#include "operations/triangulation/CTriangulation_Create_Build.h"
#include "operations/triangulation/CTriangulation_Modify.h"

namespace QEL::Core {

using namespace MeshBuild;
using V3 = CVector3<double>;
using P3 = CPoint3<double>;

namespace {

// A closed polyhedron of a few triangles, set and paired through the checked
// element operations: every edge is paired with the other triangle that
// holds both of its vertices.
void BuildPolyhedron(CTriangulation& target, std::vector<P3> const& points, std::vector<int> const& corners) {
    int const nPts = int(points.size()), nTris = int(corners.size() / 3);
    target.Reset();
    target.CheckSpace(nPts, nTris);
    for (int i = 0; i < nPts; ++i)
        target.get_Pts(i).SetPoint(points[std::size_t(i)]);
    for (int t = 0; t < nTris; ++t)
        for (int k = 0; k < 3; ++k)
            target.get_Tris(t).Edge(k).SetVertex(&target.get_Pts(corners[std::size_t(3 * t + k)]));
    auto holds = [&](int t, CTriangulation_Vertex const* v) {
        CTriangulation_Triangle const& tri = target.get_Tris(t);
        return tri.GetPt1() == v || tri.GetPt2() == v || tri.GetPt3() == v;
    };
    for (int t = 0; t < nTris; ++t)
        for (int k = 0; k < 3; ++k) {
            CTriangulation_Edge& e = target.get_Tris(t).Edge(k);
            if (!e.IsBoundary()) continue;
            for (int u = 0; u < nTris; ++u)
                if (u != t && holds(u, e.GetVertex()) && holds(u, e.GetEndVertex())) {
                    e.SetPairedEdgeFromTriangle(&target.get_Tris(u));
                    break;
                }
        }
}

// Rings of a disc from its centre (a single point) out to the rim, in frame
// at height z: ceil(radius / size) rings at equal steps of radius.
std::vector<std::vector<int>> AddDiscRings(SMesh& mesh, CTransform4<double> const& frame, double z,
                                           double radius, double size) {
    int const k = Pieces(radius, size, 1);
    std::vector<std::vector<int>> rings;
    rings.push_back(AddRing(mesh, frame, 0.0, z, 1));
    for (int i = 1; i <= k; ++i) {
        double const r = radius * i / k;
        rings.push_back(AddRing(mesh, frame, r, z, Pieces(2.0 * kPi * r, size, 3)));
    }
    return rings;
}

// The triangles of a disc's rings, facing +z of its frame (up) or -z.
void AddDiscTriangles(SMesh& mesh, std::vector<std::vector<int>> const& rings, bool up) {
    for (std::size_t i = 1; i < rings.size(); ++i)
        up ? AddBand(mesh, rings[i], rings[i - 1]) : AddBand(mesh, rings[i - 1], rings[i]);
}

// Upper bounds of the triangles of a disc and of a wall of bands.
double DiscTriangles(double radius, double size) {
    double const rings = std::ceil(radius / size) + 1.0;
    return 2.0 * rings * (2.0 * kPi * radius / size + 4.0);
}

void CheckCircleArguments(CQEL_Operation const& op, double radius, double size) {
    op.CheckRange(radius, 1e-6, 1e9, "radius");
    op.CheckRange(size, 1e-6, 1e9, "approx_tri_size");
    CheckTriangleBudget(op, DiscTriangles(radius, size), "approx_tri_size");
}

// Disc about centre facing normal; start is the rim's first direction (null:
// the default). Returns the unit start direction used.
V3 BuildCircle(CQEL_Operation const& op, CTriangulation& target, P3 const& centre, V3 const& normal,
               double radius, double size, V3 const* start) {
    CheckCircleArguments(op, radius, size);
    CheckDirection(op, normal, "normal");
    CTransform4<double> frame = AlongAxis(centre, normal);
    if (start) {
        V3 const n = normal.GetNormalised();
        V3 const across = *start - n * Dot(*start, n);
        op.Check(start->IsFinite() && across.Mag() > 1e-9 * start->Mag(), QEL_INVALID_PARAMETER,
                 "normal, startDirection", "Normal is parallel to start direction.");
        // Rotate and translate: the frame that carries +z onto the normal and +x onto the start.
        frame.CreatePCSTransform(centre, n, across).Invert();
    }
    SMesh mesh;
    AddDiscTriangles(mesh, AddDiscRings(mesh, frame, 0.0, radius, size), true);
    Fill(target, mesh);
    P3 const origin = frame.Apply(P3(0, 0, 0));
    return (V3(frame.Apply(P3(1, 0, 0))) - V3(origin)).GetNormalised();
}

// The start of a cylinder or cone from base towards top: the checks, the
// frame along the axis and the base disc facing away from the top.
struct SAxisSolid {
    CTransform4<double> frame;
    double height = 0.0;
    SMesh mesh;
    std::vector<int> rim;
};

SAxisSolid StartAxisSolid(CQEL_Operation const& op, P3 const& base, P3 const& top, double radius,
                          double size) {
    op.CheckRange(radius, 1e-6, 1e9, "radius");
    op.CheckRange(size, 1e-6, 1e9, "approx_tri_size");
    SAxisSolid solid;
    solid.height = (V3(top) - V3(base)).Mag();
    op.CheckRange(solid.height, 1e-6, 1e9, "height");
    double const around = 2.0 * kPi * radius / size + 4.0;
    CheckTriangleBudget(op, 2.0 * DiscTriangles(radius, size) + 2.0 * around * (solid.height / size + 1.0),
                        "approx_tri_size");
    solid.frame = AlongAxis(base, V3(top) - V3(base));
    auto const disc = AddDiscRings(solid.mesh, solid.frame, 0.0, radius, size);
    AddDiscTriangles(solid.mesh, disc, false);
    solid.rim = disc.back();
    return solid;
}

}  // namespace

void CTriangulation_Create::Sphere(CPoint3<double> const& centre, double radius, int number_of_splits) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Sphere");
    op.Run([&] {
        op.CheckRange(radius, 1e-6, 1e9, "radius");
        op.CheckRange(number_of_splits, 0, 1000000000, "number_of_splits");
        CheckTriangleBudget(op, 8.0 * std::pow(4.0, number_of_splits), "number_of_splits");
        // Octahedron: the face of octant (sx, sy, sz) joins the three axis
        // points on its side, ordered so that its normal points out.
        std::vector<P3> const points = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
        std::vector<int> corners;
        for (int octant = 0; octant < 8; ++octant) {
            int const x = octant & 1, y = 2 + ((octant >> 1) & 1), z = 4 + ((octant >> 2) & 1);
            bool const positive = ((octant & 1) + ((octant >> 1) & 1) + ((octant >> 2) & 1)) % 2 == 0;
            corners.insert(corners.end(), {x, positive ? y : z, positive ? z : y});
        }
        BuildPolyhedron(m_target, points, corners);
        // Room for the result at once, so that no split moves the arrays.
        int const faces = 8 << (2 * number_of_splits);
        m_target.CheckSpace(faces / 2 + 2, faces);
        m_target.CheckSpace(6, 8);
        CTriangulation_Modify modify(m_target);
        for (int split = 0; split < number_of_splits; ++split) {
            modify.SubdivideTriangles(1);
            for (CTriangulation_Vertex& v : m_target.EditVertices()) {
                double const length = V3(v.get_x(), v.get_y(), v.get_z()).Mag();
                v.RawSetPoint(v.get_x() / length, v.get_y() / length, v.get_z() / length);
            }
        }
        m_target.MarkAllModified();
        CTransform4<double> place;
        place.CreateScale(radius).PostTransform(CTransform4<double>().CreateTranslation(V3(centre)));
        m_target.Transform(CEntityTransform(place));
    });
}

void CTriangulation_Create::Cuboid(CPoint3<double> const& cornerPt, CPoint3<double> const& oppositeCornerPt,
                                   int number_of_splits) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Cuboid");
    op.Run([&] {
        op.CheckRange(number_of_splits, 0, 1000000000, "number_of_splits");
        V3 const d = V3(oppositeCornerPt) - V3(cornerPt);
        op.Check(d.IsFinite() && V3(cornerPt).IsFinite() && d.x != 0.0 && d.y != 0.0 && d.z != 0.0,
                 QEL_INVALID_PARAMETER, "cornerPt, oppositeCornerPt", "Points do not describe a volume.");
        CheckTriangleBudget(op, 12.0 * std::pow(4.0, number_of_splits), "number_of_splits");
        // Corner i at (x_i & 1, i & 2, i & 4) of the box from its lower to its
        // upper corner, whichever order the two were given in.
        P3 const lo(std::min(cornerPt.x, oppositeCornerPt.x), std::min(cornerPt.y, oppositeCornerPt.y),
                    std::min(cornerPt.z, oppositeCornerPt.z));
        P3 const hi(std::max(cornerPt.x, oppositeCornerPt.x), std::max(cornerPt.y, oppositeCornerPt.y),
                    std::max(cornerPt.z, oppositeCornerPt.z));
        std::vector<P3> points;
        for (int i = 0; i < 8; ++i)
            points.emplace_back(i & 1 ? hi.x : lo.x, i & 2 ? hi.y : lo.y, i & 4 ? hi.z : lo.z);
        std::vector<int> const corners = {0, 2, 3, 0, 3, 1,   // -z
                                          4, 5, 7, 4, 7, 6,   // +z
                                          0, 1, 5, 0, 5, 4,   // -y
                                          2, 6, 7, 2, 7, 3,   // +y
                                          0, 4, 6, 0, 6, 2,   // -x
                                          1, 3, 7, 1, 7, 5};  // +x
        BuildPolyhedron(m_target, points, corners);
        CTriangulation_Modify(m_target).SubdivideTriangles(number_of_splits);
    });
}

void CTriangulation_Create::Cylinder(CPoint3<double> const& baseCentre, CPoint3<double> const& topCentre,
                                     double radius, double approx_tri_size) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Cylinder");
    op.Run([&] {
        SAxisSolid solid = StartAxisSolid(op, baseCentre, topCentre, radius, approx_tri_size);
        SMesh& mesh = solid.mesh;
        CTransform4<double> const& frame = solid.frame;
        double const height = solid.height;
        // The wall: bands from the base's rim up to the top's rim.
        int const bands = Pieces(height, approx_tri_size, 1);
        std::vector<int> lower = solid.rim;
        for (int l = 1; l < bands; ++l) {
            std::vector<int> upper = AddRing(mesh, frame, radius, height * l / bands, int(lower.size()));
            AddBand(mesh, lower, upper);
            lower = std::move(upper);
        }
        auto const top = AddDiscRings(mesh, frame, height, radius, approx_tri_size);
        AddBand(mesh, lower, top.back());
        AddDiscTriangles(mesh, top, true);
        Fill(m_target, mesh);
    });
}

void CTriangulation_Create::Cone(CPoint3<double> const& baseCentre, CPoint3<double> const& apex,
                                 double radius, double approx_tri_size) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Cone");
    op.Run([&] {
        SAxisSolid solid = StartAxisSolid(op, baseCentre, apex, radius, approx_tri_size);
        SMesh& mesh = solid.mesh;
        double const height = solid.height;
        // The mantle: rings shrinking from the base's rim to the apex.
        int const bands = Pieces(height, approx_tri_size, 1);
        std::vector<int> lower = solid.rim;
        for (int l = 1; l <= bands; ++l) {
            double const r = radius * (bands - l) / bands;
            std::vector<int> upper = AddRing(mesh, solid.frame, r, height * l / bands,
                                             l == bands ? 1 : Pieces(2.0 * kPi * r, approx_tri_size, 3));
            AddBand(mesh, lower, upper);
            lower = std::move(upper);
        }
        Fill(m_target, mesh);
    });
}

void CTriangulation_Create::Torus(CPoint3<double> const& centre, CVector3<double> const& normal,
                                  double major_radius, double minor_radius, double approx_tri_size) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Torus");
    op.Run([&] {
        op.CheckRange(approx_tri_size, 1e-6, 1e9, "approx_tri_size");
        op.CheckRange(major_radius, 3.0 * approx_tri_size / (2.0 * kPi), 1e9, "major_radius");
        op.CheckRange(minor_radius, 1e-6, major_radius, "minor_radius");
        CheckDirection(op, normal, "normal");
        double const circles = std::ceil(2.0 * kPi * (major_radius + minor_radius) / approx_tri_size) + 3.0;
        double const around = std::ceil(2.0 * kPi * minor_radius / approx_tri_size) + 3.0;
        CheckTriangleBudget(op, 2.0 * circles * around, "approx_tri_size");
        int const n = Pieces(2.0 * kPi * (major_radius + minor_radius), approx_tri_size, 3);
        int const m = Pieces(2.0 * kPi * minor_radius, approx_tri_size, 3);
        // Tube circle i at angle 2 pi i / n about z, point j at angle 2 pi j / m
        // round the tube from the outer equator; then turned onto the normal and
        // moved to the centre.
        SMesh mesh;
        mesh.points.reserve(std::size_t(n) * std::size_t(m));
        for (int i = 0; i < n; ++i) {
            double const phi = 2.0 * kPi * i / n;
            for (int j = 0; j < m; ++j) {
                double const psi = 2.0 * kPi * j / m;
                double const rho = major_radius + minor_radius * std::cos(psi);
                mesh.Add(P3(rho * std::cos(phi), rho * std::sin(phi), minor_radius * std::sin(psi)));
            }
        }
        for (int i = 0; i < n; ++i)
            for (int j = 0; j < m; ++j) {
                int const a = i * m + j, b = ((i + 1) % n) * m + j;
                int const c = ((i + 1) % n) * m + (j + 1) % m, d = i * m + (j + 1) % m;
                mesh.Triangle(a, b, c);
                mesh.Triangle(a, c, d);
            }
        Fill(m_target, mesh);
        m_target.Transform(CEntityTransform(AlongAxis(centre, normal)));
    });
}

void CTriangulation_Create::Circle(CPoint3<double> const& centre, CVector3<double> const& normal,
                                   double radius, double approx_tri_size,
                                   CVector3<double> const* startDirection) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Circle");
    op.Run([&] { BuildCircle(op, m_target, centre, normal, radius, approx_tri_size, startDirection); });
}

void CTriangulation_Create::Circle(CPoint3<double> const& centre, CVector3<double> const& normal,
                                   double radius, double approx_tri_size,
                                   CQEL_Vector3_Updatable<double>& startDirection) {
    static CQEL_Operation const op("QEL::Core::CTriangulation_Create::Circle");
    op.Run([&] {
        V3 const given = startDirection;
        bool const none = given.x == 0.0 && given.y == 0.0 && given.z == 0.0;
        startDirection =
            BuildCircle(op, m_target, centre, normal, radius, approx_tri_size, none ? nullptr : &given);
    });
}

}  // namespace QEL::Core

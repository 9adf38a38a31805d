// SPDX-License-Identifier: MIT
// The building blocks of the generated triangulations (internal to the
// library): points and corner triples collected in plain arrays, rings of
// points about an axis, the band of triangles between two rings, and the
// filling of a triangulation from the collected lists with every shared edge
// paired.
#pragma once

#include <source_location>
#include <vector>

#include "core/CPoint3.h"
#include "core/CQEL_Operation.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"
#include "entities/CTriangulation.h"

namespace QEL::Core::MeshBuild {

using Elements::CPoint3;
using Elements::CTransform4;
using Elements::CVector3;

inline double const kPi = std::atan(1.0) * 4.0;

struct SMesh {
    std::vector<CPoint3<double>> points;
    std::vector<int> corners;  // three per triangle

    int Add(CPoint3<double> const& p) {
        points.push_back(p);
        return int(points.size()) - 1;
    }
    void Triangle(int a, int b, int c) { corners.insert(corners.end(), {a, b, c}); }
    int NumTris() const { return int(corners.size() / 3); }
};

// max(ceil(length / size), minimum): the pieces of a length.
int Pieces(double length, double size, int minimum);

// Refuses a result beyond the triangle limit (reason 14, param) before any
// work; triangles is an upper bound of the count.
void CheckTriangleBudget(CQEL_Operation const& op, double triangles, char const* param,
                         std::source_location where = std::source_location::current());

// Reason 14 "Invalid direction" for a zero or non-finite vector.
void CheckDirection(CQEL_Operation const& op, CVector3<double> const& v, char const* param,
                    std::source_location where = std::source_location::current());

// The frame at origin whose z axis is unit(axis), turned onto it by the
// smallest rotation from +z: local coordinates to world by Apply.
CTransform4<double> AlongAxis(CPoint3<double> const& origin, CVector3<double> const& axis);

// Ring of count points of radius r at height z, in frame, the first at angle
// phase from the frame's x axis, counter-clockwise about z; a count of 1 is
// the single point on the axis. Returns the points' numbers.
std::vector<int> AddRing(SMesh& mesh, CTransform4<double> const& frame, double r, double z, int count);

// The triangles between closed rings a and b (each at least one point, both
// starting at angle 0 and running the same way): the walk goes round both
// rings at once, always advancing the ring whose next point comes at the
// smaller fraction of a turn. Triangles are oriented as (a_i, a_i+1, b_j):
// their normals are (direction of travel) x (from a towards b).
void AddBand(SMesh& mesh, std::vector<int> const& a, std::vector<int> const& b);

// Resets target and fills it with mesh's points and triangles, every shared
// edge paired.
void Fill(CTriangulation& target, SMesh const& mesh);

}  // namespace QEL::Core::MeshBuild

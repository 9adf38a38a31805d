// SPDX-License-Identifier: MIT
// CTrisData_Pts and CTrisData_Tris: which optional attributes a
// triangulation's vertices and triangles carry.
//
// One bit per attribute, in the order in which the vertex and the triangle
// collection groups couple their collections, so that a group's active mask is
// its attribute set. The bit values are written into files and must never
// change. The first bits are always present: vertices Pts (1); triangles Tris
// (1), their unit normals Nms (2) and centres CoM (4), the last two computed
// from the geometry on demand.
//
// The tables kTrisPtsAttributes and kTrisTrisAttributes describe each
// attribute once (flag, 8-byte record tag, bytes per element, accessor stem),
// in bit order, for whatever walks the attributes generically (records,
// tools). Attributes that are computed or hold process pointers are marked
// as not stored.
#pragma once

#include <array>
#include <cstdint>

#include "core/CFlagSet.h"

namespace QEL::Core {

class CTrisData_Pts : public CFlagSet<CTrisData_Pts> {
  public:
    constexpr CTrisData_Pts() = default;
    constexpr explicit CTrisData_Pts(std::uint32_t bits) : CFlagSet<CTrisData_Pts>(bits) {}

    static const CTrisData_Pts Pts;  // the vertices, CTriangulation_Vertex; always present
    static const CTrisData_Pts Nms;  // vertex normal, CVector3<double>
    static const CTrisData_Pts CNm;  // a second vector, CVector3<double>
    static const CTrisData_Pts CUV;  // a (u, v) parameter pair, CPoint2<double>
    static const CTrisData_Pts Err;  // error value, double
    static const CTrisData_Pts Sta;  // status, int
    static const CTrisData_Pts Usr;  // user pointer, not owned, never stored
    static const CTrisData_Pts Vel;  // a scalar value, double

    static const CTrisData_Pts Default;  // Pts
    static const CTrisData_Pts All;
    static constexpr int kCount = 8;
};

inline constexpr CTrisData_Pts CTrisData_Pts::Pts{0x01};
inline constexpr CTrisData_Pts CTrisData_Pts::Nms{0x02};
inline constexpr CTrisData_Pts CTrisData_Pts::CNm{0x04};
inline constexpr CTrisData_Pts CTrisData_Pts::CUV{0x08};
inline constexpr CTrisData_Pts CTrisData_Pts::Err{0x10};
inline constexpr CTrisData_Pts CTrisData_Pts::Sta{0x20};
inline constexpr CTrisData_Pts CTrisData_Pts::Usr{0x40};
inline constexpr CTrisData_Pts CTrisData_Pts::Vel{0x80};
inline constexpr CTrisData_Pts CTrisData_Pts::Default{0x01};
inline constexpr CTrisData_Pts CTrisData_Pts::All{0xFF};

class CTrisData_Tris : public CFlagSet<CTrisData_Tris> {
  public:
    constexpr CTrisData_Tris() = default;
    constexpr explicit CTrisData_Tris(std::uint32_t bits) : CFlagSet<CTrisData_Tris>(bits) {}

    static const CTrisData_Tris Tris;  // the triangles, CTriangulation_Triangle; always present
    static const CTrisData_Tris Nms;   // unit normal, CVector3<double>, computed; always present
    static const CTrisData_Tris CoM;   // centre of mass, CPoint3<double>, computed; always present
    static const CTrisData_Tris CNm;   // a second vector, CVector3<double>
    static const CTrisData_Tris Col;   // colour, CQEL_Colour
    static const CTrisData_Tris Flag;  // a marker, bool
    static const CTrisData_Tris Ind;   // an index, int
    static const CTrisData_Tris Sta;   // status, int
    static const CTrisData_Tris Type;  // a type code, int
    static const CTrisData_Tris Usr;   // user pointer, not owned, never stored

    static const CTrisData_Tris Default;  // Tris | Nms | CoM
    static const CTrisData_Tris All;
    static constexpr int kCount = 10;
};

inline constexpr CTrisData_Tris CTrisData_Tris::Tris{0x001};
inline constexpr CTrisData_Tris CTrisData_Tris::Nms{0x002};
inline constexpr CTrisData_Tris CTrisData_Tris::CoM{0x004};
inline constexpr CTrisData_Tris CTrisData_Tris::CNm{0x008};
inline constexpr CTrisData_Tris CTrisData_Tris::Col{0x010};
inline constexpr CTrisData_Tris CTrisData_Tris::Flag{0x020};
inline constexpr CTrisData_Tris CTrisData_Tris::Ind{0x040};
inline constexpr CTrisData_Tris CTrisData_Tris::Sta{0x080};
inline constexpr CTrisData_Tris CTrisData_Tris::Type{0x100};
inline constexpr CTrisData_Tris CTrisData_Tris::Usr{0x200};
inline constexpr CTrisData_Tris CTrisData_Tris::Default{0x007};
inline constexpr CTrisData_Tris CTrisData_Tris::All{0x3FF};

// One attribute of a collection group.
template <class Flags>
struct STrisAttribute {
    Flags flag;
    char tag[9];       // record tag, 8 characters padded with spaces
    int elementSize;   // bytes per element in memory
    char const* name;  // accessor stem (get_<name>, set_<name>, Get<name>Array)
    bool stored;       // false: computed or a process pointer, never written to files
};

// The element sizes of the elements themselves (Pts, Tris) are those of
// CTriangulation_Vertex and CTriangulation_Triangle, whose stored form is the
// triangulation record's business; they are listed here as 0.
inline constexpr std::array<STrisAttribute<CTrisData_Pts>, CTrisData_Pts::kCount> kTrisPtsAttributes{{
    {CTrisData_Pts::Pts, "VERTICES", 0, "Pts", true},
    {CTrisData_Pts::Nms, "VNORMALS", 24, "Nms", true},
    {CTrisData_Pts::CNm, "VCNORMLS", 24, "CNm", true},
    {CTrisData_Pts::CUV, "VUVS    ", 16, "CUV", true},
    {CTrisData_Pts::Err, "VERRORS ", 8, "Err", true},
    {CTrisData_Pts::Sta, "VSTATUS ", 4, "Sta", true},
    {CTrisData_Pts::Usr, "VUSER   ", 8, "Usr", false},
    {CTrisData_Pts::Vel, "VVELS   ", 8, "Vel", true},
}};

inline constexpr std::array<STrisAttribute<CTrisData_Tris>, CTrisData_Tris::kCount> kTrisTrisAttributes{{
    {CTrisData_Tris::Tris, "TRIANGLS", 0, "Tris", true},
    {CTrisData_Tris::Nms, "TNORMALS", 24, "Nms", false},
    {CTrisData_Tris::CoM, "TCENTRES", 24, "CoM", false},
    {CTrisData_Tris::CNm, "TCNORMLS", 24, "CNm", true},
    {CTrisData_Tris::Col, "TCOLOURS", 4, "Col", true},
    {CTrisData_Tris::Flag, "TFLAGS  ", 1, "Flag", true},
    {CTrisData_Tris::Ind, "TINDICES", 4, "Ind", true},
    {CTrisData_Tris::Sta, "TSTATUS ", 4, "Sta", true},
    {CTrisData_Tris::Type, "TTYPES  ", 4, "Type", true},
    {CTrisData_Tris::Usr, "TUSER   ", 8, "Usr", false},
}};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CPtsData: which optional per-point attributes a point set section carries,
// and kPointAttributes, the one table that describes each attribute.
//
// One bit per attribute, in the order in which a section couples its
// collections. The bit values are written into files and must never change.
//
// The table drives everything that walks the attributes: the section's
// storage beyond its named members, the container record (one chunk per
// stored attribute, in table order), the ".asc" columns and the tool's names.
// A new attribute is one row; entities/CPointSet_Attributes.h gives typed
// access to it.
#pragma once

#include <cstdint>
#include <iterator>

#include "core/CFlagSet.h"

namespace QEL::Core {

// How an attribute's elements are held (types in entities/CPointSet_Attributes.h).
enum class EPointElement : unsigned char {
    Position,  // CQEL_Point3_Updatable<double>, marking its own changes
    Vector3,   // CVector3<double>
    Point3,    // CPoint3<double>
    Point2,    // CPoint2<double>
    Double,    // double
    Int16,     // std::int16_t
    Int32,     // std::int32_t
    Pointer,   // void*, a process pointer: never stored
};

struct SPointAttribute {
    std::uint32_t bit;      // the CPtsData flag (the next free bit for a new attribute)
    EPointElement element;  // what each point holds
    char tag[9];            // record chunk tag, 8 characters padded with spaces; "" never stored
    char const* columns;    // ".asc" column names, separated by spaces; "" none. A later row
                            // naming the same columns is written in them in place of an earlier
                            // one (associated normals in the normals' columns); reading fills the earlier
    char const* name;       // name in the qel tool
    char const* stem;       // accessor stem (get_<stem>, set_<stem>, Get<stem>Array), "" none
    double fill;            // value of new elements (each component); index -1 reads as no index
};

// In the order of the record's chunks.
inline constexpr SPointAttribute kPointAttributes[] = {
    {0x001, EPointElement::Position, "POINTS  ", "x y z", "positions", "Pts", 0.0},
    {0x002, EPointElement::Vector3, "NORMALS ", "i j k", "normals", "Nms", 0.0},
    {0x008, EPointElement::Point3, "CPOINTS ", "", "associated-points", "CPt", 0.0},
    {0x010, EPointElement::Vector3, "CNORMALS", "i j k", "associated-normals", "CNm", 0.0},
    {0x004, EPointElement::Point2, "UVS     ", "u v", "uvs", "CUV", 0.0},
    {0x020, EPointElement::Point3, "COLOURS ", "", "colours", "Col", 0.0},
    {0x040, EPointElement::Double, "ERRORS  ", "e", "errors", "Err", 0.0},
    {0x200, EPointElement::Int32, "INDICES ", "", "indices", "Ind", -1.0},
    {0x080, EPointElement::Double, "VELS    ", "", "velocities", "Vel", 0.0},
    {0x100, EPointElement::Int16, "STATUSES", "", "statuses", "Sta", 0.0},
    {0x400, EPointElement::Pointer, "", "", "user-pointers", "Usr", 0.0},
};

constexpr std::uint32_t AllPointAttributeBits() {
    std::uint32_t bits = 0;
    for (SPointAttribute const& a : kPointAttributes)
        bits |= a.bit;
    return bits;
}
// One bit each, and no gap: the bit's position is the collection's position in a section.
static_assert((AllPointAttributeBits() & (AllPointAttributeBits() + 1)) == 0 &&
              std::size(kPointAttributes) <= 32);

class CPtsData : public CFlagSet<CPtsData> {
  public:
    constexpr CPtsData() = default;
    constexpr explicit CPtsData(std::uint32_t bits) : CFlagSet<CPtsData>(bits) {}

    // The attributes of a section's named members and accessors.
    static const CPtsData def;  // point position, CQEL_Point3_Updatable<double>, (0, 0, 0)
    static const CPtsData nms;  // normal, CVector3<double>, zero vector
    static const CPtsData cuv;  // associated parameter pair, CPoint2<double>, (0, 0)
    static const CPtsData cpt;  // associated point, CPoint3<double>, (0, 0, 0)
    static const CPtsData cnm;  // associated normal, CVector3<double>, zero vector
    static const CPtsData col;  // colour as three doubles, CPoint3<double>, (0, 0, 0)
    static const CPtsData err;  // error value, double, 0
    static const CPtsData vel;  // velocity value, double, 0
    static const CPtsData sta;  // status word, signed 16-bit, 0
    static const CPtsData ind;  // index, signed 32-bit, -1 (never set reads as no index)
    static const CPtsData usr;  // user pointer, not owned, null

    // Every attribute of the table.
    static const CPtsData all;
    // Number of attributes, and so of a section's collections.
    static constexpr int kCount = int(std::size(kPointAttributes));
};

inline constexpr CPtsData CPtsData::def{0x001};
inline constexpr CPtsData CPtsData::nms{0x002};
inline constexpr CPtsData CPtsData::cuv{0x004};
inline constexpr CPtsData CPtsData::cpt{0x008};
inline constexpr CPtsData CPtsData::cnm{0x010};
inline constexpr CPtsData CPtsData::col{0x020};
inline constexpr CPtsData CPtsData::err{0x040};
inline constexpr CPtsData CPtsData::vel{0x080};
inline constexpr CPtsData CPtsData::sta{0x100};
inline constexpr CPtsData CPtsData::ind{0x200};
inline constexpr CPtsData CPtsData::usr{0x400};
inline constexpr CPtsData CPtsData::all{AllPointAttributeBits()};

}  // namespace QEL::Core

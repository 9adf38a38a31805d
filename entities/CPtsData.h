// SPDX-License-Identifier: MIT
// CPtsData: which optional per-point attributes a point set section carries.
//
// One bit per attribute, in the order in which a section couples its
// collections. The bit values are written into files and must never change.
#pragma once

#include <cstdint>

#include "core/CFlagSet.h"

namespace QEL::Core {

class CPtsData : public CFlagSet<CPtsData> {
  public:
    constexpr CPtsData() = default;
    constexpr explicit CPtsData(std::uint32_t bits) : CFlagSet<CPtsData>(bits) {}

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

    // Every attribute above.
    static const CPtsData all;
    // Number of attributes, and so of a section's collections.
    static constexpr int kCount = 11;
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
inline constexpr CPtsData CPtsData::all{0x7FF};

}  // namespace QEL::Core

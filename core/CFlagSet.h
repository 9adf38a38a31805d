// SPDX-License-Identifier: MIT
// CFlagSet<Derived>: a 32-bit unsigned flag word with the set operations.
//
// A concrete flag set derives from CFlagSet<itself> and names its flags as
// static constants, so that flags of one set cannot be mixed with another's
// (a point attribute is not a triangle attribute):
//
//     class CPtsData : public CFlagSet<CPtsData> { ... static const CPtsData nms; };
//     inline constexpr CPtsData CPtsData::nms{0x002};
//
// All operations are constexpr and never throw.
#pragma once

#include <cstdint>

namespace QEL::Core {

template <class Derived>
class CFlagSet {
  public:
    constexpr CFlagSet() = default;
    constexpr explicit CFlagSet(std::uint32_t bits) : m_bits(bits) {}

    // The raw flag word (stable across versions where the derived set says so).
    constexpr std::uint32_t GetBits() const { return m_bits; }
    constexpr bool IsEmpty() const { return m_bits == 0; }
    // True when every flag of other is set here (an empty other is always contained).
    constexpr bool Contains(Derived other) const { return (m_bits & other.m_bits) == other.m_bits; }
    // True when at least one flag of other is set here.
    constexpr bool Intersects(Derived other) const { return (m_bits & other.m_bits) != 0; }

    friend constexpr Derived operator&(Derived a, Derived b) { return Derived(a.m_bits & b.m_bits); }
    friend constexpr Derived operator|(Derived a, Derived b) { return Derived(a.m_bits | b.m_bits); }
    friend constexpr Derived operator^(Derived a, Derived b) { return Derived(a.m_bits ^ b.m_bits); }
    // Adding is the union; subtracting removes the other's flags.
    friend constexpr Derived operator+(Derived a, Derived b) { return Derived(a.m_bits | b.m_bits); }
    friend constexpr Derived operator-(Derived a, Derived b) { return Derived(a.m_bits & ~b.m_bits); }
    friend constexpr bool operator==(Derived a, Derived b) { return a.m_bits == b.m_bits; }
    constexpr Derived operator~() const { return Derived(~m_bits); }

    constexpr Derived& operator&=(Derived other) { return Assign(m_bits & other.m_bits); }
    constexpr Derived& operator|=(Derived other) { return Assign(m_bits | other.m_bits); }
    constexpr Derived& operator^=(Derived other) { return Assign(m_bits ^ other.m_bits); }
    constexpr Derived& operator+=(Derived other) { return Assign(m_bits | other.m_bits); }
    constexpr Derived& operator-=(Derived other) { return Assign(m_bits & ~other.m_bits); }

  private:
    constexpr Derived& Assign(std::uint32_t bits) {
        m_bits = bits;
        return static_cast<Derived&>(*this);
    }

    std::uint32_t m_bits = 0;
};

}  // namespace QEL::Core

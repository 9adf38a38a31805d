// SPDX-License-Identifier: MIT
// CVector2<T>: a direction or displacement in the plane, instantiated for int,
// float and double. The two-dimensional sibling of CVector3, with the same
// conventions: public fields x, y, trivially copyable, lengths of int vectors
// computed in double, a zero vector left as it is by Normalise.
#pragma once

#include <cmath>
#include <compare>
#include <type_traits>

#include "core/QEL_Elements_Common.h"

namespace QEL::Elements {

template <class T>
class CPoint2;

template <class T>
class CVector2 {
    static_assert(std::is_same_v<T, int> || std::is_same_v<T, float> || std::is_same_v<T, double>,
                  "CVector2 is defined for int, float and double");

  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0};

    // The zero vector.
    constexpr CVector2() = default;
    constexpr CVector2(T vx, T vy) : x(vx), y(vy) {}
    // Conversion between scalar types with static_cast (towards zero for int).
    template <class U>
    requires(!std::is_same_v<U, T>) explicit constexpr CVector2(CVector2<U> const& other)
        : x(T(other.x)), y(T(other.y)) {}
    // The position vector of a point.
    explicit constexpr CVector2(CPoint2<T> const& p) : x(p.x), y(p.y) {}

    // Component i: 0 for x, 1 for y; any other i yields the invalid reference.
    T& operator[](int i) { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T>(); }
    T const& operator[](int i) const { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T const>(); }

    constexpr CVector2 operator-() const { return {T(-x), T(-y)}; }
    constexpr CVector2 operator+(CVector2 const& v) const { return {T(x + v.x), T(y + v.y)}; }
    constexpr CVector2 operator-(CVector2 const& v) const { return {T(x - v.x), T(y - v.y)}; }
    constexpr CVector2 operator*(T s) const { return {T(x * s), T(y * s)}; }
    constexpr CVector2 operator/(T s) const { return {T(x / s), T(y / s)}; }
    constexpr CVector2& operator+=(CVector2 const& v) { return *this = *this + v; }
    constexpr CVector2& operator-=(CVector2 const& v) { return *this = *this - v; }
    constexpr CVector2& operator*=(T s) { return *this = *this * s; }
    constexpr CVector2& operator/=(T s) { return *this = *this / s; }
    friend constexpr CVector2 operator*(T s, CVector2 const& v) { return v * s; }

    constexpr T Dot(CVector2 const& v) const { return x * v.x + y * v.y; }
    // The z component of the cross product of (x, y, 0) and (v.x, v.y, 0):
    // positive when v lies counter-clockwise of this vector.
    constexpr T Cross(CVector2 const& v) const { return x * v.y - y * v.x; }
    // This vector turned by +90 degrees (counter-clockwise).
    constexpr CVector2 Perpendicular() const { return {T(-y), x}; }

    constexpr T MagSq() const { return Dot(*this); }
    real_type Mag() const {
        real_type const rx = real_type(x), ry = real_type(y);
        return std::sqrt(rx * rx + ry * ry);
    }
    constexpr bool IsZero() const { return x == T(0) && y == T(0); }

    // Scales to unit length, returns the former length; a zero vector is left
    // as it is and 0 returned. Float and double only.
    real_type Normalise() requires std::is_floating_point_v<T> {
        real_type const length = Mag();
        if (length != real_type(0)) {
            x /= length;
            y /= length;
        }
        return length;
    }
    CVector2 GetNormalised() const requires std::is_floating_point_v<T> {
        CVector2 unit = *this;
        unit.Normalise();
        return unit;
    }

    // The signed angle from this vector to v in radians, in (-pi, pi],
    // counter-clockwise positive; 0 if either vector is zero.
    real_type AngleTo(CVector2 const& v) const {
        real_type const ax = real_type(x), ay = real_type(y), bx = real_type(v.x), by = real_type(v.y);
        return std::atan2(ax * by - ay * bx, ax * bx + ay * by);
    }

    constexpr bool operator==(CVector2 const&) const = default;
    constexpr auto operator<=>(CVector2 const&) const = default;
    constexpr bool IsEqual(CVector2 const& v, T tolerance) const {
        auto const near = [tolerance](T a, T b) { return (a > b ? a - b : b - a) <= tolerance; };
        return near(x, v.x) && near(y, v.y);
    }
};

static_assert(std::is_trivially_copyable_v<CVector2<double>> && sizeof(CVector2<double>) == 16);

}  // namespace QEL::Elements

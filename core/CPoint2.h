// SPDX-License-Identifier: MIT
// CPoint2<T>: a position in the plane (or a parameter pair u, v), instantiated
// for int, float and double. The two-dimensional sibling of CPoint3: public
// fields x, y, trivially copyable, affine arithmetic (point - point = vector,
// point +/- vector = point).
#pragma once

#include <compare>
#include <type_traits>

#include "core/CVector2.h"
#include "core/QEL_Elements_Common.h"

namespace QEL::Elements {

template <class T>
class CPoint2 {
    static_assert(std::is_same_v<T, int> || std::is_same_v<T, float> || std::is_same_v<T, double>,
                  "CPoint2 is defined for int, float and double");

  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0};

    // The origin.
    constexpr CPoint2() = default;
    constexpr CPoint2(T px, T py) : x(px), y(py) {}
    // Conversion between scalar types with static_cast (towards zero for int).
    template <class U>
    requires(!std::is_same_v<U, T>) explicit constexpr CPoint2(CPoint2<U> const& other)
        : x(T(other.x)), y(T(other.y)) {}
    explicit constexpr CPoint2(CVector2<T> const& v) : x(v.x), y(v.y) {}

    // Component i: 0 for x, 1 for y; any other i yields the invalid reference.
    T& operator[](int i) { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T>(); }
    T const& operator[](int i) const { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T const>(); }

    constexpr CVector2<T> ToVector() const { return {x, y}; }

    constexpr CVector2<T> operator-(CPoint2 const& p) const { return {T(x - p.x), T(y - p.y)}; }
    constexpr CPoint2 operator+(CVector2<T> const& v) const { return {T(x + v.x), T(y + v.y)}; }
    constexpr CPoint2 operator-(CVector2<T> const& v) const { return {T(x - v.x), T(y - v.y)}; }
    constexpr CPoint2& operator+=(CVector2<T> const& v) { return *this = *this + v; }
    constexpr CPoint2& operator-=(CVector2<T> const& v) { return *this = *this - v; }

    constexpr T DistanceSq(CPoint2 const& p) const { return (*this - p).MagSq(); }
    real_type Distance(CPoint2 const& p) const { return (*this - p).Mag(); }

    constexpr bool operator==(CPoint2 const&) const = default;
    constexpr auto operator<=>(CPoint2 const&) const = default;
    constexpr bool IsEqual(CPoint2 const& p, T tolerance) const {
        return ToVector().IsEqual(p.ToVector(), tolerance);
    }
};

// The point a + t (b - a) (float and double).
template <class T>
requires std::is_floating_point_v<T>
constexpr CPoint2<T> Lerp(CPoint2<T> const& a, CPoint2<T> const& b, T t) {
    return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y)};
}

static_assert(std::is_trivially_copyable_v<CPoint2<double>> && sizeof(CPoint2<double>) == 16);

}  // namespace QEL::Elements

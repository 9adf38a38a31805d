// SPDX-License-Identifier: MIT
// CPoint3<T>: a position in three dimensions, instantiated for int, float and
// double.
//
// A plain value with public fields x, y, z: trivially copyable, no heap
// storage, stored raw in arrays and files (CPoint3<double> is exactly 24
// bytes). The arithmetic is that of an affine space: point - point is a
// vector, point +/- vector is a point; points are not added to each other or
// scaled (use Lerp or the position vector ToVector() for centroids). A
// transform moves a point with its translation and projective row (CTransform4).
//
// The point set also stores colours as CPoint3<double> (r, g, b); they are
// positions in colour space as far as this type is concerned.
#pragma once

#include <cmath>
#include <compare>
#include <type_traits>

#include "core/CVector3.h"
#include "core/QEL_Elements_Common.h"

namespace QEL::Elements {

template <class T>
class CPoint3 {
    static_assert(std::is_same_v<T, int> || std::is_same_v<T, float> || std::is_same_v<T, double>,
                  "CPoint3 is defined for int, float and double");

  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0}, z{0};

    // The origin.
    constexpr CPoint3() = default;
    constexpr CPoint3(T px, T py, T pz) : x(px), y(py), z(pz) {}
    // Conversion between scalar types with static_cast (towards zero for int).
    template <class U>
    requires(!std::is_same_v<U, T>) explicit constexpr CPoint3(CPoint3<U> const& other)
        : x(T(other.x)), y(T(other.y)), z(T(other.z)) {}
    // The point at the tip of v placed at the origin.
    explicit constexpr CPoint3(CVector3<T> const& v) : x(v.x), y(v.y), z(v.z) {}

    // The point with every component kUndefinedValue (double only).
    static constexpr CPoint3 Undefined() requires std::is_same_v<T, double> {
        return {kUndefinedValue, kUndefinedValue, kUndefinedValue};
    }
    // Any component equals kUndefinedValue.
    constexpr bool IsUndefined() const requires std::is_same_v<T, double> {
        return Elements::IsUndefined(x) || Elements::IsUndefined(y) || Elements::IsUndefined(z);
    }

    // Component i: 0 for x, 1 for y, 2 for z. Unchecked: any other i yields
    // the library's invalid reference, which faults on first use.
    T& operator[](int i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T>(); }
    T const& operator[](int i) const {
        return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T const>();
    }

    // The position vector (from the origin to this point).
    constexpr CVector3<T> ToVector() const { return {x, y, z}; }

    // --- affine arithmetic ------------------------------------------------------
    // The vector from p to this point.
    constexpr CVector3<T> operator-(CPoint3 const& p) const { return {T(x - p.x), T(y - p.y), T(z - p.z)}; }
    constexpr CPoint3 operator+(CVector3<T> const& v) const { return {T(x + v.x), T(y + v.y), T(z + v.z)}; }
    constexpr CPoint3 operator-(CVector3<T> const& v) const { return {T(x - v.x), T(y - v.y), T(z - v.z)}; }
    constexpr CPoint3& operator+=(CVector3<T> const& v) { return *this = *this + v; }
    constexpr CPoint3& operator-=(CVector3<T> const& v) { return *this = *this - v; }

    // --- distances --------------------------------------------------------------
    constexpr T DistanceSq(CPoint3 const& p) const { return (*this - p).MagSq(); }
    real_type Distance(CPoint3 const& p) const { return (*this - p).Mag(); }

    // --- comparison -------------------------------------------------------------
    // Exact component comparison; ordering is lexicographic by x, y, z.
    constexpr bool operator==(CPoint3 const&) const = default;
    constexpr auto operator<=>(CPoint3 const&) const = default;
    // True when no coordinate differs by more than tolerance (absolute, >= 0).
    constexpr bool IsEqual(CPoint3 const& p, T tolerance) const {
        return ToVector().IsEqual(p.ToVector(), tolerance);
    }
};

// The point a + t (b - a): a for t = 0, b for t = 1 (float and double).
template <class T>
requires std::is_floating_point_v<T>
constexpr CPoint3<T> Lerp(CPoint3<T> const& a, CPoint3<T> const& b, T t) {
    return {a.x + t * (b.x - a.x), a.y + t * (b.y - a.y), a.z + t * (b.z - a.z)};
}
template <class T>
requires std::is_floating_point_v<T>
constexpr CPoint3<T> Midpoint(CPoint3<T> const& a, CPoint3<T> const& b) {
    return {(a.x + b.x) / 2, (a.y + b.y) / 2, (a.z + b.z) / 2};
}
template <class T>
Detail::RealType<T> Distance(CPoint3<T> const& a, CPoint3<T> const& b) {
    return a.Distance(b);
}

static_assert(std::is_trivially_copyable_v<CPoint3<double>> && sizeof(CPoint3<double>) == 24);
static_assert(std::is_trivially_copyable_v<CPoint3<float>> && sizeof(CPoint3<float>) == 12);
static_assert(std::is_trivially_copyable_v<CPoint3<int>> && sizeof(CPoint3<int>) == 12);

}  // namespace QEL::Elements

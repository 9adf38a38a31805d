// SPDX-License-Identifier: MIT
// CVector3<T>: a direction or displacement in three dimensions, instantiated
// for int, float and double.
//
// A plain value with public fields x, y, z: trivially copyable, no heap
// storage, stored raw in arrays and files (CVector3<double> is 24 bytes).
// A vector differs from a point (CPoint3) in how a transform acts on it: a
// vector is moved by the linear part only, never translated (CTransform4).
//
// Lengths, normalisation and angles of CVector3<int> are computed in double
// (RealType); dot products and squared lengths of int vectors are int and may
// overflow for components beyond about 26000.
#pragma once

#include <cmath>
#include <compare>
#include <type_traits>

#include "core/QEL_Elements_Common.h"

namespace QEL::Elements {

template <class T>
class CPoint3;

template <class T>
class CVector3 {
    static_assert(std::is_same_v<T, int> || std::is_same_v<T, float> || std::is_same_v<T, double>,
                  "CVector3 is defined for int, float and double");

  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0}, z{0};

    // The zero vector.
    constexpr CVector3() = default;
    constexpr CVector3(T vx, T vy, T vz) : x(vx), y(vy), z(vz) {}
    // Conversion between scalar types with static_cast (towards zero for int).
    template <class U>
    requires(!std::is_same_v<U, T>) explicit constexpr CVector3(CVector3<U> const& other)
        : x(T(other.x)), y(T(other.y)), z(T(other.z)) {}
    // The position vector of a point: from the origin to p.
    explicit constexpr CVector3(CPoint3<T> const& p) : x(p.x), y(p.y), z(p.z) {}

    // Component i: 0 for x, 1 for y, 2 for z. Unchecked: any other i yields
    // the library's invalid reference, which faults on first use.
    T& operator[](int i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T>(); }
    T const& operator[](int i) const {
        return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T const>();
    }

    // --- arithmetic -----------------------------------------------------------
    constexpr CVector3 operator-() const { return {T(-x), T(-y), T(-z)}; }
    constexpr CVector3 operator+(CVector3 const& v) const { return {T(x + v.x), T(y + v.y), T(z + v.z)}; }
    constexpr CVector3 operator-(CVector3 const& v) const { return {T(x - v.x), T(y - v.y), T(z - v.z)}; }
    constexpr CVector3 operator*(T s) const { return {T(x * s), T(y * s), T(z * s)}; }
    // Division by 0 follows IEEE arithmetic for float and double and is
    // undefined for int, as for the bare scalars.
    constexpr CVector3 operator/(T s) const { return {T(x / s), T(y / s), T(z / s)}; }
    constexpr CVector3& operator+=(CVector3 const& v) { return *this = *this + v; }
    constexpr CVector3& operator-=(CVector3 const& v) { return *this = *this - v; }
    constexpr CVector3& operator*=(T s) { return *this = *this * s; }
    constexpr CVector3& operator/=(T s) { return *this = *this / s; }
    friend constexpr CVector3 operator*(T s, CVector3 const& v) { return v * s; }

    // Scalar (dot) product.
    constexpr T Dot(CVector3 const& v) const { return x * v.x + y * v.y + z * v.z; }
    // Vector (cross) product; right-handed: X.Cross(Y) == Z.
    constexpr CVector3 Cross(CVector3 const& v) const {
        return {T(y * v.z - z * v.y), T(z * v.x - x * v.z), T(x * v.y - y * v.x)};
    }

    // --- length and direction ---------------------------------------------------
    // Squared length (magnitude).
    constexpr T MagSq() const { return Dot(*this); }
    // Length (magnitude), sqrt of the squared length computed in real_type
    // (so int vectors do not overflow; doubles overflow beyond about 1e154).
    real_type Mag() const {
        real_type const rx = real_type(x), ry = real_type(y), rz = real_type(z);
        return std::sqrt(rx * rx + ry * ry + rz * rz);
    }
    // Exactly the zero vector.
    constexpr bool IsZero() const { return x == T(0) && y == T(0) && z == T(0); }
    // No component is infinite or NaN.
    bool IsFinite() const {
        return std::isfinite(double(x)) && std::isfinite(double(y)) && std::isfinite(double(z));
    }

    // Scales this vector to unit length and returns its former length. A zero
    // vector (length exactly 0) is left as it is and 0 is returned: callers that
    // need a direction test the result. Infinite or NaN components give NaN
    // components. Float and double only.
    real_type Normalise() requires std::is_floating_point_v<T> {
        real_type const length = Mag();
        if (length != real_type(0)) {
            x /= length;
            y /= length;
            z /= length;
        }
        return length;
    }
    // A unit copy; the zero vector stays zero (see Normalise).
    CVector3 GetNormalised() const requires std::is_floating_point_v<T> {
        CVector3 unit = *this;
        unit.Normalise();
        return unit;
    }

    // The angle to v in radians, in [0, pi]; 0 if either vector is zero.
    // Computed as atan2(|a x b|, a . b), accurate also for nearly parallel vectors.
    real_type AngleTo(CVector3 const& v) const {
        CVector3<real_type> const a{real_type(x), real_type(y), real_type(z)};
        CVector3<real_type> const b{real_type(v.x), real_type(v.y), real_type(v.z)};
        return std::atan2(a.Cross(b).Mag(), a.Dot(b));
    }

    // --- comparison -------------------------------------------------------------
    // Exact component comparison; ordering is lexicographic by x, y, z.
    constexpr bool operator==(CVector3 const&) const = default;
    constexpr auto operator<=>(CVector3 const&) const = default;
    // True when no component differs by more than tolerance (absolute, >= 0).
    constexpr bool IsEqual(CVector3 const& v, T tolerance) const {
        auto const near = [tolerance](T a, T b) { return (a > b ? a - b : b - a) <= tolerance; };
        return near(x, v.x) && near(y, v.y) && near(z, v.z);
    }
};

template <class T>
constexpr T Dot(CVector3<T> const& a, CVector3<T> const& b) {
    return a.Dot(b);
}
template <class T>
constexpr CVector3<T> Cross(CVector3<T> const& a, CVector3<T> const& b) {
    return a.Cross(b);
}

static_assert(std::is_trivially_copyable_v<CVector3<double>> && sizeof(CVector3<double>) == 24);
static_assert(std::is_trivially_copyable_v<CVector3<float>> && sizeof(CVector3<float>) == 12);
static_assert(std::is_trivially_copyable_v<CVector3<int>> && sizeof(CVector3<int>) == 12);

}  // namespace QEL::Elements

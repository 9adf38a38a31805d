// SPDX-License-Identifier: MIT
// CQEL_Vector2_Updatable<T>: the two-dimensional sibling of
// CQEL_Vector3_Updatable, with the same contract: public fields x, y and a
// modified flag, trivially copyable (24 bytes for double); setters, Set,
// assignment from a CVector2, the compound operators, Normalise and Transform
// mark; direct field writes, ref_... and RawSet... do not. Transform takes the
// vector as (x, y, 0), applies the linear part of CTransform4 and keeps x, y.
#pragma once

#include <type_traits>

#include "core/CTransform4.h"
#include "core/CVector2.h"

namespace QEL::Elements {

template <class T>
class CQEL_Vector2_Updatable {
  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0};

    constexpr CQEL_Vector2_Updatable() = default;
    constexpr CQEL_Vector2_Updatable(T vx, T vy) : x(vx), y(vy) {}
    constexpr CQEL_Vector2_Updatable(CVector2<T> const& v) : x(v.x), y(v.y) {}  // NOLINT

    constexpr operator CVector2<T>() const { return {x, y}; }  // NOLINT(google-explicit-constructor)
    constexpr CVector2<T> GetVector() const { return {x, y}; }

    constexpr bool IsModified() const { return m_modified; }
    constexpr void SetModified() { m_modified = true; }
    constexpr void ClearModified() { m_modified = false; }

    constexpr T get_x() const { return x; }
    constexpr T get_y() const { return y; }
    constexpr void set_x(T value) { x = value, m_modified = true; }
    constexpr void set_y(T value) { y = value, m_modified = true; }
    constexpr void Set(T vx, T vy) { x = vx, y = vy, m_modified = true; }
    constexpr void Set(CVector2<T> const& v) { Set(v.x, v.y); }
    constexpr CQEL_Vector2_Updatable& operator=(CVector2<T> const& v) {
        Set(v);
        return *this;
    }
    constexpr CQEL_Vector2_Updatable& operator+=(CVector2<T> const& v) {
        Set(GetVector() + v);
        return *this;
    }
    constexpr CQEL_Vector2_Updatable& operator-=(CVector2<T> const& v) {
        Set(GetVector() - v);
        return *this;
    }
    constexpr CQEL_Vector2_Updatable& operator*=(T s) {
        Set(GetVector() * s);
        return *this;
    }
    real_type Normalise() requires std::is_floating_point_v<T> {
        CVector2<T> v = GetVector();
        real_type const length = v.Normalise();
        Set(v);
        return length;
    }
    void Transform(CTransform4<double> const& transform) requires std::is_floating_point_v<T> {
        Set(transform.Apply(GetVector()));
    }

    constexpr T& ref_x() { return x; }
    constexpr T& ref_y() { return y; }
    constexpr void RawSetX(T value) { x = value; }
    constexpr void RawSetY(T value) { y = value; }
    constexpr void RawSet(CVector2<T> const& v) { x = v.x, y = v.y; }

    T const& operator[](int i) const { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T const>(); }
    constexpr CVector2<T> operator+(CVector2<T> const& v) const { return GetVector() + v; }
    constexpr CVector2<T> operator-(CVector2<T> const& v) const { return GetVector() - v; }
    constexpr T Dot(CVector2<T> const& v) const { return GetVector().Dot(v); }
    real_type Mag() const { return GetVector().Mag(); }
    constexpr bool operator==(CVector2<T> const& v) const { return GetVector() == v; }
    constexpr bool operator==(CQEL_Vector2_Updatable const& v) const { return GetVector() == v.GetVector(); }

  private:
    bool m_modified = false;
};

static_assert(std::is_trivially_copyable_v<CQEL_Vector2_Updatable<double>> &&
              sizeof(CQEL_Vector2_Updatable<double>) == 24);

}  // namespace QEL::Elements

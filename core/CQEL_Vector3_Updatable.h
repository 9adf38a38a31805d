// SPDX-License-Identifier: MIT
// CQEL_Vector3_Updatable<T>: a vector of the data layer that marks itself
// modified when it is changed through its interface.
//
// The same contract as CQEL_Point3_Updatable: public fields x, y, z and a
// modified flag, trivially copyable (32 bytes for double); setters, Set,
// assignment from a CVector3, the compound operators, Normalise and Transform
// mark; direct field writes, ref_... and RawSet... do not; construction
// starts unmodified; comparison looks at the components only. It converts
// implicitly to CVector3<T>.
#pragma once

#include <type_traits>

#include "core/CTransform4.h"
#include "core/CVector3.h"

namespace QEL::Elements {

template <class T>
class CQEL_Vector3_Updatable {
  public:
    using value_type = T;
    using real_type = Detail::RealType<T>;

    T x{0}, y{0}, z{0};

    // The zero vector, unmodified.
    constexpr CQEL_Vector3_Updatable() = default;
    constexpr CQEL_Vector3_Updatable(T vx, T vy, T vz) : x(vx), y(vy), z(vz) {}
    constexpr CQEL_Vector3_Updatable(CVector3<T> const& v) : x(v.x), y(v.y), z(v.z) {}  // NOLINT

    constexpr operator CVector3<T>() const { return {x, y, z}; }  // NOLINT(google-explicit-constructor)
    constexpr CVector3<T> GetVector() const { return {x, y, z}; }

    // --- modified flag ------------------------------------------------------------
    constexpr bool IsModified() const { return m_modified; }
    constexpr void SetModified() { m_modified = true; }
    constexpr void ClearModified() { m_modified = false; }

    // --- marking access -------------------------------------------------------------
    constexpr T get_x() const { return x; }
    constexpr T get_y() const { return y; }
    constexpr T get_z() const { return z; }
    constexpr void set_x(T value) { x = value, m_modified = true; }
    constexpr void set_y(T value) { y = value, m_modified = true; }
    constexpr void set_z(T value) { z = value, m_modified = true; }
    constexpr void Set(T vx, T vy, T vz) { x = vx, y = vy, z = vz, m_modified = true; }
    constexpr void Set(CVector3<T> const& v) { Set(v.x, v.y, v.z); }
    constexpr CQEL_Vector3_Updatable& operator=(CVector3<T> const& v) {
        Set(v);
        return *this;
    }
    constexpr CQEL_Vector3_Updatable& operator+=(CVector3<T> const& v) {
        Set(GetVector() + v);
        return *this;
    }
    constexpr CQEL_Vector3_Updatable& operator-=(CVector3<T> const& v) {
        Set(GetVector() - v);
        return *this;
    }
    constexpr CQEL_Vector3_Updatable& operator*=(T s) {
        Set(GetVector() * s);
        return *this;
    }
    // As CVector3::Normalise (a zero vector stays zero); marks modified.
    real_type Normalise() requires std::is_floating_point_v<T> {
        CVector3<T> v = GetVector();
        real_type const length = v.Normalise();
        Set(v);
        return length;
    }
    // Applies transform by the vector rule (linear part only, no
    // renormalisation) and marks modified. Float and double only.
    void Transform(CTransform4<double> const& transform) requires std::is_floating_point_v<T> {
        Set(transform.Apply(GetVector()));
    }

    // --- raw access (no mark) -------------------------------------------------------------
    constexpr T& ref_x() { return x; }
    constexpr T& ref_y() { return y; }
    constexpr T& ref_z() { return z; }
    constexpr void RawSetX(T value) { x = value; }
    constexpr void RawSetY(T value) { y = value; }
    constexpr void RawSetZ(T value) { z = value; }
    constexpr void RawSet(CVector3<T> const& v) { x = v.x, y = v.y, z = v.z; }

    // --- reading as a vector ------------------------------------------------------------------
    T const& operator[](int i) const {
        return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T const>();
    }
    constexpr CVector3<T> operator-() const { return -GetVector(); }
    constexpr CVector3<T> operator+(CVector3<T> const& v) const { return GetVector() + v; }
    constexpr CVector3<T> operator-(CVector3<T> const& v) const { return GetVector() - v; }
    constexpr CVector3<T> operator*(T s) const { return GetVector() * s; }
    constexpr T Dot(CVector3<T> const& v) const { return GetVector().Dot(v); }
    constexpr CVector3<T> Cross(CVector3<T> const& v) const { return GetVector().Cross(v); }
    constexpr T MagSq() const { return GetVector().MagSq(); }
    real_type Mag() const { return GetVector().Mag(); }
    constexpr bool operator==(CVector3<T> const& v) const { return GetVector() == v; }
    constexpr bool operator==(CQEL_Vector3_Updatable const& v) const { return GetVector() == v.GetVector(); }

  private:
    bool m_modified = false;
};

static_assert(std::is_trivially_copyable_v<CQEL_Vector3_Updatable<double>> &&
              sizeof(CQEL_Vector3_Updatable<double>) == 32);

}  // namespace QEL::Elements

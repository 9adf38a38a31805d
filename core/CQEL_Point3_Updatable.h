// SPDX-License-Identifier: MIT
// CQEL_Point3_Updatable<T>: a point of the data layer that marks itself
// modified when it is changed through its interface.
//
// Layout: the public fields x, y, z followed by a modified flag; trivially
// copyable (it is stored raw in collections and files), 32 bytes for double.
// The point set stores its positions in this type.
//
// What marks the point modified: set_x/set_y/set_z, Set, assignment from a
// CPoint3, += and -= of a vector, and Transform. Setting a value equal to the
// present one still marks (comparing would cost more than it saves). What
// does not: writing the public fields directly, ref_x/ref_y/ref_z, RawSet and
// the RawSet... setters; they exist for bulk loaders that mark once at the end
// (call SetModified). Copies carry the flag along; construction starts
// unmodified. Comparison looks at the coordinates only.
//
// It converts implicitly to CPoint3<T>, so it can be passed wherever a point
// is expected; the affine operators are repeated here because member
// operators of CPoint3 do not convert their left operand.
#pragma once

#include <type_traits>

#include "core/CPoint3.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"

namespace QEL::Elements {

template <class T>
class CQEL_Point3_Updatable {
  public:
    using value_type = T;

    T x{0}, y{0}, z{0};

    // The origin, unmodified.
    constexpr CQEL_Point3_Updatable() = default;
    constexpr CQEL_Point3_Updatable(T px, T py, T pz) : x(px), y(py), z(pz) {}
    // From a point, unmodified (implicit).
    constexpr CQEL_Point3_Updatable(CPoint3<T> const& p) : x(p.x), y(p.y), z(p.z) {}  // NOLINT

    constexpr operator CPoint3<T>() const { return {x, y, z}; }  // NOLINT(google-explicit-constructor)
    constexpr CPoint3<T> GetPoint() const { return {x, y, z}; }

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
    constexpr void Set(T px, T py, T pz) { x = px, y = py, z = pz, m_modified = true; }
    constexpr void Set(CPoint3<T> const& p) { Set(p.x, p.y, p.z); }
    constexpr CQEL_Point3_Updatable& operator=(CPoint3<T> const& p) {
        Set(p);
        return *this;
    }
    constexpr CQEL_Point3_Updatable& operator+=(CVector3<T> const& v) {
        Set(GetPoint() + v);
        return *this;
    }
    constexpr CQEL_Point3_Updatable& operator-=(CVector3<T> const& v) {
        Set(GetPoint() - v);
        return *this;
    }
    // Applies transform by the point rule of CTransform4 (w == 0 leaves the
    // coordinates as they are) and marks modified. Float and double only.
    void Transform(CTransform4<double> const& transform) requires std::is_floating_point_v<T> {
        Set(transform.Apply(GetPoint()));
    }

    // --- raw access (no mark) -------------------------------------------------------------
    constexpr T& ref_x() { return x; }
    constexpr T& ref_y() { return y; }
    constexpr T& ref_z() { return z; }
    constexpr void RawSetX(T value) { x = value; }
    constexpr void RawSetY(T value) { y = value; }
    constexpr void RawSetZ(T value) { z = value; }
    constexpr void RawSet(CPoint3<T> const& p) { x = p.x, y = p.y, z = p.z; }

    // --- reading as a point ------------------------------------------------------------------
    T const& operator[](int i) const {
        return i == 0 ? x : i == 1 ? y : i == 2 ? z : Detail::InvalidReference<T const>();
    }
    constexpr CVector3<T> operator-(CPoint3<T> const& p) const { return GetPoint() - p; }
    constexpr CPoint3<T> operator+(CVector3<T> const& v) const { return GetPoint() + v; }
    constexpr CPoint3<T> operator-(CVector3<T> const& v) const { return GetPoint() - v; }
    Detail::RealType<T> Distance(CPoint3<T> const& p) const { return GetPoint().Distance(p); }
    constexpr T DistanceSq(CPoint3<T> const& p) const { return GetPoint().DistanceSq(p); }
    constexpr bool operator==(CPoint3<T> const& p) const { return GetPoint() == p; }
    constexpr bool operator==(CQEL_Point3_Updatable const& p) const { return GetPoint() == p.GetPoint(); }

  private:
    bool m_modified = false;
};

static_assert(std::is_trivially_copyable_v<CQEL_Point3_Updatable<double>> &&
              sizeof(CQEL_Point3_Updatable<double>) == 32);
static_assert(sizeof(CQEL_Point3_Updatable<float>) == 16);

}  // namespace QEL::Elements

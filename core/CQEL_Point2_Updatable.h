// SPDX-License-Identifier: MIT
// CQEL_Point2_Updatable<T>: the two-dimensional sibling of
// CQEL_Point3_Updatable, with the same contract: public fields x, y and a
// modified flag, trivially copyable (24 bytes for double); setters, Set,
// assignment from a CPoint2, += and -= of a vector, and Transform mark; direct
// field writes, ref_... and RawSet... do not; construction starts unmodified;
// comparison looks at the coordinates only. Transform takes the point as
// (x, y, 0), applies the point rule of CTransform4 and keeps x and y.
#pragma once

#include <type_traits>

#include "core/CPoint2.h"
#include "core/CTransform4.h"
#include "core/CVector2.h"

namespace QEL::Elements {

template <class T>
class CQEL_Point2_Updatable {
  public:
    using value_type = T;

    T x{0}, y{0};

    constexpr CQEL_Point2_Updatable() = default;
    constexpr CQEL_Point2_Updatable(T px, T py) : x(px), y(py) {}
    constexpr CQEL_Point2_Updatable(CPoint2<T> const& p) : x(p.x), y(p.y) {}  // NOLINT

    constexpr operator CPoint2<T>() const { return {x, y}; }  // NOLINT(google-explicit-constructor)
    constexpr CPoint2<T> GetPoint() const { return {x, y}; }

    constexpr bool IsModified() const { return m_modified; }
    constexpr void SetModified() { m_modified = true; }
    constexpr void ClearModified() { m_modified = false; }

    constexpr T get_x() const { return x; }
    constexpr T get_y() const { return y; }
    constexpr void set_x(T value) { x = value, m_modified = true; }
    constexpr void set_y(T value) { y = value, m_modified = true; }
    constexpr void Set(T px, T py) { x = px, y = py, m_modified = true; }
    constexpr void Set(CPoint2<T> const& p) { Set(p.x, p.y); }
    constexpr CQEL_Point2_Updatable& operator=(CPoint2<T> const& p) {
        Set(p);
        return *this;
    }
    constexpr CQEL_Point2_Updatable& operator+=(CVector2<T> const& v) {
        Set(GetPoint() + v);
        return *this;
    }
    constexpr CQEL_Point2_Updatable& operator-=(CVector2<T> const& v) {
        Set(GetPoint() - v);
        return *this;
    }
    void Transform(CTransform4<double> const& transform) requires std::is_floating_point_v<T> {
        Set(transform.Apply(GetPoint()));
    }

    constexpr T& ref_x() { return x; }
    constexpr T& ref_y() { return y; }
    constexpr void RawSetX(T value) { x = value; }
    constexpr void RawSetY(T value) { y = value; }
    constexpr void RawSet(CPoint2<T> const& p) { x = p.x, y = p.y; }

    T const& operator[](int i) const { return i == 0 ? x : i == 1 ? y : Detail::InvalidReference<T const>(); }
    constexpr CVector2<T> operator-(CPoint2<T> const& p) const { return GetPoint() - p; }
    constexpr CPoint2<T> operator+(CVector2<T> const& v) const { return GetPoint() + v; }
    Detail::RealType<T> Distance(CPoint2<T> const& p) const { return GetPoint().Distance(p); }
    constexpr bool operator==(CPoint2<T> const& p) const { return GetPoint() == p; }
    constexpr bool operator==(CQEL_Point2_Updatable const& p) const { return GetPoint() == p.GetPoint(); }

  private:
    bool m_modified = false;
};

static_assert(std::is_trivially_copyable_v<CQEL_Point2_Updatable<double>> &&
              sizeof(CQEL_Point2_Updatable<double>) == 24);

}  // namespace QEL::Elements

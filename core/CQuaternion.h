// SPDX-License-Identifier: MIT
// CQuaternion<T>: a rotation as a quaternion w + x i + y j + z k, for float
// and double (the library uses CQuaternion<double>).
//
// Conventions. Multiplication is Hamilton's product. A unit quaternion
// q = (cos(angle/2), sin(angle/2) axis) is the rotation by angle (radians,
// right-hand rule) about axis, acting on a vector as q v q*; so
// FromAxisAngle(axis, angle).ToTransform() equals
// CTransform4<double>().CreateRotation(axis, angle). In a product a * b, b is
// applied first: (a * b).ToTransform() == b.ToTransform() x a.ToTransform()
// (CTransform4 composes row-vector style, first factor first).
//
// A plain value: public fields w, x, y, z, trivially copyable. q and -q are
// the same rotation; FromTransform returns the one with w >= 0.
#pragma once

#include <cmath>
#include <type_traits>

#include "core/CTransform4.h"
#include "core/CVector3.h"

namespace QEL::Elements {

template <class T>
class CQuaternion {
    static_assert(std::is_floating_point_v<T>, "CQuaternion is defined for float and double");

  public:
    using value_type = T;

    T w{1}, x{0}, y{0}, z{0};

    // The identity rotation (1, 0, 0, 0).
    constexpr CQuaternion() = default;
    constexpr CQuaternion(T qw, T qx, T qy, T qz) : w(qw), x(qx), y(qy), z(qz) {}

    // The rotation by angle (radians) about axis (any nonzero length). A zero
    // axis (or one with non-finite components) gives the identity, as
    // CTransform4::CreateRotation does.
    static CQuaternion FromAxisAngle(CVector3<T> const& axis, T angle) {
        CVector3<double> u(double(axis.x), double(axis.y), double(axis.z));
        double const length = u.Mag();
        if (!(length > 0.0) || !std::isfinite(length)) return CQuaternion();
        u /= length;
        double const s = std::sin(double(angle) / 2);
        return {T(std::cos(double(angle) / 2)), T(s * u.x), T(s * u.y), T(s * u.z)};
    }
    // The rotation of the linear part of transform, which must be a rotation
    // (orthonormal, determinant +1; the translation is ignored). Shepperd's
    // method: the largest of the four squared components is taken from the
    // diagonal, the rest from off-diagonal sums, so no small number is divided
    // by. The result is normalised and has w >= 0. Scale or shear give the
    // nearest-looking quaternion without meaning.
    static CQuaternion FromTransform(CTransform4<double> const& t) {
        // R = M^T: t[4r + c] is R[c][r] for the column-vector rotation R.
        auto R = [&t](int i, int j) { return t[4 * j + i]; };
        double const trace = R(0, 0) + R(1, 1) + R(2, 2);
        double qw, qx, qy, qz;
        if (trace >= R(0, 0) && trace >= R(1, 1) && trace >= R(2, 2)) {
            double const s = 2.0 * std::sqrt(std::fmax(1.0 + trace, 0.0));
            qw = s / 4;
            qx = (R(2, 1) - R(1, 2)) / s;
            qy = (R(0, 2) - R(2, 0)) / s;
            qz = (R(1, 0) - R(0, 1)) / s;
        } else if (R(0, 0) >= R(1, 1) && R(0, 0) >= R(2, 2)) {
            double const s = 2.0 * std::sqrt(std::fmax(1.0 + R(0, 0) - R(1, 1) - R(2, 2), 0.0));
            qw = (R(2, 1) - R(1, 2)) / s;
            qx = s / 4;
            qy = (R(0, 1) + R(1, 0)) / s;
            qz = (R(0, 2) + R(2, 0)) / s;
        } else if (R(1, 1) >= R(2, 2)) {
            double const s = 2.0 * std::sqrt(std::fmax(1.0 + R(1, 1) - R(0, 0) - R(2, 2), 0.0));
            qw = (R(0, 2) - R(2, 0)) / s;
            qx = (R(0, 1) + R(1, 0)) / s;
            qy = s / 4;
            qz = (R(1, 2) + R(2, 1)) / s;
        } else {
            double const s = 2.0 * std::sqrt(std::fmax(1.0 + R(2, 2) - R(0, 0) - R(1, 1), 0.0));
            qw = (R(1, 0) - R(0, 1)) / s;
            qx = (R(0, 2) + R(2, 0)) / s;
            qy = (R(1, 2) + R(2, 1)) / s;
            qz = s / 4;
        }
        if (qw < 0) qw = -qw, qx = -qx, qy = -qy, qz = -qz;
        CQuaternion q{T(qw), T(qx), T(qy), T(qz)};
        q.Normalise();
        return q;
    }

    // The rotation as a transform (translation 0). A quaternion that is not
    // unit is normalised first; the zero quaternion gives the identity.
    CTransform4<double> ToTransform() const {
        CQuaternion<double> q(w, x, y, z);
        if (!q.Normalise()) return CTransform4<double>();
        double const ww = q.w * q.w, xx = q.x * q.x, yy = q.y * q.y, zz = q.z * q.z;
        double const xy = q.x * q.y, xz = q.x * q.z, yz = q.y * q.z, wx = q.w * q.x, wy = q.w * q.y,
                     wz = q.w * q.z;
        // The column-vector rotation R, stored transposed (row vectors).
        double const m[16] = {ww + xx - yy - zz,
                              2 * (xy + wz),
                              2 * (xz - wy),
                              0,
                              2 * (xy - wz),
                              ww - xx + yy - zz,
                              2 * (yz + wx),
                              0,
                              2 * (xz + wy),
                              2 * (yz - wx),
                              ww - xx - yy + zz,
                              0,
                              0,
                              0,
                              0,
                              1};
        return CTransform4<double>(m);
    }
    // The axis (unit) and angle in [0, pi] of a unit quaternion; the identity
    // gives angle 0 and axis (0, 0, 1). Null pointers are skipped.
    void ToAxisAngle(CVector3<T>* axis, T* angle) const {
        CQuaternion q = w < 0 ? CQuaternion(-w, -x, -y, -z) : *this;
        CVector3<T> v(q.x, q.y, q.z);
        T const s = v.Mag();
        if (angle) *angle = T(2) * std::atan2(s, q.w);
        if (axis) *axis = s > T(0) ? v / s : CVector3<T>(0, 0, 1);
    }

    // Hamilton product: the rotation b followed by this one (for a * b).
    constexpr CQuaternion operator*(CQuaternion const& b) const {
        return {w * b.w - x * b.x - y * b.y - z * b.z, w * b.x + x * b.w + y * b.z - z * b.y,
                w * b.y - x * b.z + y * b.w + z * b.x, w * b.z + x * b.y - y * b.x + z * b.w};
    }
    constexpr CQuaternion& operator*=(CQuaternion const& b) { return *this = *this * b; }
    constexpr CQuaternion Conjugate() const { return {w, -x, -y, -z}; }
    constexpr T Dot(CQuaternion const& q) const { return w * q.w + x * q.x + y * q.y + z * q.z; }
    T Norm() const { return std::sqrt(Dot(*this)); }

    // Scales to unit norm. The zero (or non-finite) quaternion becomes the
    // identity and false is returned.
    bool Normalise() {
        T const n = Norm();
        if (!(n > T(0)) || !std::isfinite(n)) {
            *this = CQuaternion();
            return false;
        }
        w /= n, x /= n, y /= n, z /= n;
        return true;
    }
    CQuaternion GetNormalised() const {
        CQuaternion q(*this);
        q.Normalise();
        return q;
    }

    // v rotated by this (unit) quaternion: q v q*.
    CVector3<T> Rotate(CVector3<T> const& v) const {
        // v + 2 r x (r x v + w v) with r the vector part.
        CVector3<T> const r(x, y, z);
        return v + r.Cross(r.Cross(v) + v * w) * T(2);
    }

    // Spherical linear interpolation between unit quaternions, along the
    // shorter arc (b is negated when a . b < 0): a at t = 0, b (or -b) at
    // t = 1, constant angular speed in between. t outside [0, 1] extrapolates.
    // Nearly equal inputs (angle below 1e-6) fall back to normalised linear
    // interpolation, which is then exact to rounding.
    static CQuaternion Slerp(CQuaternion const& a, CQuaternion const& b, T t) {
        CQuaternion c = b;
        T d = a.Dot(b);
        if (d < 0) c = CQuaternion(-b.w, -b.x, -b.y, -b.z), d = -d;
        T const theta = std::acos(std::fmin(d, T(1)));
        T ka, kb;
        if (theta < T(1e-6)) {
            ka = 1 - t;
            kb = t;
        } else {
            T const s = std::sin(theta);
            ka = std::sin((1 - t) * theta) / s;
            kb = std::sin(t * theta) / s;
        }
        CQuaternion q(ka * a.w + kb * c.w, ka * a.x + kb * c.x, ka * a.y + kb * c.y, ka * a.z + kb * c.z);
        q.Normalise();
        return q;
    }

    // Exact comparison of the four components (q and -q compare unequal).
    constexpr bool operator==(CQuaternion const&) const = default;
    // The same rotation within tolerance: q and -q count as equal.
    bool IsSameRotation(CQuaternion const& q, T tolerance) const {
        return std::fabs(std::fabs(GetNormalised().Dot(q.GetNormalised())) - T(1)) <= tolerance;
    }
};

static_assert(std::is_trivially_copyable_v<CQuaternion<double>> && sizeof(CQuaternion<double>) == 32);

}  // namespace QEL::Elements

// SPDX-License-Identifier: MIT
// Internal to the point set operations (not installed): plain 3-D vector
// arithmetic on doubles, a right-handed frame, and the minimal rotation that
// carries the z axis onto a direction. The operations compute in these and
// convert to the library's value types only where points are stored.
#pragma once

#include <cmath>

#include "core/CPoint3.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"

namespace QEL::Core::Detail {

struct V3 {
    double x = 0.0, y = 0.0, z = 0.0;

    V3() = default;
    V3(double ax, double ay, double az) : x(ax), y(ay), z(az) {}
    explicit V3(Elements::CPoint3<double> const& p) : x(p.x), y(p.y), z(p.z) {}
    explicit V3(Elements::CVector3<double> const& v) : x(v.x), y(v.y), z(v.z) {}

    Elements::CPoint3<double> P() const { return {x, y, z}; }
    Elements::CVector3<double> V() const { return {x, y, z}; }

    V3 operator+(V3 const& o) const { return {x + o.x, y + o.y, z + o.z}; }
    V3 operator-(V3 const& o) const { return {x - o.x, y - o.y, z - o.z}; }
    V3 operator*(double s) const { return {x * s, y * s, z * s}; }
    V3 operator-() const { return {-x, -y, -z}; }
};

inline double Dot(V3 const& a, V3 const& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline V3 Cross(V3 const& a, V3 const& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
inline double Length(V3 const& a) {
    return std::sqrt(Dot(a, a));
}
// a / |a|; the caller makes sure that a is not zero.
inline V3 Unit(V3 const& a) {
    return a * (1.0 / Length(a));
}
inline bool IsFinite(V3 const& a) {
    return std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(a.z);
}

// An origin and three orthonormal axes; Map takes local coordinates to world.
struct SFrame {
    V3 origin;
    V3 ex{1, 0, 0}, ey{0, 1, 0}, ez{0, 0, 1};

    V3 Map(double x, double y, double z) const { return origin + ex * x + ey * y + ez * z; }
    V3 Map(V3 const& local) const { return Map(local.x, local.y, local.z); }

    // The frame at origin whose z axis is direction (non-zero), its x and y
    // axes the images of the world x and y axes under the smallest rotation
    // that turns z onto direction (Rodrigues). A direction opposite to z is
    // reached by a half turn about x.
    static SFrame AlongZ(V3 const& origin, V3 const& direction) {
        SFrame frame;
        frame.origin = origin;
        V3 const d = Unit(direction);
        double const c = d.z;  // cos of the angle between z and d
        if (c < -1.0 + 1e-15) {
            frame.ex = {1, 0, 0};
            frame.ey = {0, -1, 0};
            frame.ez = {0, 0, -1};
            return frame;
        }
        // Rotation about k = z x d = (-d.y, d.x, 0) with sin = |k|:
        // R v = v c + (k x v) + k (k . v) / (1 + c).
        V3 const k{-d.y, d.x, 0.0};
        auto rotate = [&](V3 const& v) { return v * c + Cross(k, v) + k * (Dot(k, v) / (1.0 + c)); };
        frame.ex = rotate({1, 0, 0});
        frame.ey = rotate({0, 1, 0});
        frame.ez = d;
        return frame;
    }

    // The same map as a transform of the library (row vectors, translation in the last row).
    Elements::CTransform4<double> ToTransform() const {
        double const m[16] = {ex.x, ex.y, ex.z, 0.0, ey.x,     ey.y,     ey.z,     0.0,
                              ez.x, ez.y, ez.z, 0.0, origin.x, origin.y, origin.z, 1.0};
        return Elements::CTransform4<double>(m);
    }
};

}  // namespace QEL::Core::Detail

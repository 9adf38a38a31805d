// SPDX-License-Identifier: MIT
// CTransform4<double>: the 4 x 4 homogeneous transform of the library.
//
// Memory order. Sixteen doubles m[0..15] read as four rows of four: m[4r + c]
// is row r, column c. Points and vectors are ROW vectors multiplied from the
// left (p' = p M). The linear part is the upper-left 3 x 3 block (m[0..2],
// m[4..6], m[8..10]); the translation is the last row (m[12], m[13], m[14]),
// m[15] the homogeneous scale (1 for an affine transform) and m[3], m[7],
// m[11] the perspective column (0 for an affine transform). This is the order
// of OpenGL's column-major matrices, so GetArray() can be handed to it as is.
//
// Composition. A x B is the ordinary matrix product; with row vectors
// p (A x B) applies A first and B second. GetPostTransformed(B) = this x B
// (this, then B); GetPreTransformed(B) = B x this (B, then this).
//
// Points and vectors. A point (x, y, z) is the row (x, y, z, 1):
//   w = x m[3] + y m[7] + z m[11] + m[15]; if w is exactly 0 the point is left
//   unchanged; otherwise x' = (x m[0] + y m[4] + z m[8] + m[12]) / w, likewise
//   y' with m[1], m[5], m[9], m[13] and z' with m[2], m[6], m[10], m[14].
// A vector is moved by the linear part only: no translation, no division, no
// renormalisation.
//
// Angles are in radians and follow the right-hand rule: a positive angle turns
// counter-clockwise seen from the tip of the axis, so CreateRotationZ(pi/2)
// takes (1, 0, 0) to (0, 1, 0).
//
// The Create... members overwrite this transform entirely and return it, so
// both `t.CreateRotationZ(a);` and `auto t = CTransform4<double>().CreateRotationZ(a);`
// work. A plain value: trivially copyable, 128 bytes, no heap storage.
#pragma once

#include <type_traits>

#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CVector2.h"
#include "core/CVector3.h"
#include "core/QEL_Elements_Common.h"
#include "core/QEL_Export.h"

namespace QEL::Elements {

template <class T>
class QEL_TEMPLATE_API CTransform4 {
    static_assert(std::is_same_v<T, double>, "CTransform4 is defined for double only");

  public:
    // The identity.
    CTransform4();
    // Copies m[0..15] in the memory order above; m must point to 16 doubles.
    explicit CTransform4(double const* m);
    CTransform4(CTransform4 const&) = default;
    CTransform4& operator=(CTransform4 const&) = default;

    // Element m[i], i in 0..15. Unchecked: any other i yields the library's
    // invalid reference, which faults on first use.
    __attribute__((no_sanitize("alignment"))) double& operator[](int i) {
        return unsigned(i) < 16u ? m_m[i] : Detail::InvalidReference<double>();
    }
    __attribute__((no_sanitize("alignment"))) double const& operator[](int i) const {
        return unsigned(i) < 16u ? m_m[i] : Detail::InvalidReference<double const>();
    }
    // The 16 elements in memory order (for OpenGL and raw storage).
    double const* GetArray() const { return m_m; }
    double* GetArray() { return m_m; }

    // Exact comparison of all 16 elements without tolerance; any NaN element
    // makes two transforms unequal (0.0 and -0.0 compare equal).
    bool operator==(CTransform4 const& other) const;
    bool operator!=(CTransform4 const& other) const { return !(*this == other); }

    // Shared constant identity and zero transforms, built once on first use.
    static CTransform4 const& Identity();
    static CTransform4 const& Zero();

    // --- parts ------------------------------------------------------------------
    // (m[12], m[13], m[14]).
    CVector3<double> GetTranslation() const { return {m_m[12], m_m[13], m_m[14]}; }
    // Sets m[12..14]; the rest is kept.
    CTransform4& SetTranslation(CVector3<double> const& t);
    // A copy with m[3] = m[7] = m[11] = m[12] = m[13] = m[14] = 0 and m[15] = 1.
    CTransform4 GetLinearMap() const;
    // The determinant of the linear 3 x 3 part: negative for a transform that
    // mirrors, 0 for one that flattens.
    double GetLinearDeterminant() const;
    // The perspective column is (0, 0, 0) and m[15] is 1, exactly.
    bool IsAffine() const;
    // Affine, and the linear part is a rotation: its rows are orthonormal and
    // its determinant positive, each within tolerance (absolute, on the
    // entries of L L^T - I). Translations are allowed.
    bool IsRigid(double tolerance = 1e-9) const;

    // --- composition --------------------------------------------------------------
    // this x B: this transform first, then B.
    CTransform4 GetPostTransformed(CTransform4 const& B) const;
    // B x this: B first, then this transform.
    CTransform4 GetPreTransformed(CTransform4 const& B) const;
    // The same, assigned to this object (B may be this object).
    CTransform4& PostTransform(CTransform4 const& B);
    CTransform4& PreTransform(CTransform4 const& B);

    // The inverse by Gauss-Jordan elimination with partial pivoting. When the
    // absolute product of the pivots falls below 1e-40 the matrix counts as
    // singular and the result is the identity: no exception, deliberately
    // (CreateScale(0).GetInverted() is the identity). NaN elements give NaN.
    CTransform4 GetInverted() const;
    // Assigns GetInverted() to this object.
    CTransform4& Invert();

    // --- translation and scale ------------------------------------------------------
    // The identity with the translation row set.
    CTransform4& CreateTranslation(double x, double y, double z);
    CTransform4& CreateTranslation(CVector3<double> const& t);
    CTransform4& CreateTranslationX(double x);
    CTransform4& CreateTranslationY(double y);
    CTransform4& CreateTranslationZ(double z);
    // The identity with m[0], m[5], m[10] set: scaling about the origin.
    CTransform4& CreateScale(double s);
    CTransform4& CreateScale(double sx, double sy, double sz);
    CTransform4& CreateScaleX(double sx);
    CTransform4& CreateScaleY(double sy);
    CTransform4& CreateScaleZ(double sz);

    // --- rotations ------------------------------------------------------------------
    // Rotation by angle (radians, right-hand rule) about axis through the
    // origin. The axis need not be unit; an axis of squared length exactly 0
    // (or with a non-finite component) gives the identity.
    CTransform4& CreateRotation(CVector3<double> const& axis, double angle);
    // The same about the axis through centre.
    CTransform4& CreateRotation(CVector3<double> const& axis, double angle, CPoint3<double> const& centre);
    CTransform4& CreateRotationX(double angle);
    CTransform4& CreateRotationY(double angle);
    CTransform4& CreateRotationZ(double angle);

    // The rotation through the origin that turns direction `from` into
    // direction `to` (lengths are ignored):
    // - when the directions are not opposite, it is the smallest rotation, about
    //   from x to; parallel directions give the identity (up to rounding);
    // - when they are opposite (the sine of the angle between them below
    //   1e-12, so that from x to says nothing), a half turn about the axis
    //   from x e, e being the coordinate axis least aligned with `from` (the
    //   first of X, Y, Z on a tie): for from = (1, 0, 0) it turns about +Z,
    //   taking (0, 1, 0) to (0, -1, 0) and leaving (0, 0, 1) fixed. For nearly
    //   opposite input the turn is adjusted by the small angle that lands
    //   `from` exactly on `to`.
    // In every case `from` is carried onto `to` to rounding accuracy and the
    // result is a proper rotation (determinant +1). A zero `from` or `to` gives
    // the identity, as a zero axis does. Built as the product of two reflections.
    CTransform4& CreateRotation(CVector3<double> const& from, CVector3<double> const& to);
    // The same about centre (centre stays fixed).
    CTransform4& CreateRotation(CVector3<double> const& from, CVector3<double> const& to,
                                CPoint3<double> const& centre);

    // Rotation about the fixed X axis by ax, then the fixed Y axis by ay, then
    // the fixed Z axis by az: Rx(ax) x Ry(ay) x Rz(az). With sa, ca for ax,
    // sb, cb for ay and sc, cc for az: m[0] = cc cb, m[1] = sc cb, m[2] = -sb;
    // m[4] = sb sa cc - sc ca, m[5] = sb sa sc + cc ca, m[6] = cb sa;
    // m[8] = sb ca cc + sc sa, m[9] = sb ca sc - cc sa, m[10] = cb ca.
    CTransform4& CreateRotation_XYZ(double ax, double ay, double az);
    // The same three rotations in the order Z, Y, X: Rz(az) x Ry(ay) x Rx(ax).
    // (The arguments keep the order ax, ay, az.)
    CTransform4& CreateRotation_ZYX(double ax, double ay, double az);
    // The inverses of the two constructors above. The linear part must be a
    // rotation (scale and shear give meaningless angles); translation is
    // ignored. Results: ay in [-pi/2, pi/2], ax and az in (-pi, pi]; for such
    // angles Create... followed by Extract... returns them to about 1e-15.
    // Gimbal lock (cos ay below 1e-12, ay = +-pi/2): only ax + az or ax - az is
    // determined; the angle of the rotation applied LAST is set to 0 (az for
    // XYZ, ax for ZYX) and the other carries the whole turn, so the transform
    // rebuilt from the angles still equals this one. Null pointers are skipped.
    void ExtractEulerAngles_XYZ(double* ax, double* ay, double* az) const;
    void ExtractEulerAngles_ZYX(double* ax, double* ay, double* az) const;

    // --- reflections ----------------------------------------------------------------
    // Mirror in the plane through the origin with the given normal (need not be
    // unit): p' = p - 2 (p . n) n with n unit. A zero normal gives the identity.
    // Every reflection is its own inverse and has determinant -1.
    CTransform4& CreateReflection(CVector3<double> const& normal);
    // Mirror in the plane through point with the given normal.
    CTransform4& CreateReflection(CVector3<double> const& normal, CPoint3<double> const& point);
    // Mirror in the plane x = 0 (y = 0, z = 0): negates x (y, z).
    CTransform4& CreateReflectionX();
    CTransform4& CreateReflectionY();
    CTransform4& CreateReflectionZ();

    // --- frames ---------------------------------------------------------------------
    // A frame is an origin with one or two directions. With two, (primary,
    // secondary) define a right-handed orthonormal basis:
    //   Z = primary / |primary|,
    //   X = the part of secondary perpendicular to Z, normalised,
    //   Y = Z x X.
    // (The primary direction is the normal of a datum plane and the secondary a
    // line in it, as in a 3-2-1 alignment.) Every frame function is rigid
    // (rotation and translation only) and throws CQEL_Exception reason 14
    // (QEL_INVALID_PARAMETER) naming the parameter for a direction of zero
    // length ("Direction has zero length") or a secondary parallel to the
    // primary within 1e-12 radians ("Directions are parallel"), and reason 5
    // for non-finite input.

    // Carries frame A onto frame B: fromOrigin goes to toOrigin and the
    // direction fromDirection to toDirection, by the smallest rotation
    // (CreateRotation(from, to) about fromOrigin) followed by the translation.
    CTransform4& CreateAlignmentTransform(CPoint3<double> const& fromOrigin,
                                          CVector3<double> const& fromDirection,
                                          CPoint3<double> const& toOrigin,
                                          CVector3<double> const& toDirection);
    // Carries the two-direction frame A onto frame B: fromOrigin to toOrigin,
    // fromPrimary onto toPrimary exactly, and the plane of (fromPrimary,
    // fromSecondary) onto the plane of (toPrimary, toSecondary) with the
    // secondary sides matching. Equals PCS(A) x PCS(B)^-1.
    CTransform4& CreateAlignmentTransform(CPoint3<double> const& fromOrigin,
                                          CVector3<double> const& fromPrimary,
                                          CVector3<double> const& fromSecondary,
                                          CPoint3<double> const& toOrigin, CVector3<double> const& toPrimary,
                                          CVector3<double> const& toSecondary);
    // The transform from global coordinates into the part coordinate system
    // (PCS) given by a frame: it carries the frame onto the global frame, so
    // origin goes to (0, 0, 0), primary to +Z and secondary into the XZ plane
    // with positive x. Applied to a global point it gives the point's PCS
    // coordinates; its inverse places PCS coordinates back in the world.
    CTransform4& CreatePCSTransform(CPoint3<double> const& origin, CVector3<double> const& primary,
                                    CVector3<double> const& secondary);
    // One-direction PCS: origin to (0, 0, 0) and primary onto +Z by the
    // smallest rotation (the rotation about Z is not determined otherwise).
    CTransform4& CreatePCSTransform(CPoint3<double> const& origin, CVector3<double> const& primary);

    // --- applying ---------------------------------------------------------------------
    // A point transformed by the rule above (w == 0 leaves it unchanged).
    // Float points are computed in double and rounded back.
    template <class U>
    requires std::is_floating_point_v<U> CPoint3<U> Apply(CPoint3<U> const& p)
    const {
        double const x = p.x, y = p.y, z = p.z;
        double const w = x * m_m[3] + y * m_m[7] + z * m_m[11] + m_m[15];
        if (w == 0.0) return p;
        return {U((x * m_m[0] + y * m_m[4] + z * m_m[8] + m_m[12]) / w),
                U((x * m_m[1] + y * m_m[5] + z * m_m[9] + m_m[13]) / w),
                U((x * m_m[2] + y * m_m[6] + z * m_m[10] + m_m[14]) / w)};
    }
    // A vector transformed by the linear part only.
    template <class U>
    requires std::is_floating_point_v<U> CVector3<U> Apply(CVector3<U> const& v)
    const {
        double const x = v.x, y = v.y, z = v.z;
        return {U(x * m_m[0] + y * m_m[4] + z * m_m[8]), U(x * m_m[1] + y * m_m[5] + z * m_m[9]),
                U(x * m_m[2] + y * m_m[6] + z * m_m[10])};
    }
    // Planar values are taken as lying in the plane z = 0, transformed as
    // above, and the z of the result is dropped.
    template <class U>
    requires std::is_floating_point_v<U> CPoint2<U> Apply(CPoint2<U> const& p)
    const {
        CPoint3<U> const q = Apply(CPoint3<U>(p.x, p.y, U(0)));
        return {q.x, q.y};
    }
    template <class U>
    requires std::is_floating_point_v<U> CVector2<U> Apply(CVector2<U> const& v)
    const {
        CVector3<U> const q = Apply(CVector3<U>(v.x, v.y, U(0)));
        return {q.x, q.y};
    }
    // In-place forms of Apply.
    template <class V>
    void Transform(V& value) const {
        value = Apply(value);
    }

  private:
    double m_m[16];
};

extern template class CTransform4<double>;

static_assert(std::is_trivially_copyable_v<CTransform4<double>> && sizeof(CTransform4<double>) == 128);

// Free forms of CTransform4::Apply.
template <class V>
V Apply(CTransform4<double> const& transform, V const& value) {
    return transform.Apply(value);
}

}  // namespace QEL::Elements

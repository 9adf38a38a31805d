// SPDX-License-Identifier: MIT
#include "core/CTransform4.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "core/CQEL_Operation.h"

namespace QEL::Elements {

using Core::CQEL_Operation;

namespace {

using Matrix = CTransform4<double>;

constexpr double kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr double kSingularPivotProduct = 1e-40;
constexpr double kGimbalCosine = 1e-12;
constexpr double kParallelSine = 1e-12;

// R = A x B, accumulated into zero.
void Multiply(double const* a, double const* b, double* r) {
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j) {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += a[4 * i + k] * b[4 * k + j];
            r[4 * i + j] = sum;
        }
}

// The unit direction of v, scaled first so that tiny and huge vectors keep
// their precision; the zero vector for a zero (or non-finite) v.
CVector3<double> UnitOrZero(CVector3<double> const& v) {
    double const largest = std::max({std::fabs(v.x), std::fabs(v.y), std::fabs(v.z)});
    if (!(largest > 0.0) || !std::isfinite(largest)) return {};
    return (v / largest).GetNormalised();
}

// The linear part as the matrix of a map given by three row images.
void SetLinear(double* m, CVector3<double> const& r0, CVector3<double> const& r1,
               CVector3<double> const& r2) {
    m[0] = r0.x, m[1] = r0.y, m[2] = r0.z;
    m[4] = r1.x, m[5] = r1.y, m[6] = r1.z;
    m[8] = r2.x, m[9] = r2.y, m[10] = r2.z;
}

// Translation row that keeps `fixed` in place under the linear part of m.
void KeepFixed(double* m, CPoint3<double> const& fixed) {
    m[12] = fixed.x - (fixed.x * m[0] + fixed.y * m[4] + fixed.z * m[8]);
    m[13] = fixed.y - (fixed.x * m[1] + fixed.y * m[5] + fixed.z * m[9]);
    m[14] = fixed.z - (fixed.x * m[2] + fixed.y * m[6] + fixed.z * m[10]);
}

bool IsFinite(CVector3<double> const& v) {
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}
bool IsFinite(CPoint3<double> const& p) {
    return IsFinite(p.ToVector());
}

// The orthonormal basis (X, Y, Z) of a two-direction frame (see the header);
// throws through op for zero or parallel directions.
struct SFrameBasis {
    CVector3<double> x, y, z;
};

SFrameBasis FrameBasis(CQEL_Operation const& op, CVector3<double> const& primary, char const* primaryName,
                       CVector3<double> const& secondary, char const* secondaryName) {
    op.CheckParameter(IsFinite(primary), primaryName);
    op.CheckParameter(IsFinite(secondary), secondaryName);
    SFrameBasis b;
    b.z = UnitOrZero(primary);
    op.Check(!b.z.IsZero(), Core::QEL_INVALID_PARAMETER, primaryName, "Direction has zero length");
    CVector3<double> const s = UnitOrZero(secondary);
    op.Check(!s.IsZero(), Core::QEL_INVALID_PARAMETER, secondaryName, "Direction has zero length");
    // Gram-Schmidt twice: one pass leaves an error of eps / sine along Z.
    CVector3<double> x = s - b.z * s.Dot(b.z);
    op.Check(x.Mag() >= kParallelSine, Core::QEL_INVALID_PARAMETER, secondaryName, "Directions are parallel");
    x.Normalise();
    x -= b.z * x.Dot(b.z);
    x.Normalise();
    b.x = x;
    b.y = b.z.Cross(b.x);
    return b;
}

// World to local: (p - origin) projected on the basis vectors.
Matrix WorldToFrame(CPoint3<double> const& origin, SFrameBasis const& b) {
    double m[16] = {b.x.x, b.y.x, b.z.x, 0, b.x.y, b.y.y, b.z.y, 0, b.x.z, b.y.z, b.z.z, 0, 0, 0, 0, 1};
    CVector3<double> const o = origin.ToVector();
    m[12] = -o.Dot(b.x);
    m[13] = -o.Dot(b.y);
    m[14] = -o.Dot(b.z);
    return Matrix(m);
}

// Local to world: rows are the basis vectors, translation the origin.
Matrix FrameToWorld(CPoint3<double> const& origin, SFrameBasis const& b) {
    double m[16] = {b.x.x, b.x.y, b.x.z, 0, b.y.x,    b.y.y,    b.y.z,    0,
                    b.z.x, b.z.y, b.z.z, 0, origin.x, origin.y, origin.z, 1};
    return Matrix(m);
}

}  // namespace

// --- construction and comparison ----------------------------------------------------

template <class T>
CTransform4<T>::CTransform4() {
    std::memcpy(m_m, kIdentity, sizeof m_m);
}

template <class T>
CTransform4<T>::CTransform4(double const* m) {
    std::memcpy(m_m, m, sizeof m_m);
}

template <class T>
bool CTransform4<T>::operator==(CTransform4 const& other) const {
    for (int i = 0; i < 16; ++i)
        if (!(m_m[i] == other.m_m[i])) return false;
    return true;
}

template <class T>
CTransform4<T> const& CTransform4<T>::Identity() {
    static CTransform4 const identity;
    return identity;
}

template <class T>
CTransform4<T> const& CTransform4<T>::Zero() {
    static CTransform4 const zero = [] {
        double const m[16] = {};
        return CTransform4(m);
    }();
    return zero;
}

// --- parts ------------------------------------------------------------------------------

template <class T>
CTransform4<T>& CTransform4<T>::SetTranslation(CVector3<double> const& t) {
    m_m[12] = t.x;
    m_m[13] = t.y;
    m_m[14] = t.z;
    return *this;
}

template <class T>
CTransform4<T> CTransform4<T>::GetLinearMap() const {
    CTransform4 linear(*this);
    linear.m_m[3] = linear.m_m[7] = linear.m_m[11] = 0.0;
    linear.m_m[12] = linear.m_m[13] = linear.m_m[14] = 0.0;
    linear.m_m[15] = 1.0;
    return linear;
}

template <class T>
double CTransform4<T>::GetLinearDeterminant() const {
    double const* m = m_m;
    return m[0] * (m[5] * m[10] - m[6] * m[9]) - m[1] * (m[4] * m[10] - m[6] * m[8]) +
           m[2] * (m[4] * m[9] - m[5] * m[8]);
}

template <class T>
bool CTransform4<T>::IsAffine() const {
    return m_m[3] == 0.0 && m_m[7] == 0.0 && m_m[11] == 0.0 && m_m[15] == 1.0;
}

template <class T>
bool CTransform4<T>::IsRigid(double tolerance) const {
    if (!IsAffine()) return false;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            double dot = 0.0;
            for (int k = 0; k < 3; ++k)
                dot += m_m[4 * r + k] * m_m[4 * c + k];
            if (!(std::fabs(dot - (r == c ? 1.0 : 0.0)) <= tolerance)) return false;
        }
    return GetLinearDeterminant() > 0.0;
}

// --- composition and inversion ---------------------------------------------------------------

template <class T>
CTransform4<T> CTransform4<T>::GetPostTransformed(CTransform4 const& B) const {
    CTransform4 result;
    Multiply(m_m, B.m_m, result.m_m);
    return result;
}

template <class T>
CTransform4<T> CTransform4<T>::GetPreTransformed(CTransform4 const& B) const {
    CTransform4 result;
    Multiply(B.m_m, m_m, result.m_m);
    return result;
}

template <class T>
CTransform4<T>& CTransform4<T>::PostTransform(CTransform4 const& B) {
    return *this = GetPostTransformed(B);
}

template <class T>
CTransform4<T>& CTransform4<T>::PreTransform(CTransform4 const& B) {
    return *this = GetPreTransformed(B);
}

template <class T>
CTransform4<T> CTransform4<T>::GetInverted() const {
    // Gauss-Jordan on [M | I]; the pivot is the largest entry of its column.
    double a[4][8];
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c) {
            a[r][c] = m_m[4 * r + c];
            a[r][c + 4] = r == c ? 1.0 : 0.0;
        }
    double pivotProduct = 1.0;
    for (int col = 0; col < 4; ++col) {
        int pivotRow = col;
        for (int r = col + 1; r < 4; ++r)
            if (std::fabs(a[r][col]) > std::fabs(a[pivotRow][col])) pivotRow = r;
        double const pivot = a[pivotRow][col];
        pivotProduct *= pivot;
        if (std::fabs(pivotProduct) < kSingularPivotProduct) return CTransform4();
        if (pivotRow != col) std::swap(a[pivotRow], a[col]);
        for (int c = 0; c < 8; ++c)
            a[col][c] /= pivot;
        for (int r = 0; r < 4; ++r) {
            if (r == col) continue;
            double const factor = a[r][col];
            if (factor == 0.0) continue;
            for (int c = 0; c < 8; ++c)
                a[r][c] -= factor * a[col][c];
        }
    }
    CTransform4 inverse;
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 4; ++c)
            inverse.m_m[4 * r + c] = a[r][c + 4];
    return inverse;
}

template <class T>
CTransform4<T>& CTransform4<T>::Invert() {
    return *this = GetInverted();
}

// --- translation and scale ----------------------------------------------------------------

template <class T>
CTransform4<T>& CTransform4<T>::CreateTranslation(double x, double y, double z) {
    *this = CTransform4();
    return SetTranslation({x, y, z});
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateTranslation(CVector3<double> const& t) {
    return CreateTranslation(t.x, t.y, t.z);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateTranslationX(double x) {
    return CreateTranslation(x, 0.0, 0.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateTranslationY(double y) {
    return CreateTranslation(0.0, y, 0.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateTranslationZ(double z) {
    return CreateTranslation(0.0, 0.0, z);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateScale(double s) {
    return CreateScale(s, s, s);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateScale(double sx, double sy, double sz) {
    *this = CTransform4();
    m_m[0] = sx;
    m_m[5] = sy;
    m_m[10] = sz;
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateScaleX(double sx) {
    return CreateScale(sx, 1.0, 1.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateScaleY(double sy) {
    return CreateScale(1.0, sy, 1.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateScaleZ(double sz) {
    return CreateScale(1.0, 1.0, sz);
}

// --- rotations ----------------------------------------------------------------------------------

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation(CVector3<double> const& axis, double angle) {
    *this = CTransform4();
    if (axis.MagSq() == 0.0) return *this;
    CVector3<double> const u = UnitOrZero(axis);
    if (u.IsZero()) return *this;
    double const c = std::cos(angle), s = std::sin(angle), t = 1.0 - c;
    double const x = u.x, y = u.y, z = u.z;
    m_m[0] = t * x * x + c;
    m_m[1] = t * x * y + s * z;
    m_m[2] = t * x * z - s * y;
    m_m[4] = t * x * y - s * z;
    m_m[5] = t * y * y + c;
    m_m[6] = t * y * z + s * x;
    m_m[8] = t * x * z + s * y;
    m_m[9] = t * y * z - s * x;
    m_m[10] = t * z * z + c;
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation(CVector3<double> const& axis, double angle,
                                               CPoint3<double> const& centre) {
    CreateRotation(axis, angle);
    KeepFixed(m_m, centre);
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotationX(double angle) {
    return CreateRotation({1.0, 0.0, 0.0}, angle);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotationY(double angle) {
    return CreateRotation({0.0, 1.0, 0.0}, angle);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotationZ(double angle) {
    return CreateRotation({0.0, 0.0, 1.0}, angle);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation(CVector3<double> const& from, CVector3<double> const& to) {
    // A rotation is the product of two reflections; a reflection H(u) in the
    // plane normal to u carries a unit vector a onto a unit vector b when
    // u = a - b. The pairs below keep every reflection normal far from zero,
    // so `from` lands on `to` to rounding even for (nearly) opposite input.
    *this = CTransform4();
    CVector3<double> const a = UnitOrZero(from), b = UnitOrZero(to);
    if (a.IsZero() || b.IsZero()) return *this;
    CTransform4 first, second;
    if (a.Dot(b) >= 0.0) {
        // H(a + b) takes a to -b, H(b) takes -b to b; the planes meet along a x b.
        first.CreateReflection(a + b);
        second.CreateReflection(b);
    } else {
        // Through the midpoint m of the arc: H(a - m) takes a to m, H(m - b)
        // takes m to b. m is proportional to (a x b) x (a - b) = (1 - a.b)(a + b),
        // which stays well defined as a + b vanishes; for opposite directions any
        // m perpendicular to a will do, m = n x a with the turning axis n.
        CVector3<double> const n = a.Cross(b);
        CVector3<double> m;
        if (n.Mag() >= kParallelSine) {
            m = UnitOrZero(n.Cross(a - b));
        } else {
            int least = 0;
            for (int i = 1; i < 3; ++i)
                if (std::fabs(a[i]) < std::fabs(a[least])) least = i;
            CVector3<double> e;
            e[least] = 1.0;
            m = UnitOrZero(UnitOrZero(a.Cross(e)).Cross(a));
        }
        first.CreateReflection(a - m);
        second.CreateReflection(m - b);
    }
    return *this = first.GetPostTransformed(second);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation(CVector3<double> const& from, CVector3<double> const& to,
                                               CPoint3<double> const& centre) {
    CreateRotation(from, to);
    KeepFixed(m_m, centre);
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation_XYZ(double ax, double ay, double az) {
    *this = CTransform4();
    double const sa = std::sin(ax), ca = std::cos(ax);
    double const sb = std::sin(ay), cb = std::cos(ay);
    double const sc = std::sin(az), cc = std::cos(az);
    SetLinear(m_m, {cc * cb, sc * cb, -sb}, {sb * sa * cc - sc * ca, sb * sa * sc + cc * ca, cb * sa},
              {sb * ca * cc + sc * sa, sb * ca * sc - cc * sa, cb * ca});
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateRotation_ZYX(double ax, double ay, double az) {
    // Rz x Ry x Rx, expanded.
    *this = CTransform4();
    double const sa = std::sin(ax), ca = std::cos(ax);
    double const sb = std::sin(ay), cb = std::cos(ay);
    double const sc = std::sin(az), cc = std::cos(az);
    SetLinear(m_m, {cc * cb, cc * sb * sa + sc * ca, -cc * sb * ca + sc * sa},
              {-sc * cb, -sc * sb * sa + cc * ca, sc * sb * ca + cc * sa}, {sb, -cb * sa, cb * ca});
    return *this;
}

template <class T>
void CTransform4<T>::ExtractEulerAngles_XYZ(double* ax, double* ay, double* az) const {
    // m[0] = cc cb, m[1] = sc cb, m[2] = -sb. The angle applied first (ax) is
    // recovered from combinations of order 1 (m[8] sc - m[9] cc = sa,
    // m[5] cc - m[4] sc = ca), so it stays accurate close to gimbal lock.
    double const* m = m_m;
    double const cb = std::hypot(m[0], m[1]);
    double const b = std::atan2(-m[2], cb);
    double const c = cb < kGimbalCosine ? 0.0 : std::atan2(m[1], m[0]);
    double const sc = std::sin(c), cc = std::cos(c);
    double const a = std::atan2(m[8] * sc - m[9] * cc, m[5] * cc - m[4] * sc);
    if (ax) *ax = a;
    if (ay) *ay = b;
    if (az) *az = c;
}

template <class T>
void CTransform4<T>::ExtractEulerAngles_ZYX(double* ax, double* ay, double* az) const {
    // m[8] = sb, m[9] = -cb sa, m[10] = cb ca; the angle applied first (az)
    // from m[1] ca + m[2] sa = sc and m[5] ca + m[6] sa = cc.
    double const* m = m_m;
    double const cb = std::hypot(m[9], m[10]);
    double const b = std::atan2(m[8], cb);
    double const a = cb < kGimbalCosine ? 0.0 : std::atan2(-m[9], m[10]);
    double const sa = std::sin(a), ca = std::cos(a);
    double const c = std::atan2(m[1] * ca + m[2] * sa, m[5] * ca + m[6] * sa);
    if (ax) *ax = a;
    if (ay) *ay = b;
    if (az) *az = c;
}

// --- reflections ------------------------------------------------------------------------------

template <class T>
CTransform4<T>& CTransform4<T>::CreateReflection(CVector3<double> const& normal) {
    *this = CTransform4();
    CVector3<double> const n = UnitOrZero(normal);
    if (n.IsZero()) return *this;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            m_m[4 * r + c] = (r == c ? 1.0 : 0.0) - 2.0 * n[r] * n[c];
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateReflection(CVector3<double> const& normal,
                                                 CPoint3<double> const& point) {
    CreateReflection(normal);
    KeepFixed(m_m, point);
    return *this;
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateReflectionX() {
    return CreateScale(-1.0, 1.0, 1.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateReflectionY() {
    return CreateScale(1.0, -1.0, 1.0);
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateReflectionZ() {
    return CreateScale(1.0, 1.0, -1.0);
}

// --- frames ------------------------------------------------------------------------------------

template <class T>
CTransform4<T>& CTransform4<T>::CreateAlignmentTransform(CPoint3<double> const& fromOrigin,
                                                         CVector3<double> const& fromDirection,
                                                         CPoint3<double> const& toOrigin,
                                                         CVector3<double> const& toDirection) {
    static CQEL_Operation const op("QEL::Elements::CTransform4<double>::CreateAlignmentTransform");
    return op.Run([&]() -> CTransform4& {
        op.CheckParameter(IsFinite(fromOrigin), "fromOrigin");
        op.CheckParameter(IsFinite(toOrigin), "toOrigin");
        op.CheckParameter(IsFinite(fromDirection), "fromDirection");
        op.CheckParameter(IsFinite(toDirection), "toDirection");
        op.Check(!UnitOrZero(fromDirection).IsZero(), Core::QEL_INVALID_PARAMETER, "fromDirection",
                 "Direction has zero length");
        op.Check(!UnitOrZero(toDirection).IsZero(), Core::QEL_INVALID_PARAMETER, "toDirection",
                 "Direction has zero length");
        CreateRotation(fromDirection, toDirection, fromOrigin);
        m_m[12] += toOrigin.x - fromOrigin.x;
        m_m[13] += toOrigin.y - fromOrigin.y;
        m_m[14] += toOrigin.z - fromOrigin.z;
        return *this;
    });
}

template <class T>
CTransform4<T>& CTransform4<T>::CreateAlignmentTransform(CPoint3<double> const& fromOrigin,
                                                         CVector3<double> const& fromPrimary,
                                                         CVector3<double> const& fromSecondary,
                                                         CPoint3<double> const& toOrigin,
                                                         CVector3<double> const& toPrimary,
                                                         CVector3<double> const& toSecondary) {
    static CQEL_Operation const op("QEL::Elements::CTransform4<double>::CreateAlignmentTransform");
    return op.Run([&]() -> CTransform4& {
        op.CheckParameter(IsFinite(fromOrigin), "fromOrigin");
        op.CheckParameter(IsFinite(toOrigin), "toOrigin");
        SFrameBasis const from = FrameBasis(op, fromPrimary, "fromPrimary", fromSecondary, "fromSecondary");
        SFrameBasis const to = FrameBasis(op, toPrimary, "toPrimary", toSecondary, "toSecondary");
        return *this = WorldToFrame(fromOrigin, from).GetPostTransformed(FrameToWorld(toOrigin, to));
    });
}

template <class T>
CTransform4<T>& CTransform4<T>::CreatePCSTransform(CPoint3<double> const& origin,
                                                   CVector3<double> const& primary,
                                                   CVector3<double> const& secondary) {
    static CQEL_Operation const op("QEL::Elements::CTransform4<double>::CreatePCSTransform");
    return op.Run([&]() -> CTransform4& {
        op.CheckParameter(IsFinite(origin), "origin");
        return *this = WorldToFrame(origin, FrameBasis(op, primary, "primary", secondary, "secondary"));
    });
}

template <class T>
CTransform4<T>& CTransform4<T>::CreatePCSTransform(CPoint3<double> const& origin,
                                                   CVector3<double> const& primary) {
    static CQEL_Operation const op("QEL::Elements::CTransform4<double>::CreatePCSTransform");
    return op.Run([&]() -> CTransform4& {
        op.CheckParameter(IsFinite(origin), "origin");
        op.CheckParameter(IsFinite(primary), "primary");
        op.Check(!UnitOrZero(primary).IsZero(), Core::QEL_INVALID_PARAMETER, "primary",
                 "Direction has zero length");
        CreateRotation(primary, {0.0, 0.0, 1.0});
        // p -> (p - origin) R.
        m_m[12] = -(origin.x * m_m[0] + origin.y * m_m[4] + origin.z * m_m[8]);
        m_m[13] = -(origin.x * m_m[1] + origin.y * m_m[5] + origin.z * m_m[9]);
        m_m[14] = -(origin.x * m_m[2] + origin.y * m_m[6] + origin.z * m_m[10]);
        return *this;
    });
}

template class CTransform4<double>;

}  // namespace QEL::Elements

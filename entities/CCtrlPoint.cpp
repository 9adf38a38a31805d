// SPDX-License-Identifier: MIT
#include "entities/CCtrlPoint.h"

#include <algorithm>
#include <cmath>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

void CCtrlPoint::Validate() const {
    if (m_w == 0.0) {
        static CQEL_Operation const op("QEL::Core::CCtrlPoint::Validate");
        op.Throw(QEL_INVALID_PARAMETER, "w", "The Control Point's weight cannot be zero");
    }
}

CPoint3<double> CCtrlPoint::GetCartesianPt() const {
    Validate();
    return {m_x / m_w, m_y / m_w, m_z / m_w};
}

CCtrlPoint::operator CPoint3<float>() const {
    CPoint3<double> const p = GetCartesianPt();
    return {float(p.x), float(p.y), float(p.z)};
}

double CCtrlPoint::CalcDist4DFrom(CCtrlPoint const& other) const {
    double const dx = m_x - other.m_x, dy = m_y - other.m_y, dz = m_z - other.m_z, dw = m_w - other.m_w;
    return std::sqrt(dx * dx + dy * dy + dz * dz + dw * dw);
}

CCtrlPoint& CCtrlPoint::operator*=(CEntityTransform const& transform) {
    auto const& m = transform.GetMatrix();
    double const x = m_x / m_w, y = m_y / m_w, z = m_z / m_w;
    double tx = x * m[0] + y * m[4] + z * m[8] + m[12];
    double ty = x * m[1] + y * m[5] + z * m[9] + m[13];
    double tz = x * m[2] + y * m[6] + z * m[10] + m[14];
    double const h = x * m[3] + y * m[7] + z * m[11] + m[15];
    // A point sent to infinity keeps its undivided image rather than dividing by zero.
    if (h != 0.0) tx /= h, ty /= h, tz /= h;
    m_x = tx * m_w, m_y = ty * m_w, m_z = tz * m_w;
    MarkModified();
    return *this;
}

int CCtrlPoint::Compare(CCtrlPoint const& other, double tol) const {
    CPoint3<double> const a = GetCartesianPt(), b = other.GetCartesianPt();
    double s =
        std::max(std::sqrt(a.x * a.x + a.y * a.y + a.z * a.z), std::sqrt(b.x * b.x + b.y * b.y + b.z * b.z));
    if (s == 0.0) s = 1.0;  // both at the origin: the coordinates cannot decide
    auto decide = [tol](double d) {
        return d > 0.0 && std::fabs(d) > tol ? -1 : d < 0.0 && std::fabs(d) > tol ? 1 : 0;
    };
    double const ca[3] = {a.x, a.y, a.z}, cb[3] = {b.x, b.y, b.z};
    for (int c = 0; c < 3; ++c) {
        if (int const r = decide(ca[c] / s - cb[c] / s)) return r;
        if (int const r = decide(m_w - other.m_w)) return r;
    }
    return 0;
}

CCtrlPoint CCtrlPoint::operator+(CCtrlPoint const& o) const {
    return {m_x + o.m_x, m_y + o.m_y, m_z + o.m_z, m_w + o.m_w};
}
CCtrlPoint CCtrlPoint::operator-(CCtrlPoint const& o) const {
    return {m_x - o.m_x, m_y - o.m_y, m_z - o.m_z, m_w - o.m_w};
}
CCtrlPoint CCtrlPoint::operator*(double f) const {
    return {m_x * f, m_y * f, m_z * f, m_w * f};
}
CCtrlPoint CCtrlPoint::operator/(double d) const {
    return {m_x / d, m_y / d, m_z / d, m_w / d};
}
bool CCtrlPoint::operator==(CCtrlPoint const& o) const {
    return m_x == o.m_x && m_y == o.m_y && m_z == o.m_z && m_w == o.m_w;
}
double const& CCtrlPoint::operator[](int i) const {
    return i == 0   ? m_x
           : i == 1 ? m_y
           : i == 2 ? m_z
           : i == 3 ? m_w
                    : Elements::Detail::InvalidReference<double const>();
}
double& CCtrlPoint::operator[](int i) {
    return i == 0   ? m_x
           : i == 1 ? m_y
           : i == 2 ? m_z
           : i == 3 ? m_w
                    : Elements::Detail::InvalidReference<double>();
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "core/CBoundingBox.h"

namespace QEL::Elements {

void CBoundingBox::Inflate(double margin) {
    if (IsEmpty()) return;
    CVector3<double> const grow(margin, margin, margin);
    m_min -= grow;
    m_max += grow;
    if (!(m_min.x <= m_max.x && m_min.y <= m_max.y && m_min.z <= m_max.z)) Reset();
}

bool CBoundingBox::Intersects(CBoundingBox const& box, double tolerance) const {
    if (IsEmpty() || box.IsEmpty()) return false;
    return m_min.x <= box.m_max.x + tolerance && box.m_min.x <= m_max.x + tolerance &&
           m_min.y <= box.m_max.y + tolerance && box.m_min.y <= m_max.y + tolerance &&
           m_min.z <= box.m_max.z + tolerance && box.m_min.z <= m_max.z + tolerance;
}

CBoundingBox CBoundingBox::GetTransformed(CTransform4<double> const& transform) const {
    CBoundingBox result;
    if (IsEmpty()) return result;
    for (int corner = 0; corner < 8; ++corner) {
        CPoint3<double> const p((corner & 1) ? m_max.x : m_min.x, (corner & 2) ? m_max.y : m_min.y,
                                (corner & 4) ? m_max.z : m_min.z);
        result.Add(transform.Apply(p));
    }
    return result;
}

}  // namespace QEL::Elements

// SPDX-License-Identifier: MIT
#include "core/CEntityTransform.h"

namespace QEL::Elements {

namespace {

constexpr double kRigidTolerance = 1e-9;

}  // namespace

CEntityTransform::CEntityTransform() = default;

CEntityTransform::CEntityTransform(CTransform4<double> const& matrix) : m_matrix(matrix) {
    m_rigid = matrix.IsRigid(kRigidTolerance);
    double const det = matrix.GetLinearDeterminant();
    m_reversing = det < 0.0;
    // The cofactor matrix of L has the rows L1 x L2, L2 x L0, L0 x L1 and
    // equals det(L) L^-T; multiplying by the sign of det gives L^-T up to a
    // positive scale, defined also when L is singular.
    CVector3<double> const r0(matrix[0], matrix[1], matrix[2]);
    CVector3<double> const r1(matrix[4], matrix[5], matrix[6]);
    CVector3<double> const r2(matrix[8], matrix[9], matrix[10]);
    double const sign = det < 0.0 ? -1.0 : 1.0;
    CVector3<double> const c0 = r1.Cross(r2) * sign, c1 = r2.Cross(r0) * sign, c2 = r0.Cross(r1) * sign;
    double const m[16] = {c0.x, c0.y, c0.z, 0, c1.x, c1.y, c1.z, 0, c2.x, c2.y, c2.z, 0, 0, 0, 0, 1};
    m_normalMap = CTransform4<double>(m);
}

CEntityTransform CEntityTransform::GetPostTransformed(CEntityTransform const& next) const {
    return CEntityTransform(m_matrix.GetPostTransformed(next.m_matrix));
}

CEntityTransform CEntityTransform::GetInverted() const {
    return CEntityTransform(m_matrix.GetInverted());
}

}  // namespace QEL::Elements

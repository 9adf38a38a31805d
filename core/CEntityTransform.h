// SPDX-License-Identifier: MIT
// CEntityTransform: what an entity's Transform takes. It wraps a
// CTransform4<double> and classifies it once, at construction, so that an
// entity transforming a million points and normals does not re-examine the
// matrix per element:
// - rigid: affine, and the linear part is a rotation (CTransform4::IsRigid
//   with tolerance 1e-9): lengths, angles and orientation are kept;
// - orientation-reversing: the linear part has a negative determinant (a
//   mirror): a triangulation must reverse its triangles to keep their normals
//   pointing outwards.
// The classification is derived from the matrix and cannot disagree with it.
//
// Points follow the point rule of CTransform4 (translation, projective row,
// w == 0 leaves a point unchanged), vectors the vector rule (linear part
// only). Normals follow the normal rule: for a rigid transform exactly the
// vector rule; otherwise n' = n L^-T (L the linear part, row vectors), which
// keeps normals perpendicular to transformed surfaces under scale and shear,
// rescaled to the length of n. For a singular L the cofactor matrix stands in
// for L^-T (its limit up to scale); a normal it maps to zero stays zero.
#pragma once

#include "core/CPoint3.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"

namespace QEL::Elements {

class QEL_API CEntityTransform {
  public:
    // The identity (rigid).
    CEntityTransform();
    // Wraps matrix (implicit, so that a CTransform4 can be handed to any
    // entity's Transform directly).
    CEntityTransform(CTransform4<double> const& matrix);  // NOLINT(google-explicit-constructor)

    CTransform4<double> const& GetMatrix() const { return m_matrix; }
    bool IsRigid() const { return m_rigid; }
    bool IsOrientationReversing() const { return m_reversing; }
    // Exactly the identity matrix: entities may skip the work.
    bool IsIdentity() const { return m_matrix == CTransform4<double>::Identity(); }

    CPoint3<double> TransformPoint(CPoint3<double> const& p) const { return m_matrix.Apply(p); }
    CVector3<double> TransformVector(CVector3<double> const& v) const { return m_matrix.Apply(v); }
    CVector3<double> TransformNormal(CVector3<double> const& n) const {
        if (m_rigid) return m_matrix.Apply(n);
        CVector3<double> mapped = m_normalMap.Apply(n);
        double const length = mapped.Mag();
        if (length > 0.0) mapped *= n.Mag() / length;
        return mapped;
    }

    // This transform followed by next.
    CEntityTransform GetPostTransformed(CEntityTransform const& next) const;
    // The inverse (with CTransform4's singular rule: the identity).
    CEntityTransform GetInverted() const;

    bool operator==(CEntityTransform const& other) const { return m_matrix == other.m_matrix; }

  private:
    CTransform4<double> m_matrix;
    CTransform4<double> m_normalMap;  // sign(det) x cofactor(L), unscaled
    bool m_rigid = true;
    bool m_reversing = false;
};

}  // namespace QEL::Elements

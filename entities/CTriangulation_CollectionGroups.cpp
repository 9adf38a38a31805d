// SPDX-License-Identifier: MIT
#include "entities/CTriangulation_CollectionGroups.h"

namespace QEL::Core {

void CTrisNms::Recompute(std::span<CVector3<double>> values) {
    CTriangulation_Triangle const* const triangles = m_triangles.Data();
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = triangles[i].ComputeNormal();
}

void CTrisCoM::Recompute(std::span<CPoint3<double>> values) {
    CTriangulation_Triangle const* const triangles = m_triangles.Data();
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = triangles[i].ComputeCentreOfMass();
}

CTriangulation_Vertex_CollectionGroup::CTriangulation_Vertex_CollectionGroup()
    : m_pts(this, true),
      m_nms(this, false),
      m_cnm(this, false),
      m_cuv(this, false),
      m_err(this, false),
      m_sta(this, false),
      m_usr(this, false),
      m_vel(this, false) {}

CTriangulation_Vertex_CollectionGroup::~CTriangulation_Vertex_CollectionGroup() = default;

void CTriangulation_Vertex_CollectionGroup::SetModifiedFlags(bool* elements, bool* attributes) {
    m_pts.SetDataModifiedFlag(elements);
    m_nms.SetDataModifiedFlag(attributes);
    m_cnm.SetDataModifiedFlag(attributes);
    m_cuv.SetDataModifiedFlag(attributes);
    m_err.SetDataModifiedFlag(attributes);
    m_sta.SetDataModifiedFlag(attributes);
    m_usr.SetDataModifiedFlag(attributes);
    m_vel.SetDataModifiedFlag(attributes);
}

CTriangulation_Triangle_CollectionGroup::CTriangulation_Triangle_CollectionGroup()
    : m_tris(this, true),
      m_nms(this, true, m_tris),
      m_com(this, true, m_tris),
      m_cnm(this, false),
      m_col(this, false),
      m_flag(this, false),
      m_ind(this, false),
      m_sta(this, false),
      m_type(this, false),
      m_usr(this, false) {
    m_ind.SetDefaultValue(-1);  // an index never set reads as no index
}

CTriangulation_Triangle_CollectionGroup::~CTriangulation_Triangle_CollectionGroup() = default;

void CTriangulation_Triangle_CollectionGroup::SetModifiedFlags(bool* elements, bool* attributes) {
    m_tris.SetDataModifiedFlag(elements);
    m_cnm.SetDataModifiedFlag(attributes);
    m_col.SetDataModifiedFlag(attributes);
    m_flag.SetDataModifiedFlag(attributes);
    m_ind.SetDataModifiedFlag(attributes);
    m_sta.SetDataModifiedFlag(attributes);
    m_type.SetDataModifiedFlag(attributes);
    m_usr.SetDataModifiedFlag(attributes);
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "entities/CTriangulation.h"

#include "core/CQEL_Operation.h"
#include "entities/CTriangulation_ClosestTriangle_BSPTree.h"

namespace QEL::Core {

namespace {

QueryCTF_Factory g_queryFactory = nullptr;

}  // namespace

CTriangulation::CTriangulation() : m_cache(*this) {}

CTriangulation::CTriangulation(CTriangulation const& other)
    : CQEL_Handler_Entity(),
      CTriangulation_Base(other),
      CQEL_Type(other),
      ISerialisable(),
      CIdentifiable<CTriangulation>(),
      m_cache(*this) {}

CTriangulation::~CTriangulation() = default;

CTriangulation& CTriangulation::operator=(CTriangulation const& other) {
    Copy(other);
    return *this;
}

void CTriangulation::Copy(CTriangulation const& other) {
    if (this == &other) return;
    CTriangulation_Base::Copy(other);
    CQEL_Type::operator=(other);
}

void CTriangulation::Reset() {
    CTriangulation_Base::Reset();
}

void CTriangulation::Transform(CEntityTransform const& transform) {
    static CQEL_Operation const op("QEL::Core::CTriangulation::Transform");
    op.Run([&] {
        for (CTriangulation_Vertex& vertex : EditVertices())
            vertex.SetPoint(transform.TransformPoint(vertex.GetPoint()));
        if (HasPtsMetaData(CTrisData_Pts::Nms)) {
            CTriangulation_Vertex_CollectionGroup& group = GetVertexGroup();
            for (int i = 0; i < GetNumPts(); ++i)
                group.set_Nms(i, transform.TransformNormal(group.get_Nms(i)));
        }
        MarkModified();
    });
}

CPoint3<double> CTriangulation::GetCenMass() const {
    return m_cache.GetCenMass();
}
CPoint3<double> CTriangulation::GetMin() const {
    return m_cache.GetMin();
}
CPoint3<double> CTriangulation::GetMax() const {
    return m_cache.GetMax();
}
SErrorStats const* CTriangulation::GetErrorStats() const {
    return &m_cache.GetErrorStats();
}
CQEL_Array<CVector3<double>> const& CTriangulation::GetRenderNormals() const {
    return m_cache.GetRenderNormals();
}
bool CTriangulation::HasValidTopology() const {
    return m_cache.GetTopology().IsValid();
}
CTriTopologyCheckResults const& CTriangulation::GetTopologyCheckResults() const {
    return m_cache.GetTopology();
}

ITriangulation_ClosestTriangleFinder const& CTriangulation::GetClosestTriangleFinder() const {
    return m_cache.GetClosestTriangleFinder();
}
bool CTriangulation::FindClosestTriangle(CPoint3<double> const& query, SClosestTriangle& result) const {
    return GetClosestTriangleFinder().FindClosest(query, result);
}
void CTriangulation::RegisterQueryCTF(QueryCTF_Factory factory) {
    m_cache.SetFactory(factory);
}
void CTriangulation::RegisterQueryCTF_Static(QueryCTF_Factory factory) {
    g_queryFactory = factory;
}
QueryCTF_Factory CTriangulation::GetQueryCTF_Static() {
    return g_queryFactory ? g_queryFactory : &CTriangulation_ClosestTriangle_BSPTree::Create;
}

CQEL_Type* CTriangulation::TypeCopy() const {
    return new CTriangulation(*this);
}

}  // namespace QEL::Core

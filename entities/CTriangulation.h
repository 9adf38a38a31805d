// SPDX-License-Identifier: MIT
// CTriangulation: the library's triangle mesh.
//
// Vertices and oriented triangles whose edges are half-edges paired with the
// opposite half-edge of the neighbouring triangle (CTriangulation_Elements.h
// for the elements and their invariants, CTriangulation_Base.h for storage,
// attributes and the bulk-building contract). It is a typed entity
// (CQEL_Type: transformable, with bounding corners, centre of mass and error
// statistics computed on demand), serialisable into the native container and
// identified there by the class identifier
// "6B3F2A90-4C1D-4E57-9A86-3D0C7E52F1B4".
//
// Derived data live in the entity's cache (CTriangulation_Cache): box, centre
// of mass, error statistics of the vertex Err values, render normals, the
// topology check behind HasValidTopology, and the closest-triangle finder.
#pragma once

#include "core/CPoint3.h"
#include "core/ISerialisable.h"
#include "core/QEL_Export.h"
#include "entities/CQEL_Type.h"
#include "entities/CTriangulation_Base.h"
#include "entities/CTriangulation_Cache.h"
#include "entities/IIdentifiable.h"
#include "entities/ITriangulation_ClosestTriangleFinder.h"

namespace QEL::Core {

class QEL_API CTriangulation : public CTriangulation_Base,
                               public CQEL_Type,
                               public ISerialisable,
                               public CIdentifiable<CTriangulation> {
  public:
    static constexpr char const kClassGUID[] = "6B3F2A90-4C1D-4E57-9A86-3D0C7E52F1B4";

    // No vertices, no triangles, default attributes.
    CTriangulation();
    // A copy with its own links (an empty other gives an empty copy).
    CTriangulation(CTriangulation const& other);
    ~CTriangulation() override;

    // As CTriangulation_Base::Copy (an empty other leaves this one as it
    // was), plus name and user metadata.
    CTriangulation& operator=(CTriangulation const& other);
    void Copy(CTriangulation const& other);
    // No vertices, no triangles, default attributes; name and user metadata kept.
    void Reset();

    // Maps every vertex position by the transform (row vectors, division by
    // w), marking the vertices modified so that everything derived is
    // recomputed. Vertex normals, if present, follow the transform's normal
    // rule. Location of failures: "QEL::Core::CTriangulation::Transform".
    void Transform(CEntityTransform const& transform) override;

    CPoint3<double> GetCenMass() const override;
    CPoint3<double> GetMin() const override;
    CPoint3<double> GetMax() const override;
    // Statistics of the vertex Err values (count 0 without them).
    SErrorStats const* GetErrorStats() const override;
    // Area-weighted unit vertex normals, one per vertex.
    CQEL_Array<CVector3<double>> const& GetRenderNormals() const;
    // Whether the pairs and vertex edges obey the invariants (see
    // CTriTopologyCheckResults, also available in full).
    bool HasValidTopology() const;
    CTriTopologyCheckResults const& GetTopologyCheckResults() const;

    // The closest-triangle finder for the triangulation as it stands, built on
    // first use by the registered factory and kept until the triangulation
    // changes. Queries cost about log(number of triangles). Getting the
    // finder may build it (one thread); the finder itself is read only, so
    // several threads may query it at once while the triangulation stands.
    ITriangulation_ClosestTriangleFinder const& GetClosestTriangleFinder() const;
    // Convenience: GetClosestTriangleFinder().FindClosest(query, result).
    bool FindClosestTriangle(CPoint3<double> const& query, SClosestTriangle& result) const;
    // The factory for this triangulation's finders; null returns to the
    // process-wide one.
    void RegisterQueryCTF(QueryCTF_Factory factory);
    // The process-wide factory; null returns to the library's own
    // (CTriangulation_ClosestTriangle_BSPTree). Not thread-safe against
    // concurrent queries.
    static void RegisterQueryCTF_Static(QueryCTF_Factory factory);
    static QueryCTF_Factory GetQueryCTF_Static();

    // The triangulation's record of the native container.
    bool Serialise(CExportData* data) const override;
    bool Deserialise(CImportData* data) override;

  private:
    CQEL_Type* TypeCopy() const override;

    mutable CTriangulation_Cache m_cache;
};

}  // namespace QEL::Core

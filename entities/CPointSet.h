// SPDX-License-Identifier: MIT
// CPointSet: the library's point-cloud entity.
//
// A point set is an ordered list of sections of points (CPointSet_Base), each
// point carrying the optional attributes of its section (CPtsData). It is a
// typed entity (CQEL_Type: transformable, with centre of mass, bounding
// corners and error statistics computed on demand), serialisable into the
// native container, and identified there by the class identifier
// "C23E1C5E-1C72-4e3f-A39C-64FFEE58A73A".
//
// Operations on point sets live in operation classes bound to one set
// (CPointSet_Create, CPointSet_Modify, CPointSet_Analyse, CPointSet_Merge in
// operations/pointset/).
#pragma once

#include "core/CPoint3.h"
#include "core/QEL_Export.h"
#include "entities/CPointSet_Base.h"
#include "entities/CPointSet_Cache.h"
#include "entities/CQEL_Type.h"
#include "entities/IIdentifiable.h"
#include "core/ISerialisable.h"

namespace QEL::Core {

class QEL_API CPointSet : public CPointSet_Base,
                          public CQEL_Type,
                          public ISerialisable,
                          public CIdentifiable<CPointSet> {
  public:
    static constexpr char const kClassGUID[] = "C23E1C5E-1C72-4e3f-A39C-64FFEE58A73A";

    // No sections.
    CPointSet();
    // numSections sections of numPts default points each, with the attributes
    // flags (plus def). Ranges as CPointSet_Base::CheckSpace.
    CPointSet(int numSections, int numPts, CPtsData flags);
    // One section, a copy of section.
    explicit CPointSet(CPointSet_Section const& section);
    CPointSet(CPointSet const& other);
    // One section holding one point.
    explicit CPointSet(CPoint3<double> const& point);
    CPointSet(double x, double y, double z);
    // One section holding count points (count >= 0, else reason 5 "count";
    // points may be null only when count is 0, else reason 0 "points").
    CPointSet(int count, CPoint3<double> const* points);
    ~CPointSet() override;

    CPointSet& operator=(CPointSet const& other);
    // Points, attributes, name and user metadata of other (other may be this set).
    void Copy(CPointSet const& other);
    // No sections, no points; name and user metadata are kept.
    void Reset();

    // Replaces every point p by p transformed (with the division by w of a
    // projective transform) and, where a section carries normals, every
    // normal by the rotation part of the transform (CPointSet_Section::
    // Transform: exact for rigid transforms; under scale or shear the normal
    // stays perpendicular to the moved surface and keeps its length).
    // Associated points and normals are left as they are: they belong to
    // whatever operation filled them.
    void Transform(CEntityTransform const& transform) override;

    CPoint3<double> GetCenMass() const override;
    CPoint3<double> GetMin() const override;
    CPoint3<double> GetMax() const override;
    // Statistics over the err values of every section that carries them.
    SErrorStats const* GetErrorStats() const override;

    // The point set's record of the native container (implemented with the container).
    bool Serialise(CExportData* data) const override;
    bool Deserialise(CImportData* data) override;

  private:
    CQEL_Type* TypeCopy() const override;

    mutable CPointSet_Cache m_cache;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The two collection groups of a triangulation: one data manager for the
// vertices and their attributes, one for the triangles and theirs.
//
// Each group couples one collection per attribute of its flag set
// (CTrisData_Pts, CTrisData_Tris), in bit order, so that the group's active
// mask is its attribute set. Accessors follow one pattern per attribute X:
// get_X and set_X by index or by element pointer (an index outside the
// group, a pointer not into it, or an attribute that is not active throws
// reason 5, "index"), and GetXArray for the whole array (empty when the
// attribute is not active). The elements themselves (Pts, Tris) are handed
// out writable without marking: their own mutating operations mark them.
//
// The triangle normals (Nms) and centres (CoM) are computed collections
// (CTrisNms, CTrisCoM): reading them recomputes all of them once after any
// change of a vertex or a triangle.
#pragma once

#include <span>

#include "core/CCollection_CachedData.h"
#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CDataManager.h"
#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CQEL_Colour.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CTriangulation_Elements.h"
#include "entities/CTrisData.h"

namespace QEL::Core {

using Elements::CPoint2;
using Elements::CQEL_Colour;

// The collection of the elements themselves, with unmarked raw access for the
// triangulation's own bookkeeping. Its fill value carries the data-modified
// flag, so that elements made by growth are attached as they are written:
// growing by a million triangles then takes one pass over the memory, not two.
template <class T>
class CTriangulation_ElementCollection final : public CCollection_Internal_InBuilt<T> {
  public:
    using CCollection_Internal_InBuilt<T>::CCollection_Internal_InBuilt;
    T* Data() { return this->Elements(); }
    T const* Data() const { return this->GetAll().data(); }

  protected:
    void DataModifiedFlagChanged() override {
        T fill = this->GetDefaultValue();
        fill.AttachToFlag(this->GetDataModifiedFlag());
        this->SetDefaultValue(fill);
        CCollection_Internal_InBuilt<T>::DataModifiedFlagChanged();
    }
    // New elements are copies of the attached fill value.
    void CheckSpace(int n) override { CCollection_Internal<T>::CheckSpace(n); }
    void Insert(int index) override { CCollection_Internal<T>::Insert(index); }
    void AllocateExplicit(int count, int allocate, int offset) override {
        CCollection_Internal<T>::AllocateExplicit(count, allocate, offset);
    }
};

// Unit normals of the triangles, computed.
class QEL_API CTrisNms final : public CCollection_CachedData<CVector3<double>> {
  public:
    CTrisNms(CDataManager* pDataManager, bool active,
             CTriangulation_ElementCollection<CTriangulation_Triangle> const& triangles)
        : CCollection_CachedData<CVector3<double>>(pDataManager, active), m_triangles(triangles) {}

  protected:
    void Recompute(std::span<CVector3<double>> values) override;

  private:
    CTriangulation_ElementCollection<CTriangulation_Triangle> const& m_triangles;
};

// Centres of mass of the triangles, computed.
class QEL_API CTrisCoM final : public CCollection_CachedData<CPoint3<double>> {
  public:
    CTrisCoM(CDataManager* pDataManager, bool active,
             CTriangulation_ElementCollection<CTriangulation_Triangle> const& triangles)
        : CCollection_CachedData<CPoint3<double>>(pDataManager, active), m_triangles(triangles) {}

  protected:
    void Recompute(std::span<CPoint3<double>> values) override;

  private:
    CTriangulation_ElementCollection<CTriangulation_Triangle> const& m_triangles;
};

// One stored attribute: get_X/set_X by index and by element pointer, GetXArray.
#define QEL_TRIS_ATTRIBUTE(Element, T, Name, member)  \
    T const& get_##Name(int i) const {                \
        return member.Get(i);                         \
    }                                                 \
    T& set_##Name(int i, T const& value) {            \
        return member.Set(i, value);                  \
    }                                                 \
    T const& get_##Name(Element const* p) const {     \
        return member.Get(IndexOf(p));                \
    }                                                 \
    T& set_##Name(Element const* p, T const& value) { \
        return member.Set(IndexOf(p), value);         \
    }                                                 \
    CQEL_Array<T> const& Get##Name##Array() const {   \
        return member.GetAsArray();                   \
    }

class QEL_API CTriangulation_Vertex_CollectionGroup : public CDataManager {
  public:
    // Pts active, no vertices.
    CTriangulation_Vertex_CollectionGroup();
    CTriangulation_Vertex_CollectionGroup(CTriangulation_Vertex_CollectionGroup const&) = delete;
    CTriangulation_Vertex_CollectionGroup& operator=(CTriangulation_Vertex_CollectionGroup const&) = delete;
    ~CTriangulation_Vertex_CollectionGroup() override;

    int GetNumPts() const { return GetNumElements(); }
    // Index of p in this group, -1 for null or a vertex elsewhere.
    int IndexOf(CTriangulation_Vertex const* p) const {
        CTriangulation_Vertex const* const base = m_pts.Data();
        return p && p >= base && p < base + GetNumElements() ? int(p - base) : -1;
    }

    CTriangulation_Vertex& get_Pts(int i) { return const_cast<CTriangulation_Vertex&>(m_pts.Get(i)); }
    CTriangulation_Vertex const& get_Pts(int i) const { return m_pts.Get(i); }
    CTriangulation_Vertex& set_Pts(int i, CPoint3<double> const& p) {
        CTriangulation_Vertex& vertex = get_Pts(i);
        vertex.SetPoint(p);
        return vertex;
    }
    CQEL_Array<CTriangulation_Vertex> const& GetPtsArray() const { return m_pts.GetAsArray(); }
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, CVector3<double>, Nms, m_nms)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, CVector3<double>, CNm, m_cnm)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, CPoint2<double>, CUV, m_cuv)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, double, Err, m_err)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, int, Sta, m_sta)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, void*, Usr, m_usr)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Vertex, double, Vel, m_vel)

    CTrisData_Pts GetMetaDataFlags() const { return CTrisData_Pts(GetActiveCollections()); }

  private:
    friend class CTriangulation_Base;

    // elements: the vertices' flag; attributes: every other collection's.
    void SetModifiedFlags(bool* elements, bool* attributes);

    CTriangulation_ElementCollection<CTriangulation_Vertex> m_pts;
    CCollection_Internal<CVector3<double>> m_nms;
    CCollection_Internal<CVector3<double>> m_cnm;
    CCollection_Internal<CPoint2<double>> m_cuv;
    CCollection_Internal<double> m_err;
    CCollection_Internal<int> m_sta;
    CCollection_Internal<void*> m_usr;
    CCollection_Internal<double> m_vel;
};

class QEL_API CTriangulation_Triangle_CollectionGroup : public CDataManager {
  public:
    // Tris, Nms and CoM active, no triangles.
    CTriangulation_Triangle_CollectionGroup();
    CTriangulation_Triangle_CollectionGroup(CTriangulation_Triangle_CollectionGroup const&) = delete;
    CTriangulation_Triangle_CollectionGroup& operator=(CTriangulation_Triangle_CollectionGroup const&) =
        delete;
    ~CTriangulation_Triangle_CollectionGroup() override;

    int GetNumTris() const { return GetNumElements(); }
    // Index of p in this group, -1 for null or a triangle elsewhere.
    int IndexOf(CTriangulation_Triangle const* p) const {
        CTriangulation_Triangle const* const base = m_tris.Data();
        return p && p >= base && p < base + GetNumElements() ? int(p - base) : -1;
    }

    CTriangulation_Triangle& get_Tris(int i) { return const_cast<CTriangulation_Triangle&>(m_tris.Get(i)); }
    CTriangulation_Triangle const& get_Tris(int i) const { return m_tris.Get(i); }
    CQEL_Array<CTriangulation_Triangle> const& GetTrisArray() const { return m_tris.GetAsArray(); }
    // Computed on read after any change (set_ stores a value until then).
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, CVector3<double>, Nms, m_nms)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, CPoint3<double>, CoM, m_com)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, CVector3<double>, CNm, m_cnm)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, CQEL_Colour, Col, m_col)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, bool, Flag, m_flag)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, int, Ind, m_ind)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, int, Sta, m_sta)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, int, Type, m_type)
    QEL_TRIS_ATTRIBUTE(CTriangulation_Triangle, void*, Usr, m_usr)

    CTrisData_Tris GetMetaDataFlags() const { return CTrisData_Tris(GetActiveCollections()); }
    CTrisNms& GetNmsCollection() const { return m_nms; }
    CTrisCoM& GetCoMCollection() const { return m_com; }

  private:
    friend class CTriangulation_Base;

    void SetModifiedFlags(bool* elements, bool* attributes);

    CTriangulation_ElementCollection<CTriangulation_Triangle> m_tris;
    mutable CTrisNms m_nms;
    mutable CTrisCoM m_com;
    CCollection_Internal<CVector3<double>> m_cnm;
    CCollection_Internal<CQEL_Colour> m_col;
    CCollection_Internal<bool> m_flag;
    CCollection_Internal<int> m_ind;
    CCollection_Internal<int> m_sta;
    CCollection_Internal<int> m_type;
    CCollection_Internal<void*> m_usr;
};

#undef QEL_TRIS_ATTRIBUTE

}  // namespace QEL::Core

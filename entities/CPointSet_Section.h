// SPDX-License-Identifier: MIT
// CPointSet_Section: one section of a point set (a scan line, a measured
// profile, one ring of a generated shape).
//
// A section is a data manager with one collection per point attribute of
// CPtsData, eleven in all, coupled in the order of the flag bits, so that the
// data manager's active mask is the section's attribute set. The positions
// (def) are always active; every active collection holds exactly GetNumPts()
// elements, and new points get the default element of every other attribute:
// zero for positions, normals, parameter pairs, associated points and
// normals, colours, errors, velocities and status words, -1 for indices (an
// index never set reads as no index) and null for user pointers.
//
// Element access by local index is checked: an index outside
// 0..GetNumPts()-1 throws reason 5 ("index"); reading an attribute that the
// section does not carry throws reason 30 ("Attribute is not present").
//
// A section that belongs to a point set tells it of every change of its point
// count and of its data, so that the set's total count, its index cache and
// its derived data (bounds, centre of mass, error statistics) stay current.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>

#include "core/CCollection_Internal.h"
#include "core/CCollection_Internal_InBuilt.h"
#include "core/CDataManager.h"
#include "core/CEntityTransform.h"
#include "core/CPoint2.h"
#include "core/CPoint3.h"
#include "core/CQEL_Point3_Updatable.h"
#include "core/CTransform4.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"
#include "entities/CPtsData.h"

namespace QEL::Core {

using Elements::CEntityTransform;
using Elements::CPoint2;
using Elements::CPoint3;
using Elements::CQEL_Point3_Updatable;
using Elements::CTransform4;
using Elements::CVector3;

class CPointSet_Base;

class QEL_API CPointSet_Section : public CDataManager {
  public:
    using Point = CQEL_Point3_Updatable<double>;

    // Empty, only positions.
    CPointSet_Section();
    // Copy of other's points and attributes; the copy belongs to no point set.
    CPointSet_Section(CPointSet_Section const& other);
    // Copy of other's points carrying exactly the attributes flags (plus def):
    // attributes both have are copied, the others get their defaults.
    CPointSet_Section(CPointSet_Section const& other, CPtsData flags);
    // numPts default points (numPts >= 0, else reason 5 "num_pts") with the
    // attributes flags (plus def).
    CPointSet_Section(int numPts, CPtsData flags);
    // Takes other's points and attributes; the owning point set, if any, is kept.
    CPointSet_Section& operator=(CPointSet_Section const& other);
    ~CPointSet_Section() override;

    // --- points ---------------------------------------------------------------
    int GetNumPts() const { return GetNumElements(); }
    // Appends one point; every other active attribute gets its default.
    void AddPoint(CPoint3<double> const& point);
    void AddPoint(double x, double y, double z);
    // Removes the point at index (0..GetNumPts()-1, else reason 5 "index").
    void RemovePoint(int index);
    // Removes the last count points (0..GetNumPts(), else reason 5 "count").
    void DecrementNumPts(int count);
    // Reverses the point order in every active attribute.
    void Reverse();
    // First and last point; an empty section throws reason 30 "Section contains no points".
    Point& FirstPoint();
    Point const& FirstPoint() const;
    Point& LastPoint();
    Point const& LastPoint() const;
    // Copies every attribute that both sections carry from source's point from
    // to this section's point to; the others of point to are left alone.
    // source may be this section; null source throws reason 0 ("source").
    void CopyElement(int to, int from, CPointSet_Section const* source);
    // Makes room for numPts points without changing the count.
    void PreAllocate(int numPts);
    // Shrinks every array to its used size.
    void Compact();
    // Bytes held by the active collections (allocated slots, not only used ones).
    std::int64_t GetApproxSize() const;
    // Removes all points and attributes but def; installs the defaults again.
    void Reset();
    // Takes other's points and attributes (as assignment).
    void Copy(CPointSet_Section const& other);
    // Replaces every point by its image under the transform (row vectors,
    // division by w; a point whose w is exactly 0 is left as it is) and, when
    // the section carries normals, every normal by the transform's normal
    // rule: for a rigid transform its rotation alone; otherwise the inverse
    // transpose of the linear part, keeping the normal's length, so that
    // normals stay perpendicular to the moved surface and are never scaled.
    void Transform(CEntityTransform const& transform);

    // --- attributes -----------------------------------------------------------
    // Activates flags; new attribute arrays hold GetNumPts() default elements.
    void AddMetaData(CPtsData flags);
    // Discards the attributes flags; def is never removed.
    void RemoveMetaData(CPtsData flags);
    // Makes exactly flags (plus def) active.
    void SetMetaData(CPtsData flags);
    // Discards every attribute but def.
    void RemoveAllMetaData();
    // True when every flag of flags is active.
    bool HasMetaData(CPtsData flags) const { return GetMetaDataFlags().Contains(flags); }
    CPtsData GetMetaDataFlags() const { return CPtsData(GetActiveCollections()); }
    // Sets the point count to numPts (>= 0, else reason 5 "num_pts"), adding
    // default points or removing from the end, and activates flags.
    void CheckSpace(int numPts, CPtsData flags);

    // --- attribute access by local index ----------------------------------------
    Point& get_Pts(int i);
    Point const& get_Pts(int i) const;
    Point& set_Pts(int i, CPoint3<double> const& value);
    CVector3<double>& get_Nms(int i);
    CVector3<double> const& get_Nms(int i) const;
    CVector3<double>& set_Nms(int i, CVector3<double> const& value);
    CPoint3<double>& get_CPt(int i);
    CPoint3<double> const& get_CPt(int i) const;
    CPoint3<double>& set_CPt(int i, CPoint3<double> const& value);
    CVector3<double>& get_CNm(int i);
    CVector3<double> const& get_CNm(int i) const;
    CVector3<double>& set_CNm(int i, CVector3<double> const& value);
    CPoint2<double>& get_CUV(int i);
    CPoint2<double> const& get_CUV(int i) const;
    CPoint2<double>& set_CUV(int i, CPoint2<double> const& value);
    CPoint3<double>& get_Col(int i);
    CPoint3<double> const& get_Col(int i) const;
    CPoint3<double>& set_Col(int i, CPoint3<double> const& value);
    double const& get_Err(int i) const;
    double& set_Err(int i, double const& value);
    double const& get_Vel(int i) const;
    double& set_Vel(int i, double const& value);
    std::int16_t& get_Sta(int i);
    std::int16_t const& get_Sta(int i) const;
    std::int16_t& set_Sta(int i, std::int16_t const& value);
    std::int32_t& get_Ind(int i);
    std::int32_t const& get_Ind(int i) const;
    std::int32_t& set_Ind(int i, std::int32_t const& value);
    void*& get_Usr(int i);
    void* const& get_Usr(int i) const;
    void*& set_Usr(int i, void* const& value);

    // Whole arrays, read only. An inactive attribute gives an empty array.
    CQEL_Array<Point> const& GetPtsArray() const;
    CQEL_Array<CVector3<double>> const& GetNmsArray() const;
    CQEL_Array<CPoint3<double>> const& GetCPtArray() const;
    CQEL_Array<CVector3<double>> const& GetCNmArray() const;
    CQEL_Array<CPoint2<double>> const& GetCUVArray() const;
    CQEL_Array<CPoint3<double>> const& GetColArray() const;
    CQEL_Array<double> const& GetErrArray() const;
    CQEL_Array<double> const& GetVelArray() const;
    CQEL_Array<std::int16_t> const& GetStaArray() const;
    CQEL_Array<std::int32_t> const& GetIndArray() const;
    CQEL_Array<void*> const& GetUsrArray() const;

    // All positions, writable in place for bulk fills (the count cannot
    // change through it); counts as a change of the section's data.
    std::span<Point> EditPts() { return m_pts.EditAll(); }

    // The point set this section belongs to, or null.
    CPointSet_Base const* GetOwner() const { return m_owner; }

  private:
    friend class CPointSet_Base;

    void Init();
    void AddDataRaw(CPtsData flags);
    void RemoveDataRaw(CPtsData flags);
    void SetDataRaw(CPtsData flags);
    void CopyFrom(CPointSet_Section const& other, CPtsData flags);
    // Tells the owning set that the point count changed by delta.
    void Changed(int delta);
    // Points every collection at flag (the owning set's cache flag, or null):
    // the collections raise it on every change of their elements.
    void SetModifiedFlag(bool* flag);

    CCollection_Internal_InBuilt<Point> m_pts;
    CCollection_Internal<CVector3<double>> m_nms;
    CCollection_Internal<CPoint2<double>> m_cuv;
    CCollection_Internal<CPoint3<double>> m_cpt;
    CCollection_Internal<CVector3<double>> m_cnm;
    CCollection_Internal<CPoint3<double>> m_col;
    CCollection_Internal<double> m_err;
    CCollection_Internal<double> m_vel;
    CCollection_Internal<std::int16_t> m_sta;
    CCollection_Internal<std::int32_t> m_ind;
    CCollection_Internal<void*> m_usr;
    // The collections of the table's rows beyond the named ones
    // (kPointAttributes), in bit order after them; reached through
    // entities/CPointSet_Attributes.h.
    static constexpr int kNamed = 11;
    std::array<std::unique_ptr<ICollection>, CPtsData::kCount - kNamed> m_more;
    CPointSet_Base* m_owner = nullptr;
};

}  // namespace QEL::Core

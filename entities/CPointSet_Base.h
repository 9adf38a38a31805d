// SPDX-License-Identifier: MIT
// CPointSet_Base: the sectioned point store behind CPointSet.
//
// The base owns an ordered list of sections (CPointSet_Section) and keeps the
// total number of points over all of them. Every per-point accessor takes a
// global (sectionless) index in 0..GetNumPts()-1 and resolves it to a section
// and a local index with GetIndicesFromSectionlessIndex, which remembers the
// last index resolved: walking the points forwards or backwards costs O(1) per
// step, a random jump costs a walk over the sections in between, and empty
// sections are skipped.
//
// Accessor asymmetry, on purpose: positions, normals, associated points and
// normals, parameter pairs and colours are handed out by non-const reference;
// error, velocity, status, index and user values are writable only through
// their setters, so that the set can keep what depends on them current.
// Every non-const access counts as a change of the set's data (see
// GetCacheFlag): derived values are recomputed on their next use. A reference
// kept and written after derived values were asked for is not seen: fetch it
// again (or call GetCacheFlag().SetModified()) after such a write.
//
// A set may have sections carrying different attributes; the metadata calls
// below act on every section at once.
//
// Not thread-safe: even const access updates the index cache. A host uses one
// entity from one thread at a time.
#pragma once

#include <cstdint>

#include "core/CCache_Flag.h"
#include "core/CQEL_Ptr_Array.h"
#include "core/QEL_Export.h"
#include "entities/CPointSet_Section.h"

namespace QEL::Core {

class QEL_API CPointSet_Base {
  public:
    using Point = CPointSet_Section::Point;

    CPointSet_Base();
    // Deep copy of the sections.
    CPointSet_Base(CPointSet_Base const& other);
    CPointSet_Base& operator=(CPointSet_Base const& other);
    virtual ~CPointSet_Base();

    // --- counts and sections ----------------------------------------------------
    int GetNumSec() const { return m_sections.Count(); }
    int GetNumPts() const { return m_numPts; }
    // Section by index, 0..GetNumSec()-1 (else reason 5 "section_index").
    CPointSet_Section& get_Sec(int index);
    CPointSet_Section const& get_Sec(int index) const;
    // First and last section; a set without sections throws reason 30
    // "Pointset contains no sections".
    CPointSet_Section& GetHead();
    CPointSet_Section const& GetHead() const;
    CPointSet_Section& GetTail();
    CPointSet_Section const& GetTail() const;

    // Resolves a global index to (section, local). global outside
    // 0..GetNumPts()-1 throws reason 5, parameter "global_index", at
    // "QEL::Core::CPointSet_Base::GetIndicesFromSectionlessIndex".
    void GetIndicesFromSectionlessIndex(int global, int& section, int& local) const;

    // --- per-point access by global index ---------------------------------------
    // A point whose section lacks the attribute throws reason 30 ("Attribute is not present").
    Point& get_Pts(int global);
    // Inline: stepping to the neighbour of the last index resolved within its
    // section is the common case of a walk, and costs a few compares.
    Point const& get_Pts(int global) const {
        int const step = global - m_cacheGlobal;
        if ((step == 1 || step == -1) && global > 0 && global < m_numPts - 1) {
            CPointSet_Section const* section = m_sections[m_cacheSection];
            int const local = m_cacheLocal + step;
            if (local >= 0 && local < section->GetNumPts()) {
                m_cacheGlobal = global;
                m_cacheLocal = local;
                return section->m_pts.GetAsArray().Unsafe_Get(local);
            }
        }
        return get_Pts_Resolved(global);
    }
    Point& set_Pts(int global, CPoint3<double> const& value);
    CVector3<double>& get_Nms(int global);
    CVector3<double> const& get_Nms(int global) const;
    CVector3<double>& set_Nms(int global, CVector3<double> const& value);
    CPoint3<double>& get_CPt(int global);
    CPoint3<double> const& get_CPt(int global) const;
    CPoint3<double>& set_CPt(int global, CPoint3<double> const& value);
    CVector3<double>& get_CNm(int global);
    CVector3<double> const& get_CNm(int global) const;
    CVector3<double>& set_CNm(int global, CVector3<double> const& value);
    CPoint2<double>& get_CUV(int global);
    CPoint2<double> const& get_CUV(int global) const;
    CPoint2<double>& set_CUV(int global, CPoint2<double> const& value);
    CPoint3<double>& get_Col(int global);
    CPoint3<double> const& get_Col(int global) const;
    CPoint3<double>& set_Col(int global, CPoint3<double> const& value);
    double const& get_Err(int global) const;
    double& set_Err(int global, double const& value);
    double const& get_Vel(int global) const;
    double& set_Vel(int global, double const& value);
    std::int16_t const& get_Sta(int global) const;
    std::int16_t& set_Sta(int global, std::int16_t const& value);
    std::int32_t const& get_Ind(int global) const;
    std::int32_t& set_Ind(int global, std::int32_t const& value);
    void* const& get_Usr(int global) const;
    void*& set_Usr(int global, void* const& value);

    // --- whole set -----------------------------------------------------------------
    // Reverses the order of the sections (not the points within them).
    void ReverseSectionOrder();
    // Shrinks every section's arrays, and the section list, to their used size.
    void Compact();
    // Bytes held: the section-pointer array's capacity times the pointer size,
    // plus, per section, its collections' allocated bytes and the section object.
    std::int64_t GetApproxSize() const;
    // Makes the set exactly numSections sections (>= 0, else reason 5
    // "num_sections") of numPts points each (>= 0, else reason 5 "num_pts"),
    // with at least the attributes flags: existing sections keep their leading
    // points, missing ones are added, surplus ones deleted.
    void CheckSpace(int numSections, int numPts, CPtsData flags);
    // CheckSpace(1, numPts, flags): one section of numPts points.
    void CheckSpace(int numPts, CPtsData flags);

    // --- metadata over every section -----------------------------------------------
    void AddMetaData(CPtsData flags);
    void RemoveMetaData(CPtsData flags);
    void SetMetaData(CPtsData flags);
    void RemoveAllMetaData();
    // True when every section carries every flag of flags (false for a set without sections).
    bool HasMetaData(CPtsData flags) const;
    // The attributes that every section carries; def alone for a set without sections.
    CPtsData GetMetaDataFlags() const;

    // Empties the set: no sections, no points.
    void Reset();
    // Deep copy of other's sections (other may be this set).
    void Copy(CPointSet_Base const& other);

    // The flag raised by every change of the set's points or attributes.
    // Derived data (bounds, statistics) validate against it.
    CCache_Flag& GetCacheFlag() const { return m_cacheFlag; }

  private:
    friend class CPointSet_Section;
    friend class CPointSet;
    // Section management belongs to the operations that keep the set
    // consistent (count, cache, ownership).
    friend class CPointSet_Modify;
    friend class CPointSet_Merge;
    friend class CPointSet_Create;
    friend class CPointSet_QELParser;
    friend class CPointSetParser;
    friend class CPlyParser;

    // Takes ownership of section and inserts it before index (0..GetNumSec()).
    CPointSet_Section* InsertSectionAtIndex(CPointSet_Section* section, int index);
    // Inserts a copy of section before index.
    CPointSet_Section* AddSectionAtIndex(CPointSet_Section const& section, int index);
    // Removes a section from the list without deleting it; the caller owns it.
    CPointSet_Section* DetachSection(int index);
    CPointSet_Section* DetachSection(CPointSet_Section* section);
    void DeleteSection(int index);
    void DeleteSection(CPointSet_Section* section);
    // Adds delta to the total count; a non-zero delta clears the index cache.
    void UpdatePointCount(int delta);
    void MarkModified() const { m_cacheFlag.SetModified(); }
    void Init();
    void Free();
    // Makes this set the section's owner: count changes and data changes report here.
    void Adopt(CPointSet_Section* section);
    int SectionIndexOf(CPointSet_Section const* section, char const* operation) const;

    // Resolves global without the range check (the caller has checked it).
    void Resolve(int global, int& section, int& local) const;
    Point const& get_Pts_Resolved(int global) const;
    CPointSet_Section& Locate(int global, int& local);
    CPointSet_Section const& Locate(int global, int& local) const;

    CQEL_Ptr_Array<CPointSet_Section> m_sections;
    int m_numPts = 0;
    // Last global index resolved, its section and its local index.
    mutable int m_cacheGlobal = 0;
    mutable int m_cacheSection = 0;
    mutable int m_cacheLocal = 0;
    mutable CCache_Flag m_cacheFlag;
};

}  // namespace QEL::Core

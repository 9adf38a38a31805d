// SPDX-License-Identifier: MIT
#include "entities/CPointSet_Base.h"

#include <utility>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

CPointSet_Base::CPointSet_Base() {
    Init();
}

CPointSet_Base::CPointSet_Base(CPointSet_Base const& other) {
    Init();
    Copy(other);
}

CPointSet_Base& CPointSet_Base::operator=(CPointSet_Base const& other) {
    Copy(other);
    return *this;
}

CPointSet_Base::~CPointSet_Base() {
    Free();
}

void CPointSet_Base::Init() {
    m_numPts = 0;
    m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
}

void CPointSet_Base::Free() {
    // Sections die with the set; they must not report back while it goes.
    for (CPointSet_Section* section : m_sections)
        section->m_owner = nullptr;
    m_sections.Clear();
}

void CPointSet_Base::Adopt(CPointSet_Section* section) {
    section->m_owner = this;
    section->SetModifiedFlag(m_cacheFlag.GetFlag());
}

void CPointSet_Base::Reset() {
    Free();
    Init();
    MarkModified();
}

void CPointSet_Base::Copy(CPointSet_Base const& other) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::Copy");
    op.Run([&] {
        if (this == &other) return;
        // Build the copy aside, so that a failure leaves this set as it was.
        CQEL_Ptr_Array<CPointSet_Section> copies;
        copies.PreAllocate(other.GetNumSec());
        for (CPointSet_Section const* section : other.m_sections)
            copies.Add(new CPointSet_Section(*section));
        Free();
        m_sections.Swap(copies);
        for (CPointSet_Section* section : m_sections)
            Adopt(section);
        int const delta = other.m_numPts - m_numPts;
        UpdatePointCount(delta);
        m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
        MarkModified();
    });
}

void CPointSet_Base::UpdatePointCount(int delta) {
    if (delta == 0) return;
    m_numPts += delta;
    m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
}

// --- sections ------------------------------------------------------------------------

CPointSet_Section& CPointSet_Base::get_Sec(int index) {
    // The section's collections report changes made through it.
    return const_cast<CPointSet_Section&>(std::as_const(*this).get_Sec(index));
}

CPointSet_Section const& CPointSet_Base::get_Sec(int index) const {
    if (unsigned(index) >= unsigned(m_sections.Count())) {
        static CQEL_Operation const op("QEL::Core::CPointSet_Base::get_Sec");
        op.CheckRange(index, 0, m_sections.Count() - 1, "section_index");
    }
    return *m_sections[index];
}

CPointSet_Section& CPointSet_Base::GetHead() {
    return const_cast<CPointSet_Section&>(std::as_const(*this).GetHead());
}

CPointSet_Section const& CPointSet_Base::GetHead() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::GetHead");
    op.Check(!m_sections.IsEmpty(), QEL_INVALID_OPERATION, "", "Pointset contains no sections");
    return *m_sections[0];
}

CPointSet_Section& CPointSet_Base::GetTail() {
    return const_cast<CPointSet_Section&>(std::as_const(*this).GetTail());
}

CPointSet_Section const& CPointSet_Base::GetTail() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::GetTail");
    op.Check(!m_sections.IsEmpty(), QEL_INVALID_OPERATION, "", "Pointset contains no sections");
    return *m_sections[m_sections.Count() - 1];
}

CPointSet_Section* CPointSet_Base::InsertSectionAtIndex(CPointSet_Section* section, int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::InsertSectionAtIndex");
    return op.Run([&] {
        op.Check(section != nullptr, QEL_NULL_PARAMETER, "section", "Null Pointer");
        // A section is owned by at most one set, and appears in its list once;
        // another set's section is refused without being touched.
        op.Check(section->m_owner == nullptr, QEL_INVALID_OPERATION, "section",
                 "Section already belongs to a point set");
        std::unique_ptr<CPointSet_Section> owned(section);
        op.CheckRange(index, 0, m_sections.Count(), "index");
        m_sections.InsertAt(index, owned.release());
        Adopt(section);
        UpdatePointCount(section->GetNumPts());
        // Inserting an empty section moves the sections after it.
        m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
        MarkModified();
        return section;
    });
}

CPointSet_Section* CPointSet_Base::AddSectionAtIndex(CPointSet_Section const& section, int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::AddSectionAtIndex");
    return op.Run([&] {
        op.CheckRange(index, 0, m_sections.Count(), "index");
        return InsertSectionAtIndex(new CPointSet_Section(section), index);
    });
}

int CPointSet_Base::SectionIndexOf(CPointSet_Section const* section, char const* operation) const {
    int const index = m_sections.Find(section);
    if (index < 0) {
        CQEL_Operation const op(operation);
        op.Throw(QEL_INVALID_PARAMETER, "section", "Section does not belong to this point set");
    }
    return index;
}

CPointSet_Section* CPointSet_Base::DetachSection(int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::DetachSection");
    return op.Run([&] {
        op.CheckRange(index, 0, m_sections.Count() - 1, "index");
        CPointSet_Section* section = m_sections.Detach(index);
        section->m_owner = nullptr;
        section->SetModifiedFlag(nullptr);
        UpdatePointCount(-section->GetNumPts());
        m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
        MarkModified();
        return section;
    });
}

CPointSet_Section* CPointSet_Base::DetachSection(CPointSet_Section* section) {
    return DetachSection(SectionIndexOf(section, "QEL::Core::CPointSet_Base::DetachSection"));
}

void CPointSet_Base::DeleteSection(int index) {
    delete DetachSection(index);
}

void CPointSet_Base::DeleteSection(CPointSet_Section* section) {
    delete DetachSection(SectionIndexOf(section, "QEL::Core::CPointSet_Base::DeleteSection"));
}

void CPointSet_Base::ReverseSectionOrder() {
    m_sections.Reverse();
    m_cacheGlobal = m_cacheSection = m_cacheLocal = 0;
    MarkModified();
}

void CPointSet_Base::Compact() {
    m_sections.Compact();
    for (CPointSet_Section* section : m_sections)
        section->Compact();
}

std::int64_t CPointSet_Base::GetApproxSize() const {
    std::int64_t size = std::int64_t(m_sections.GetNumAllocated()) * std::int64_t(sizeof(CPointSet_Section*));
    for (CPointSet_Section const* section : m_sections)
        size += section->GetApproxSize() + std::int64_t(sizeof(CPointSet_Section));
    return size;
}

void CPointSet_Base::CheckSpace(int numSections, int numPts, CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Base::CheckSpace");
    op.Run([&] {
        op.CheckRange(numSections, 0, 100000000, "num_sections");
        op.CheckRange(numPts, 0, 1000000000, "num_pts");
        op.CheckParameter(std::int64_t(numSections) * numPts <= 2147483647, "num_pts");
        while (m_sections.Count() > numSections)
            DeleteSection(m_sections.Count() - 1);
        m_sections.PreAllocate(numSections);
        while (m_sections.Count() < numSections)
            InsertSectionAtIndex(new CPointSet_Section(), m_sections.Count());
        for (CPointSet_Section* section : m_sections)
            section->CheckSpace(numPts, flags);
    });
}

void CPointSet_Base::CheckSpace(int numPts, CPtsData flags) {
    CheckSpace(1, numPts, flags);
}

// --- metadata ------------------------------------------------------------------------

void CPointSet_Base::AddMetaData(CPtsData flags) {
    for (CPointSet_Section* section : m_sections)
        section->AddMetaData(flags);
}

void CPointSet_Base::RemoveMetaData(CPtsData flags) {
    for (CPointSet_Section* section : m_sections)
        section->RemoveMetaData(flags);
}

void CPointSet_Base::SetMetaData(CPtsData flags) {
    for (CPointSet_Section* section : m_sections)
        section->SetMetaData(flags);
}

void CPointSet_Base::RemoveAllMetaData() {
    for (CPointSet_Section* section : m_sections)
        section->RemoveAllMetaData();
}

bool CPointSet_Base::HasMetaData(CPtsData flags) const {
    if (m_sections.IsEmpty()) return false;
    return GetMetaDataFlags().Contains(flags);
}

CPtsData CPointSet_Base::GetMetaDataFlags() const {
    CPtsData common = CPtsData::all;
    for (CPointSet_Section const* section : m_sections)
        common &= section->GetMetaDataFlags();
    return m_sections.IsEmpty() ? CPtsData::def : common;
}

// --- global index resolution ----------------------------------------------------------

void CPointSet_Base::GetIndicesFromSectionlessIndex(int global, int& section, int& local) const {
    if (global < 0 || global > m_numPts - 1) {
        static CQEL_Operation const op("QEL::Core::CPointSet_Base::GetIndicesFromSectionlessIndex");
        op.CheckRange(global, 0, m_numPts - 1, "global_index");
    }
    Resolve(global, section, local);
}

// A position (s, l) with l == count(s) is the same place as (s + 1, 0): the
// walks below step over empty sections, and over the cleared cache (0, 0, 0)
// when section 0 is empty, without special cases.
void CPointSet_Base::Resolve(int global, int& section, int& local) const {
    CPointSet_Section* const* sections = m_sections.begin();
    if (global == 0) {
        int s = 0;
        while (sections[s]->GetNumPts() == 0)
            ++s;
        section = s;
        local = 0;
        return;
    }
    if (global == m_numPts - 1) {
        int s = m_sections.Count() - 1;
        while (sections[s]->GetNumPts() == 0)
            --s;
        section = s;
        local = sections[s]->GetNumPts() - 1;
    } else {
        int s = m_cacheSection;
        int l = m_cacheLocal;
        int const delta = global - m_cacheGlobal;
        if (delta < 0) {
            // Backwards: the points before l in this section, then whole sections.
            int need = -delta;
            while (need > l) {
                need -= l;
                --s;
                l = sections[s]->GetNumPts();
            }
            l -= need;
        } else {
            // Forwards: the points after l in this section, then whole sections.
            int remaining = delta;
            int count = sections[s]->GetNumPts();
            while (remaining > count - 1 - l) {
                remaining -= count - l;
                ++s;
                l = 0;
                count = sections[s]->GetNumPts();
            }
            l += remaining;
        }
        section = s;
        local = l;
    }
    m_cacheGlobal = global;
    m_cacheSection = section;
    m_cacheLocal = local;
}

CPointSet_Section& CPointSet_Base::Locate(int global, int& local) {
    int section = 0;
    GetIndicesFromSectionlessIndex(global, section, local);
    return *m_sections[section];
}

CPointSet_Section const& CPointSet_Base::Locate(int global, int& local) const {
    int section = 0;
    GetIndicesFromSectionlessIndex(global, section, local);
    return *m_sections[section];
}

// --- per-point access ----------------------------------------------------------------

CPointSet_Base::Point& CPointSet_Base::get_Pts(int global) {
    int local = 0;
    CPointSet_Section& section = Locate(global, local);
    return section.m_pts.Edit(local);
}

CPointSet_Base::Point const& CPointSet_Base::get_Pts_Resolved(int global) const {
    int local = 0;
    return Locate(global, local).m_pts.GetAsArray().Unsafe_Get(local);
}

CPointSet_Base::Point& CPointSet_Base::set_Pts(int global, CPoint3<double> const& value) {
    int local = 0;
    return Locate(global, local).set_Pts(local, value);
}

// The section's accessors check that the attribute is present and report the change.
#define QEL_BASE_ACCESS(Stem, Type)                                   \
    Type& CPointSet_Base::get_##Stem(int global) {                    \
        int local = 0;                                                \
        return Locate(global, local).get_##Stem(local);               \
    }                                                                 \
    Type const& CPointSet_Base::get_##Stem(int global) const {        \
        int local = 0;                                                \
        return Locate(global, local).get_##Stem(local);               \
    }                                                                 \
    Type& CPointSet_Base::set_##Stem(int global, Type const& value) { \
        int local = 0;                                                \
        return Locate(global, local).set_##Stem(local, value);        \
    }
#define QEL_BASE_SCALAR(Stem, Type)                                    \
    Type const& CPointSet_Base::get_##Stem(int global) const {         \
        int local = 0;                                                 \
        return std::as_const(Locate(global, local)).get_##Stem(local); \
    }                                                                  \
    Type& CPointSet_Base::set_##Stem(int global, Type const& value) {  \
        int local = 0;                                                 \
        return Locate(global, local).set_##Stem(local, value);         \
    }

QEL_BASE_ACCESS(Nms, CVector3<double>)
QEL_BASE_ACCESS(CPt, CPoint3<double>)
QEL_BASE_ACCESS(CNm, CVector3<double>)
QEL_BASE_ACCESS(CUV, CPoint2<double>)
QEL_BASE_ACCESS(Col, CPoint3<double>)
QEL_BASE_SCALAR(Err, double)
QEL_BASE_SCALAR(Vel, double)
QEL_BASE_SCALAR(Sta, std::int16_t)
QEL_BASE_SCALAR(Ind, std::int32_t)
QEL_BASE_SCALAR(Usr, void*)

#undef QEL_BASE_ACCESS
#undef QEL_BASE_SCALAR

}  // namespace QEL::Core

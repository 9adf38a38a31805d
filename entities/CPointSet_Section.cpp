// SPDX-License-Identifier: MIT
#include "entities/CPointSet_Section.h"

#include "core/CQEL_Operation.h"
#include "entities/CPointSet_Base.h"

namespace QEL::Core {

namespace {

// The one place that reaches into a collection's array.
template <class T>
CQEL_Array<T>& Arr(CCollection_Internal<T>& collection) {
    return collection.GetAsArray();
}
template <class T>
CQEL_Array<T> const& Arr(CCollection_Internal<T> const& collection) {
    return collection.GetAsArray();
}

[[noreturn]] void ThrowBadIndex(char const* operation, bool present) {
    // Only reached on failure: the location names the accessor.
    CQEL_Operation const op(operation);
    if (!present) op.Throw(QEL_INVALID_OPERATION, "index", "Attribute is not present");
    op.Throw(QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range");
}

template <class T>
T& At(CCollection_Internal<T>& collection, int i, char const* operation) {
    CQEL_Array<T>& array = Arr(collection);
    if (unsigned(i) >= unsigned(array.Count())) ThrowBadIndex(operation, collection.IsActive());
    return array.Unsafe_Get(i);
}
template <class T>
T const& At(CCollection_Internal<T> const& collection, int i, char const* operation) {
    CQEL_Array<T> const& array = Arr(collection);
    if (unsigned(i) >= unsigned(array.Count())) ThrowBadIndex(operation, collection.IsActive());
    return array.Unsafe_Get(i);
}

}  // namespace

// --- construction ------------------------------------------------------------------

// The collections are members declared in the order of the flag bits; each
// couples itself to this data manager as it is constructed.
CPointSet_Section::CPointSet_Section()
    : CDataManager(),
      m_pts(this, true),
      m_nms(this, false),
      m_cuv(this, false),
      m_cpt(this, false),
      m_cnm(this, false),
      m_col(this, false),
      m_err(this, false),
      m_vel(this, false),
      m_sta(this, false),
      m_ind(this, false),
      m_usr(this, false) {
    Init();
}

CPointSet_Section::CPointSet_Section(CPointSet_Section const& other) : CPointSet_Section() {
    CopyFrom(other, other.GetMetaDataFlags());
}

CPointSet_Section::CPointSet_Section(CPointSet_Section const& other, CPtsData flags) : CPointSet_Section() {
    CopyFrom(other, flags | CPtsData::def);
}

CPointSet_Section::CPointSet_Section(int numPts, CPtsData flags) : CPointSet_Section() {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::CPointSet_Section");
    op.Run([&] {
        op.CheckRange(numPts, 0, 1000000000, "num_pts");
        SetDataRaw(flags);
        CDataManager::CheckSpace(numPts);
    });
}

CPointSet_Section& CPointSet_Section::operator=(CPointSet_Section const& other) {
    if (this != &other) Copy(other);
    return *this;
}

CPointSet_Section::~CPointSet_Section() = default;

// Installs the default elements: the arrays fill new elements from them.
void CPointSet_Section::Init() {
    Arr(m_pts).SetDefaultValue(Point());
    Arr(m_nms).SetDefaultValue(CVector3<double>(0.0, 0.0, 0.0));
    Arr(m_cuv).SetDefaultValue(CPoint2<double>(0.0, 0.0));
    Arr(m_cpt).SetDefaultValue(CPoint3<double>(0.0, 0.0, 0.0));
    Arr(m_cnm).SetDefaultValue(CVector3<double>(0.0, 0.0, 0.0));
    Arr(m_col).SetDefaultValue(CPoint3<double>(0.0, 0.0, 0.0));
    Arr(m_err).SetDefaultValue(0.0);
    Arr(m_vel).SetDefaultValue(0.0);
    Arr(m_sta).SetDefaultValue(std::int16_t(0));
    Arr(m_ind).SetDefaultValue(std::int32_t(-1));
    Arr(m_usr).SetDefaultValue(nullptr);
}

void CPointSet_Section::CopyFrom(CPointSet_Section const& other, CPtsData flags) {
    int const before = GetNumPts();
    SetDataRaw(flags);
    CDataManager::CheckSpace(other.GetNumPts());
    // Attributes both carry are copied whole; the others keep their defaults.
    CPtsData const common = GetMetaDataFlags() & other.GetMetaDataFlags();
    CDataManager::Set(other, common.GetBits());
    Changed(GetNumPts() - before);
}

void CPointSet_Section::Copy(CPointSet_Section const& other) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::Copy");
    op.Run([&] {
        if (this == &other) return;
        CopyFrom(other, other.GetMetaDataFlags());
    });
}

void CPointSet_Section::Reset() {
    int const before = GetNumPts();
    SetDataRaw(CPtsData::def);
    CDataManager::Reset();
    CDataManager::CheckSpace(0);
    Init();
    Changed(-before);
}

// --- owner notification --------------------------------------------------------------

void CPointSet_Section::Changed(int delta) {
    if (!m_owner) return;
    m_owner->UpdatePointCount(delta);
    m_owner->MarkModified();
}

void CPointSet_Section::Touch() {
    if (m_owner) m_owner->MarkModified();
}

// --- points ------------------------------------------------------------------------

void CPointSet_Section::AddPoint(CPoint3<double> const& point) {
    int const n = GetNumPts();
    CDataManager::CheckSpace(n + 1);
    Arr(m_pts).Unsafe_Get(n) = Point(point.x, point.y, point.z);
    Changed(1);
}

void CPointSet_Section::AddPoint(double x, double y, double z) {
    AddPoint(CPoint3<double>(x, y, z));
}

void CPointSet_Section::RemovePoint(int index) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::RemovePoint");
    op.Run([&] {
        op.CheckRange(index, 0, GetNumPts() - 1, "index");
        CDataManager::Remove(index);
        Changed(-1);
    });
}

void CPointSet_Section::DecrementNumPts(int count) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::DecrementNumPts");
    op.Run([&] {
        op.CheckRange(count, 0, GetNumPts(), "count");
        if (count == 0) return;
        CDataManager::CheckSpace(GetNumPts() - count);
        Changed(-count);
    });
}

void CPointSet_Section::Reverse() {
    CDataManager::Reverse();
    Touch();
}

CPointSet_Section::Point& CPointSet_Section::FirstPoint() {
    Touch();
    return const_cast<Point&>(std::as_const(*this).FirstPoint());
}

CPointSet_Section::Point const& CPointSet_Section::FirstPoint() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::FirstPoint");
    op.Check(GetNumPts() > 0, QEL_INVALID_OPERATION, "", "Section contains no points");
    return Arr(m_pts).Unsafe_Get(0);
}

CPointSet_Section::Point& CPointSet_Section::LastPoint() {
    Touch();
    return const_cast<Point&>(std::as_const(*this).LastPoint());
}

CPointSet_Section::Point const& CPointSet_Section::LastPoint() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::LastPoint");
    op.Check(GetNumPts() > 0, QEL_INVALID_OPERATION, "", "Section contains no points");
    return Arr(m_pts).Unsafe_Get(GetNumPts() - 1);
}

void CPointSet_Section::CopyElement(int to, int from, CPointSet_Section const* source) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::CopyElement");
    op.Run([&] {
        op.Check(source != nullptr, QEL_NULL_PARAMETER, "source", "Null Pointer");
        op.CheckRange(to, 0, GetNumPts() - 1, "to");
        op.CheckRange(from, 0, source->GetNumPts() - 1, "from");
        if (source == this) {
            CDataManager::CopyElement(to, from);
        } else {
            // Copy attribute by attribute: only those both sections carry.
            CPtsData const common = GetMetaDataFlags() & source->GetMetaDataFlags();
            auto copy = [&](auto& mine, auto const& theirs, CPtsData flag) {
                if (common.Contains(flag)) Arr(mine).Unsafe_Get(to) = Arr(theirs).Unsafe_Get(from);
            };
            copy(m_pts, source->m_pts, CPtsData::def);
            copy(m_nms, source->m_nms, CPtsData::nms);
            copy(m_cuv, source->m_cuv, CPtsData::cuv);
            copy(m_cpt, source->m_cpt, CPtsData::cpt);
            copy(m_cnm, source->m_cnm, CPtsData::cnm);
            copy(m_col, source->m_col, CPtsData::col);
            copy(m_err, source->m_err, CPtsData::err);
            copy(m_vel, source->m_vel, CPtsData::vel);
            copy(m_sta, source->m_sta, CPtsData::sta);
            copy(m_ind, source->m_ind, CPtsData::ind);
            copy(m_usr, source->m_usr, CPtsData::usr);
        }
        Touch();
    });
}

void CPointSet_Section::PreAllocate(int numPts) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::PreAllocate");
    op.Run([&] {
        op.CheckRange(numPts, 0, 1000000000, "num_pts");
        CDataManager::PreAllocate(numPts);
    });
}

void CPointSet_Section::Compact() {
    CDataManager::Compact();
}

std::int64_t CPointSet_Section::GetApproxSize() const {
    return std::int64_t(CDataManager::GetApproxSize());
}

void CPointSet_Section::Transform(CTransform4<double> const& matrix) {
    double m[16];
    for (int i = 0; i < 16; ++i)
        m[i] = matrix[i];
    for (Point& p : Arr(m_pts)) {
        double const x = p.x, y = p.y, z = p.z;
        double const w = x * m[3] + y * m[7] + z * m[11] + m[15];
        if (w == 0.0) continue;
        p.x = (x * m[0] + y * m[4] + z * m[8] + m[12]) / w;
        p.y = (x * m[1] + y * m[5] + z * m[9] + m[13]) / w;
        p.z = (x * m[2] + y * m[6] + z * m[10] + m[14]) / w;
    }
    if (HasMetaData(CPtsData::nms)) {
        for (CVector3<double>& v : Arr(m_nms)) {
            double const x = v.x, y = v.y, z = v.z;
            v.x = x * m[0] + y * m[4] + z * m[8];
            v.y = x * m[1] + y * m[5] + z * m[9];
            v.z = x * m[2] + y * m[6] + z * m[10];
        }
    }
    Touch();
}

// --- attributes ----------------------------------------------------------------------

void CPointSet_Section::AddDataRaw(CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::AddDataRaw");
    op.Run([&] {
        CPtsData const added = (flags & CPtsData::all) - GetMetaDataFlags();
        if (added.IsEmpty()) return;
        // Activation allocates in step with the active collections and fills
        // the new elements from the collection's default value.
        ActivateCollections(added.GetBits());
        Touch();
    });
}

void CPointSet_Section::RemoveDataRaw(CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::RemoveDataRaw");
    op.Run([&] {
        CPtsData const removed = (flags & GetMetaDataFlags()) - CPtsData::def;
        if (removed.IsEmpty()) return;
        DeactivateCollections(removed.GetBits());
        Touch();
    });
}

void CPointSet_Section::SetDataRaw(CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::SetDataRaw");
    op.Run([&] {
        CPtsData const wanted = (flags & CPtsData::all) | CPtsData::def;
        if (wanted == GetMetaDataFlags()) return;
        RemoveDataRaw(GetMetaDataFlags() - wanted);
        AddDataRaw(wanted);
    });
}

void CPointSet_Section::AddMetaData(CPtsData flags) {
    AddDataRaw(flags);
}
void CPointSet_Section::RemoveMetaData(CPtsData flags) {
    RemoveDataRaw(flags);
}
void CPointSet_Section::SetMetaData(CPtsData flags) {
    SetDataRaw(flags);
}
void CPointSet_Section::RemoveAllMetaData() {
    SetDataRaw(CPtsData::def);
}

void CPointSet_Section::CheckSpace(int numPts, CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::CheckSpace");
    op.Run([&] {
        op.CheckRange(numPts, 0, 1000000000, "num_pts");
        AddDataRaw(flags);
        int const before = GetNumPts();
        CDataManager::CheckSpace(numPts);
        Changed(numPts - before);
    });
}

// --- access --------------------------------------------------------------------------

#define QEL_SECTION_ACCESS(Stem, member, Type)                                     \
    Type& CPointSet_Section::get_##Stem(int i) {                                   \
        Type& element = At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem); \
        Touch();                                                                   \
        return element;                                                            \
    }                                                                              \
    Type const& CPointSet_Section::get_##Stem(int i) const {                       \
        return At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem);          \
    }
#define QEL_SECTION_SET(Stem, member, Type, Value)                                 \
    Type& CPointSet_Section::set_##Stem(int i, Value const& value) {               \
        Type& element = At(member, i, "QEL::Core::CPointSet_Section::set_" #Stem); \
        element = value;                                                           \
        Touch();                                                                   \
        return element;                                                            \
    }
#define QEL_SECTION_GET_CONST(Stem, member, Type)                         \
    Type const& CPointSet_Section::get_##Stem(int i) const {              \
        return At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem); \
    }
#define QEL_SECTION_ARRAY(Stem, member, Type)                             \
    CQEL_Array<Type> const& CPointSet_Section::Get##Stem##Array() const { \
        return Arr(member);                                               \
    }

QEL_SECTION_ACCESS(Pts, m_pts, CPointSet_Section::Point)
QEL_SECTION_ACCESS(Nms, m_nms, CVector3<double>)
QEL_SECTION_ACCESS(CPt, m_cpt, CPoint3<double>)
QEL_SECTION_ACCESS(CNm, m_cnm, CVector3<double>)
QEL_SECTION_ACCESS(CUV, m_cuv, CPoint2<double>)
QEL_SECTION_ACCESS(Col, m_col, CPoint3<double>)
QEL_SECTION_GET_CONST(Err, m_err, double)
QEL_SECTION_GET_CONST(Vel, m_vel, double)
QEL_SECTION_ACCESS(Sta, m_sta, std::int16_t)
QEL_SECTION_ACCESS(Ind, m_ind, std::int32_t)
QEL_SECTION_ACCESS(Usr, m_usr, void*)

CPointSet_Section::Point& CPointSet_Section::set_Pts(int i, CPoint3<double> const& value) {
    Point& element = At(m_pts, i, "QEL::Core::CPointSet_Section::set_Pts");
    element = Point(value.x, value.y, value.z);
    Touch();
    return element;
}
QEL_SECTION_SET(Nms, m_nms, CVector3<double>, CVector3<double>)
QEL_SECTION_SET(CPt, m_cpt, CPoint3<double>, CPoint3<double>)
QEL_SECTION_SET(CNm, m_cnm, CVector3<double>, CVector3<double>)
QEL_SECTION_SET(CUV, m_cuv, CPoint2<double>, CPoint2<double>)
QEL_SECTION_SET(Col, m_col, CPoint3<double>, CPoint3<double>)
QEL_SECTION_SET(Err, m_err, double, double)
QEL_SECTION_SET(Vel, m_vel, double, double)
QEL_SECTION_SET(Sta, m_sta, std::int16_t, std::int16_t)
QEL_SECTION_SET(Ind, m_ind, std::int32_t, std::int32_t)
QEL_SECTION_SET(Usr, m_usr, void*, void*)

QEL_SECTION_ARRAY(Pts, m_pts, CPointSet_Section::Point)
QEL_SECTION_ARRAY(Nms, m_nms, CVector3<double>)
QEL_SECTION_ARRAY(CPt, m_cpt, CPoint3<double>)
QEL_SECTION_ARRAY(CNm, m_cnm, CVector3<double>)
QEL_SECTION_ARRAY(CUV, m_cuv, CPoint2<double>)
QEL_SECTION_ARRAY(Col, m_col, CPoint3<double>)
QEL_SECTION_ARRAY(Err, m_err, double)
QEL_SECTION_ARRAY(Vel, m_vel, double)
QEL_SECTION_ARRAY(Sta, m_sta, std::int16_t)
QEL_SECTION_ARRAY(Ind, m_ind, std::int32_t)
QEL_SECTION_ARRAY(Usr, m_usr, void*)

#undef QEL_SECTION_ACCESS
#undef QEL_SECTION_SET
#undef QEL_SECTION_GET_CONST
#undef QEL_SECTION_ARRAY

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "entities/CPointSet_Section.h"

#include "core/CQEL_Operation.h"
#include "entities/CPointSet_Attributes.h"
#include "entities/CPointSet_Base.h"

namespace QEL::Core {

namespace {

// The row of the attribute at position (its bit's position).
constexpr SPointAttribute const& RowAt(int position) {
    for (SPointAttribute const& a : kPointAttributes)
        if (PointAttributePosition(a) == position) return a;
    return kPointAttributes[0];
}
// A named member holds the collection class of its row.
template <class Member>
constexpr bool Holds(int position) {
    return VisitPointElement(RowAt(position).element,
                             []<EPointElement E>() { return std::is_same_v<Member, PointCollection_t<E>>; });
}

[[noreturn]] void ThrowBadIndex(char const* operation, bool present) {
    // Only reached on failure: the location names the accessor.
    CQEL_Operation const op(operation);
    if (!present) op.Throw(QEL_INVALID_OPERATION, "index", "Attribute is not present");
    op.Throw(QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range");
}

// Checked access: an inactive attribute and an index out of range are told apart.
template <class C>
auto& At(C& collection, int i, char const* operation) {
    if (unsigned(i) >= unsigned(collection.Count())) ThrowBadIndex(operation, collection.IsActive());
    return collection.Edit(i);
}
template <class C>
auto const& At(C const& collection, int i, char const* operation) {
    if (unsigned(i) >= unsigned(collection.Count())) ThrowBadIndex(operation, collection.IsActive());
    return collection.GetAsArray().Unsafe_Get(i);
}
template <class C, class V>
auto& SetAt(C& collection, int i, V const& value, char const* operation) {
    if (unsigned(i) >= unsigned(collection.Count())) ThrowBadIndex(operation, collection.IsActive());
    return collection.Set(i, value);
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
    static_assert(Holds<decltype(m_pts)>(0) && Holds<decltype(m_nms)>(1) && Holds<decltype(m_cuv)>(2) &&
                  Holds<decltype(m_cpt)>(3) && Holds<decltype(m_cnm)>(4) && Holds<decltype(m_col)>(5) &&
                  Holds<decltype(m_err)>(6) && Holds<decltype(m_vel)>(7) && Holds<decltype(m_sta)>(8) &&
                  Holds<decltype(m_ind)>(9) && Holds<decltype(m_usr)>(10));
    for (int position = kNamed; position < CPtsData::kCount; ++position)
        m_more[std::size_t(position - kNamed)].reset(VisitPointElement(
            RowAt(position).element,
            [this]<EPointElement E>() -> ICollection* { return new PointCollection_t<E>(this, false); }));
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

// Installs the default elements (the table's fill values): the arrays fill
// new elements from them.
void CPointSet_Section::Init() {
    for (SPointAttribute const& row : kPointAttributes)
        VisitPointElement(row.element, [&]<EPointElement E>() {
            double const fill[3] = {row.fill, row.fill, row.fill};
            PointAttributeCollection<E>(*this, row).SetDefaultValue(FromComponents<E>(fill));
        });
}

void CPointSet_Section::SetModifiedFlag(bool* flag) {
    for (SPointAttribute const& row : kPointAttributes)
        VisitPointElement(row.element, [&]<EPointElement E>() {
            PointAttributeCollection<E>(*this, row).SetDataModifiedFlag(flag);
        });
}

void CPointSet_Section::CopyFrom(CPointSet_Section const& other, CPtsData flags) {
    int const before = GetNumPts();
    SetDataRaw(flags);
    // Attributes both carry are copied whole; the others get defaults.
    CDataManager::Set(other, CPtsData::all.GetBits());
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
    if (m_owner) m_owner->UpdatePointCount(delta);
}

// --- points ------------------------------------------------------------------------

void CPointSet_Section::AddPoint(CPoint3<double> const& point) {
    int const n = GetNumPts();
    CDataManager::CheckSpace(n + 1);
    m_pts.Set(n, Point(point));
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
}

CPointSet_Section::Point& CPointSet_Section::FirstPoint() {
    (void)std::as_const(*this).FirstPoint();
    return m_pts.Edit(0);
}

CPointSet_Section::Point const& CPointSet_Section::FirstPoint() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::FirstPoint");
    op.Check(GetNumPts() > 0, QEL_INVALID_OPERATION, "", "Section contains no points");
    return m_pts.GetAsArray().Unsafe_Get(0);
}

CPointSet_Section::Point& CPointSet_Section::LastPoint() {
    (void)std::as_const(*this).LastPoint();
    return m_pts.Edit(GetNumPts() - 1);
}

CPointSet_Section::Point const& CPointSet_Section::LastPoint() const {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::LastPoint");
    op.Check(GetNumPts() > 0, QEL_INVALID_OPERATION, "", "Section contains no points");
    return m_pts.GetAsArray().Unsafe_Get(GetNumPts() - 1);
}

void CPointSet_Section::CopyElement(int to, int from, CPointSet_Section const* source) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::CopyElement");
    op.Run([&] {
        op.Check(source != nullptr, QEL_NULL_PARAMETER, "source", "Null Pointer");
        op.CheckRange(to, 0, GetNumPts() - 1, "to");
        op.CheckRange(from, 0, source->GetNumPts() - 1, "from");
        // Only the attributes that both sections carry are copied.
        if (source == this)
            CDataManager::CopyElement(to, from);
        else
            CDataManager::CopyElement(to, from, *source);
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

void CPointSet_Section::Transform(CEntityTransform const& transform) {
    CTransform4<double> const& matrix = transform.GetMatrix();
    double m[16];
    for (int i = 0; i < 16; ++i)
        m[i] = matrix[i];
    for (Point& p : m_pts.EditAll()) {
        double const x = p.x, y = p.y, z = p.z;
        double const w = x * m[3] + y * m[7] + z * m[11] + m[15];
        if (w == 0.0) continue;
        p.Set((x * m[0] + y * m[4] + z * m[8] + m[12]) / w, (x * m[1] + y * m[5] + z * m[9] + m[13]) / w,
              (x * m[2] + y * m[6] + z * m[10] + m[14]) / w);
    }
    if (!HasMetaData(CPtsData::nms)) return;
    if (!transform.IsRigid()) {
        for (CVector3<double>& v : m_nms.EditAll())
            v = transform.TransformNormal(v);
        return;
    }
    {
        for (CVector3<double>& v : m_nms.EditAll()) {
            double const x = v.x, y = v.y, z = v.z;
            v.x = x * m[0] + y * m[4] + z * m[8];
            v.y = x * m[1] + y * m[5] + z * m[9];
            v.z = x * m[2] + y * m[6] + z * m[10];
        }
    }
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
    });
}

void CPointSet_Section::RemoveDataRaw(CPtsData flags) {
    static CQEL_Operation const op("QEL::Core::CPointSet_Section::RemoveDataRaw");
    op.Run([&] {
        CPtsData const removed = (flags & GetMetaDataFlags()) - CPtsData::def;
        if (removed.IsEmpty()) return;
        DeactivateCollections(removed.GetBits());
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

#define QEL_SECTION_ACCESS(Stem, member, Type)                            \
    Type& CPointSet_Section::get_##Stem(int i) {                          \
        return At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem); \
    }                                                                     \
    Type const& CPointSet_Section::get_##Stem(int i) const {              \
        return At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem); \
    }
#define QEL_SECTION_SET(Stem, member, Type, Value)                                                     \
    Type& CPointSet_Section::set_##Stem(int i, Value const& value) {                                   \
        return SetAt(member, i, static_cast<Type>(value), "QEL::Core::CPointSet_Section::set_" #Stem); \
    }
#define QEL_SECTION_GET_CONST(Stem, member, Type)                         \
    Type const& CPointSet_Section::get_##Stem(int i) const {              \
        return At(member, i, "QEL::Core::CPointSet_Section::get_" #Stem); \
    }
#define QEL_SECTION_ARRAY(Stem, member, Type)                             \
    CQEL_Array<Type> const& CPointSet_Section::Get##Stem##Array() const { \
        return member.GetAsArray();                                       \
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

QEL_SECTION_SET(Pts, m_pts, CPointSet_Section::Point, CPoint3<double>)
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

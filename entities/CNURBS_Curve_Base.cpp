// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve_Base.h"

#include <algorithm>
#include <cmath>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

namespace {

double g_defaultMaxDeviation = 0.05;

}  // namespace

CNURBS_Curve_Base::CNURBS_Curve_Base() : m_maxDeviation(g_defaultMaxDeviation) {
    LinkFlags();
}

CNURBS_Curve_Base::CNURBS_Curve_Base(CNURBS_Curve_Base const& other)
    : m_closed(other.m_closed),
      m_periodic(other.m_periodic),
      m_maxDeviation(other.m_maxDeviation),
      m_ctrlPts(other.m_ctrlPts),
      m_knotVector(other.m_knotVector) {
    LinkFlags();
}

CNURBS_Curve_Base& CNURBS_Curve_Base::operator=(CNURBS_Curve_Base const& other) {
    CopyBase(other);
    return *this;
}

CNURBS_Curve_Base::~CNURBS_Curve_Base() = default;

void CNURBS_Curve_Base::LinkFlags() {
    for (CCache_Flag* source : {&m_ctrlPtsFlag, &m_knotsFlag, &m_shapeFlag})
        source->RegisterObject(&m_cacheFlag);
    BindElements();
}

void CNURBS_Curve_Base::BindElements() {
    for (CCtrlPoint& point : m_ctrlPts)
        point.BindModifiedFlag(m_ctrlPtsFlag.GetFlag());
    m_knotVector.BindModifiedFlag(m_knotsFlag.GetFlag());
    m_ctrlPtsFlag.SetModified();
    m_knotsFlag.SetModified();
}

void CNURBS_Curve_Base::CopyBase(CNURBS_Curve_Base const& other) {
    if (this == &other) return;
    m_closed = other.m_closed;
    m_periodic = other.m_periodic;
    m_maxDeviation = other.m_maxDeviation;
    m_ctrlPts = other.m_ctrlPts;
    m_knotVector = other.m_knotVector;
    m_shapeFlag.SetModified();
    BindElements();
}

void CNURBS_Curve_Base::ValidateCaches() const {
    for (CCache_Flag* source : {&m_ctrlPtsFlag, &m_knotsFlag, &m_shapeFlag})
        source->Validate();
    m_cacheFlag.Validate();
}

double CNURBS_Curve_Base::GetDefaultMaxDeviation() {
    return g_defaultMaxDeviation;
}
void CNURBS_Curve_Base::SetDefaultMaxDeviation(double deviation) {
    g_defaultMaxDeviation = deviation;
}

void CNURBS_Curve_Base::SetClosed(bool closed) {
    m_closed = closed;
    m_shapeFlag.SetModified();
}
void CNURBS_Curve_Base::SetPeriodic(bool periodic) {
    m_periodic = periodic;
    m_shapeFlag.SetModified();
}
void CNURBS_Curve_Base::SetCurrentMaxDeviation(double deviation) {
    m_maxDeviation = deviation;
    m_shapeFlag.SetModified();
}

CCtrlPoint& CNURBS_Curve_Base::get_CtrlPts(int i) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Base::get_CtrlPts");
    if (unsigned(i) >= unsigned(m_ctrlPts.Count()))
        op.Throw(QEL_INDEX_OUT_OF_RANGE, "ctrl_pt_index", "Index out of range");
    return m_ctrlPts.Unsafe_Get(i);
}
CCtrlPoint const& CNURBS_Curve_Base::get_CtrlPts(int i) const {
    return const_cast<CNURBS_Curve_Base*>(this)->get_CtrlPts(i);
}
void CNURBS_Curve_Base::set_CtrlPts(int i, CCtrlPoint const& point) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Base::set_CtrlPts");
    if (unsigned(i) >= unsigned(m_ctrlPts.Count()))
        op.Throw(QEL_INDEX_OUT_OF_RANGE, "ctrl_pt_index", "Index out of range");
    m_ctrlPts.Unsafe_Get(i) = point;  // marks through the slot's binding
}

void CNURBS_Curve_Base::CheckSpace(int num_ctrl_pts, int degree) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Base::CheckSpace");
    op.Run([&] {
        op.CheckRange(degree, 1, 1000000000, "degree");
        op.CheckRange(num_ctrl_pts, degree + 1, 1000000000, "num_ctrl_pts");
        if (m_knotVector.GetOrder() < 0 && m_knotVector.GetNumKnots() > 0)
            CQEL_Output_Events::Warning(CQEL_String::FromASCII("Member functions modified illegally"));
        int const order = degree + 1;
        m_knotVector.SetOrder(order);
        int const count = num_ctrl_pts + order;
        if (m_knotVector.GetNumKnots() != count) {
            // Clamped uniform on [0, 1]: order - 1 zeros, spans + 1 even steps, order - 1 ones.
            CQEL_Array<double>& knots = m_knotVector.EditKnots();
            knots.CheckSpace(count);
            int const spans = num_ctrl_pts - degree;
            int i = 0;
            for (int j = 0; j < order - 1; ++j)
                knots[i++] = 0.0;
            for (int j = 0; j <= spans; ++j)
                knots[i++] = j == spans ? 1.0 : double(j) / double(spans);
            for (int j = 0; j < order - 1; ++j)
                knots[i++] = 1.0;
        }
        m_ctrlPts.CheckSpace(num_ctrl_pts);
        BindElements();
    });
}

void CNURBS_Curve_Base::Validate() const {
    if (m_knotVector.GetNumKnots() == 0) {
        static CQEL_Operation const op("QEL::Core::CNURBS_Curve_Base::Validate");
        op.Throw(QEL_INVALID_CURVE, "knots", "This is an invalid curve");
    }
}

double CNURBS_Curve_Base::CalculateTolerance() const {
    if (IsNonRational()) return m_maxDeviation;
    double pMax = 0.0, wMin = HUGE_VAL;
    for (CCtrlPoint const& point : m_ctrlPts) {
        CPoint3<double> const p = point.GetCartesianPt();
        pMax = std::max(pMax, std::sqrt(p.x * p.x + p.y * p.y + p.z * p.z));
        wMin = std::min(wMin, point.get_w());
    }
    return m_maxDeviation * wMin / (1.0 + pMax);
}

bool CNURBS_Curve_Base::IsNonRational() const {
    return std::all_of(m_ctrlPts.begin(), m_ctrlPts.end(),
                       [](CCtrlPoint const& p) { return p.get_w() == 1.0; });
}

void CNURBS_Curve_Base::Init() {
    m_knotVector.Reset();
    m_ctrlPts.Reset();
    m_closed = false;
    m_periodic = false;
    m_shapeFlag.SetModified();
    BindElements();
}

}  // namespace QEL::Core

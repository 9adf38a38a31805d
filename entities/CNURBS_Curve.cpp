// SPDX-License-Identifier: MIT
#include "entities/CNURBS_Curve.h"

#include <algorithm>
#include <cstdio>

#include "core/CQEL_Operation.h"
#include "core/CQEL_Output_Events.h"
#include "entities/CNURBS_Curve_ClosestPoint.h"
#include "entities/NURBS_Basis.h"

namespace QEL::Core {

namespace {

QueryCPF_Factory g_queryFactory = nullptr;

}  // namespace

CNURBS_Curve::CNURBS_Curve() : m_cache(*this) {}

CNURBS_Curve::CNURBS_Curve(CNURBS_Curve const& other)
    : CQEL_Handler_Entity(),
      CNURBS_Curve_Base(other),
      CQEL_Type(other),
      ISerialisable(),
      CIdentifiable<CNURBS_Curve>(),
      m_cache(*this) {}

CNURBS_Curve::~CNURBS_Curve() = default;

CNURBS_Curve& CNURBS_Curve::operator=(CNURBS_Curve const& other) {
    Copy(other);
    return *this;
}

void CNURBS_Curve::Copy(CNURBS_Curve const& other) {
    if (this == &other) return;
    CopyBase(other);
    CQEL_Type::operator=(other);
}

void CNURBS_Curve::Reset() {
    Init();
    SetCurrentMaxDeviation(GetDefaultMaxDeviation());
    m_cache.Reset();
}

void CNURBS_Curve::Details() const {
    bool const shaped = GetNumKnots() > 0 && GetOrder() >= 1 && GetNumKnots() >= 2 * GetOrder();
    char line[128];
    auto say = [&](char const* format, auto value) {
        std::snprintf(line, sizeof line, format, value);
        CQEL_Output_Events::Text(CQEL_String::FromASCII(line));
    };
    CQEL_Output_Events::Text(CQEL_String::FromASCII("Curve details:-"));
    say("  NumCtrlPts = %d", GetCtrlPts().Count());
    say("  iOrder = %d", GetOrder());
    say("  bClosed = %d", int(IsClosed()));
    say("  bNonRational = %d", int(IsNonRational()));
    say("  bPeriodic = %d", int(IsPeriodic()));
    say("  fStart = %f", shaped ? GetStartU() : 0.0);
    say("  fEnd = %f", shaped ? GetEndU() : 0.0);
}

void CNURBS_Curve::Transform(CEntityTransform const& transform) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::Transform");
    op.Run([&] {
        for (int i = 0; i < GetCtrlPts().Count(); ++i)
            get_CtrlPts(i) *= transform;
    });
}

void CNURBS_Curve::DegreeElevationBezierSection(int elevation) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::DegreeElevationBezierSection");
    op.Run([&] {
        int const k = GetOrder(), n = GetCtrlPts().Count();
        op.Check(k >= 1 && n == k && GetNumKnots() == 2 * k, QEL_INVALID_PARAMETER, "curve",
                 "The curve is not a single Bezier section");
        op.CheckRange(elevation, 1, NURBS::kMaxOrder - k, "elevation");
        int const p = k - 1, q = p + elevation;
        // Q[i] = sum_j binom(p, j) binom(t, i-j) / binom(p+t, i) P[j], in homogeneous space.
        auto binom = [](int a, int b) {
            double r = 1.0;
            for (int i = 1; i <= b; ++i)
                r = r * double(a - b + i) / double(i);
            return r;
        };
        CQEL_Array<CCtrlPoint> elevated(q + 1);
        for (int i = 0; i <= q; ++i) {
            double acc[4] = {0.0, 0.0, 0.0, 0.0};
            for (int j = std::max(0, i - elevation); j <= std::min(p, i); ++j) {
                double const c = binom(p, j) * binom(elevation, i - j) / binom(q, i);
                for (int c4 = 0; c4 < 4; ++c4)
                    acc[c4] += c * GetCtrlPts()[j][c4];
            }
            elevated[i] = CCtrlPoint(acc[0], acc[1], acc[2], acc[3]);
        }
        double const a = GetStartU(), b = GetEndU();
        CheckSpace(q + 1, q);
        CQEL_Array<double>& knots = EditKnotVector().EditKnots();
        for (int i = 0; i <= q; ++i)
            knots[i] = a, knots[q + 1 + i] = b;
        for (int i = 0; i <= q; ++i)
            set_CtrlPts(i, elevated[i]);
    });
}

CPoint3<double> CNURBS_Curve::GetCenMass() const {
    return m_cache.GetCenMass();
}
CPoint3<double> CNURBS_Curve::GetMin() const {
    return m_cache.GetMin();
}
CPoint3<double> CNURBS_Curve::GetMax() const {
    return m_cache.GetMax();
}
SErrorStats const* CNURBS_Curve::GetErrorStats() const {
    static SErrorStats const none;
    return &none;
}

INURBS_Curve_ClosestPointFinder const& CNURBS_Curve::GetClosestPointFinder() const {
    return m_cache.GetClosestPointFinder();
}
bool CNURBS_Curve::FindClosestPoint(CPoint3<double> const& query, SClosestCurvePoint& result) const {
    return GetClosestPointFinder().FindClosest(query, result);
}
void CNURBS_Curve::RegisterQueryCPF(QueryCPF_Factory factory) {
    m_cache.SetFactory(factory);
}
void CNURBS_Curve::RegisterQueryCPF_Static(QueryCPF_Factory factory) {
    g_queryFactory = factory;
}
QueryCPF_Factory CNURBS_Curve::GetQueryCPF_Static() {
    return g_queryFactory ? g_queryFactory : &CNURBS_Curve_ClosestPoint::Create;
}

CQEL_Type* CNURBS_Curve::TypeCopy() const {
    return new CNURBS_Curve(*this);
}

}  // namespace QEL::Core

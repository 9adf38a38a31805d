// SPDX-License-Identifier: MIT
#include "entities/CNURBS_KnotVector.h"

#include <algorithm>

#include "core/CQEL_Operation.h"
#include "entities/NURBS_Basis.h"

namespace QEL::Core {

namespace {

// The range check shared by the span search and the multiplicity: a usable
// shape, then u within [U[k-1], U[m-k]] (NaN fails).
void CheckParameter(CQEL_Operation const& op, int order, CQEL_Array<double> const& knots, double u) {
    op.Check(order >= 1 && knots.Count() >= 2 * order, QEL_INVALID_CURVE, "knots",
             "This is an invalid curve");
    op.CheckParameter(u >= knots[order - 1] && u <= knots[knots.Count() - order], "parameter_value");
}

}  // namespace

double CNURBS_KnotVector::get_Knots(int i) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::get_Knots");
    if (unsigned(i) >= unsigned(m_knots.Count()))
        op.Throw(QEL_INDEX_OUT_OF_RANGE, "knot_index", "Index out of range");
    return m_knots.Unsafe_Get(i);
}

void CNURBS_KnotVector::set_Knots(int i, double value) {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::set_Knots");
    if (unsigned(i) >= unsigned(m_knots.Count()))
        op.Throw(QEL_INDEX_OUT_OF_RANGE, "knot_index", "Index out of range");
    m_knots.Unsafe_Get(i) = value;
    MarkModified();
}

int CNURBS_KnotVector::FindKnotSpan(double u) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::FindKnotSpan");
    return op.Run([&] {
        CheckParameter(op, m_order, m_knots, u);
        return NURBS::FindSpan(m_knots.begin(), m_knots.Count(), m_order, u);
    });
}

int CNURBS_KnotVector::CalcBasisFuns(double u, double* pBasisCoefficients) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::CalcBasisFuns");
    return op.Run([&] {
        op.Check(pBasisCoefficients != nullptr, QEL_NULL_PARAMETER, "pBasisCoefficients", "Null Pointer");
        CheckParameter(op, m_order, m_knots, u);
        op.CheckRange(m_order, 1, NURBS::kMaxOrder, "order");
        int const span = NURBS::FindSpan(m_knots.begin(), m_knots.Count(), m_order, u);
        NURBS::BasisFuns(m_knots.begin(), span, u, m_order, pBasisCoefficients);
        return span;
    });
}

int CNURBS_KnotVector::CalcBasisFunsAndDerivs(double u, int num_derivs, double** ders) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::CalcBasisFunsAndDerivs");
    return op.Run([&] {
        op.Check(ders != nullptr, QEL_NULL_PARAMETER, "ders", "Null Pointer");
        CheckParameter(op, m_order, m_knots, u);
        op.CheckRange(m_order, 1, NURBS::kMaxOrder, "order");
        op.CheckRange(num_derivs, 0, m_order - 1, "num_derivs");
        for (int j = 0; j <= num_derivs; ++j)
            op.Check(ders[j] != nullptr, QEL_NULL_PARAMETER, "ders", "Null Pointer");
        int const span = NURBS::FindSpan(m_knots.begin(), m_knots.Count(), m_order, u);
        double ndu[NURBS::kMaxOrder][NURBS::kMaxOrder];
        NURBS::BasisFunsDerivs(m_knots.begin(), span, u, m_order, num_derivs, ders, ndu);
        return span;
    });
}

int CNURBS_KnotVector::ComputeMultiplicity(double u) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::ComputeMultiplicity");
    return op.Run([&] {
        CheckParameter(op, m_order, m_knots, u);
        // Locate the first knot not below u, then count equal knots both ways.
        double const* U = m_knots.begin();
        int lo = 0, hi = m_knots.Count();
        while (lo < hi) {
            int const mid = lo + (hi - lo) / 2;
            if (U[mid] < u)
                lo = mid + 1;
            else
                hi = mid;
        }
        int count = 0;
        for (int i = lo; i < m_knots.Count() && U[i] == u; ++i)
            ++count;
        for (int i = lo - 1; i >= 0 && U[i] == u; --i)
            ++count;
        return count;
    });
}

void CNURBS_KnotVector::ComputeInfilledParams(int pts_per_knot_span, CQEL_Array<double>* pValues) const {
    static CQEL_Operation const op("QEL::Core::CNURBS_KnotVector::ComputeInfilledParams");
    op.Run([&] {
        op.Check(pValues != nullptr, QEL_NULL_PARAMETER, "pValues", "Null Pointer");
        op.CheckRange(pts_per_knot_span, 0, 1000000000, "pts_per_knot_span");
        op.Check(m_order >= 1 && m_knots.Count() >= 2 * m_order, QEL_INVALID_CURVE, "knots",
                 "This is an invalid curve");
        int const first = m_order - 1, last = m_knots.Count() - m_order;
        double const* U = m_knots.begin();
        int spans = 0;
        for (int i = first; i < last; ++i)
            if (U[i + 1] > U[i]) ++spans;
        pValues->Clear();
        pValues->PreAllocate(
            int(std::min<long long>((long long)(pts_per_knot_span + 1) * spans + 1, 1 << 24)));
        double const steps = double(pts_per_knot_span) + 1.0;
        for (int i = first; i < last; ++i) {
            double const a = m_knots[i], b = m_knots[i + 1];
            if (!(b > a)) continue;
            for (int s = 0; s <= pts_per_knot_span; ++s)
                pValues->PushBack(a + double(s) * (b - a) / steps);
        }
        pValues->PushBack(m_knots[last]);
    });
}

void CNURBS_KnotVector::Reset() {
    m_order = -1;
    m_knots.Reset();
    MarkModified();
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// Knot vectors: the span search's rules, basis functions and their
// derivatives against The NURBS Book's Example 2.3 and the recursion's
// definition, multiplicities and infilled parameters.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <initializer_list>
#include <random>
#include <utility>
#include <vector>

#include "PointSetTestUtil.h"
#include "entities/CNURBS_KnotVector.h"

using namespace QEL::Core;

namespace {

CNURBS_KnotVector MakeKnots(int order, std::initializer_list<double> knots) {
    CNURBS_KnotVector kv;
    kv.SetOrder(order);
    for (double u : knots)
        kv.EditKnots().PushBack(u);
    return kv;
}

// Cox-de Boor by its definition (right-open intervals, the last span closed).
double CoxDeBoor(CQEL_Array<double> const& U, int i, int p, double u, int last) {
    if (p == 0) return (U[i] <= u && u < U[i + 1]) || (u == U[last + 1] && i == last) ? 1.0 : 0.0;
    double a = 0.0, b = 0.0;
    if (U[i + p] > U[i]) a = (u - U[i]) / (U[i + p] - U[i]) * CoxDeBoor(U, i, p - 1, u, last);
    if (U[i + p + 1] > U[i + 1])
        b = (U[i + p + 1] - u) / (U[i + p + 1] - U[i + 1]) * CoxDeBoor(U, i + 1, p - 1, u, last);
    return a + b;
}

}  // namespace

TEST(CNURBS_KnotVector, Example23_SpanBasisAndFirstDerivatives) {
    // The NURBS Book, Example 2.3: U = {0,0,0,1,2,3,4,4,5,5,5}, p = 2, u = 5/2.
    CNURBS_KnotVector const kv = MakeKnots(3, {0, 0, 0, 1, 2, 3, 4, 4, 5, 5, 5});
    EXPECT_EQ(kv.GetDegree(), 2);
    EXPECT_EQ(kv.GetNumCtrl(), 8);
    EXPECT_EQ(kv.GetNumKnotSpans(), 6);
    EXPECT_EQ(kv.GetStart(), 0.0);
    EXPECT_EQ(kv.GetEnd(), 5.0);
    EXPECT_EQ(kv.FindKnotSpan(2.5), 4);
    double N[3];
    EXPECT_EQ(kv.CalcBasisFuns(2.5, N), 4);
    EXPECT_DOUBLE_EQ(N[0], 1.0 / 8);
    EXPECT_DOUBLE_EQ(N[1], 6.0 / 8);
    EXPECT_DOUBLE_EQ(N[2], 1.0 / 8);
    double rows[3][3];
    double* ders[3] = {rows[0], rows[1], rows[2]};
    EXPECT_EQ(kv.CalcBasisFunsAndDerivs(2.5, 2, ders), 4);
    EXPECT_DOUBLE_EQ(ders[0][1], 6.0 / 8);
    EXPECT_DOUBLE_EQ(ders[1][0], -0.5);
    EXPECT_DOUBLE_EQ(ders[1][1], 0.0);
    EXPECT_DOUBLE_EQ(ders[1][2], 0.5);
    // Second derivatives of the quadratics on [2, 3]: 1, -2, 1.
    EXPECT_DOUBLE_EQ(ders[2][0], 1.0);
    EXPECT_DOUBLE_EQ(ders[2][1], -2.0);
    EXPECT_DOUBLE_EQ(ders[2][2], 1.0);
}

TEST(CNURBS_KnotVector, SpanSearch_EndsRepeatedKnotsAndRange) {
    CNURBS_KnotVector const kv = MakeKnots(3, {0, 0, 0, 1, 2, 3, 4, 4, 5, 5, 5});
    EXPECT_EQ(kv.FindKnotSpan(0.0), 2);  // start: the last knot equal to the start
    EXPECT_EQ(kv.FindKnotSpan(5.0), 7);  // end: the last span of non-zero length
    EXPECT_EQ(kv.FindKnotSpan(1.0), 3);  // interior knot: the span that starts there
    EXPECT_EQ(kv.FindKnotSpan(4.0), 7);  // repeated knot: after the last copy
    EXPECT_EQ(kv.FindKnotSpan(3.999), 5);
    for (double outside : {std::nextafter(5.0, 6.0), std::nextafter(0.0, -1.0), std::nan("")})
        ExpectQelError([&] { kv.FindKnotSpan(outside); }, QEL_PARAMETER_OUT_OF_RANGE, "parameter_value");
    // A start knot repeated beyond the order, an end span of zero length, no span at all.
    EXPECT_EQ(MakeKnots(3, {0, 0, 0, 0, 1, 1, 1, 1}).FindKnotSpan(0.0), 3);
    EXPECT_EQ(MakeKnots(3, {0, 0, 0, 1, 1, 1, 1}).FindKnotSpan(1.0), 2);
    EXPECT_EQ(MakeKnots(3, {0, 0, 0, 0, 0, 0}).FindKnotSpan(0.0), 2);
    ExpectQelError([&] { CNURBS_KnotVector().FindKnotSpan(0.0); }, QEL_INVALID_CURVE, "knots");
}

TEST(CNURBS_KnotVector, BasisFunctions_MatchTheRecursionAndTheirDerivativesFiniteDifferences) {
    CNURBS_KnotVector const kv = MakeKnots(4, {0, 0, 0, 0, 0.5, 1.25, 1.25, 2, 3.5, 3.5, 3.5, 3.5});
    std::mt19937 random(7);
    std::uniform_real_distribution<double> param(0.0, 3.5);
    for (int trial = 0; trial < 200; ++trial) {
        double const u = trial == 0 ? 0.0 : trial == 1 ? 3.5 : trial == 2 ? 1.25 : param(random);
        double N[4], rows[4][4];
        double* ders[4] = {rows[0], rows[1], rows[2], rows[3]};
        int const span = kv.CalcBasisFuns(u, N);
        ASSERT_EQ(kv.CalcBasisFunsAndDerivs(u, 3, ders), span);
        double sum = 0.0;
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(N[j], CoxDeBoor(kv.GetKnots(), span - 3 + j, 3, u, 7), 1e-14) << u;
            EXPECT_DOUBLE_EQ(ders[0][j], N[j]);
            sum += N[j];
        }
        EXPECT_NEAR(sum, 1.0, 1e-14);
        // Derivatives against central differences of the lower order, inside the span.
        double const* U = kv.GetKnots().begin();
        double const h = 1e-6;
        if (u - h > U[span] && u + h < U[span + 1]) {
            double lo[4][4], hi[4][4];
            double* dl[4] = {lo[0], lo[1], lo[2], lo[3]};
            double* dh[4] = {hi[0], hi[1], hi[2], hi[3]};
            kv.CalcBasisFunsAndDerivs(u - h, 3, dl);
            kv.CalcBasisFunsAndDerivs(u + h, 3, dh);
            for (int d = 1; d <= 3; ++d)
                for (int j = 0; j < 4; ++j)
                    EXPECT_NEAR(ders[d][j], (hi[d - 1][j] - lo[d - 1][j]) / (2 * h),
                                1e-5 * (1 + std::fabs(ders[d][j])));
        }
    }
}

TEST(CNURBS_KnotVector, Checks_NullPointersDerivativeOrderAndOrderBound) {
    CNURBS_KnotVector const kv = MakeKnots(3, {0, 0, 0, 1, 1, 1});
    ExpectQelError([&] { kv.CalcBasisFuns(0.5, nullptr); }, QEL_NULL_PARAMETER, "pBasisCoefficients");
    double rows[4][4];
    double* ders[4] = {rows[0], rows[1], rows[2], rows[3]};
    ExpectQelError([&] { kv.CalcBasisFunsAndDerivs(0.5, 3, ders); }, QEL_PARAMETER_OUT_OF_RANGE,
                   "num_derivs");
    ExpectQelError([&] { kv.CalcBasisFunsAndDerivs(0.5, -1, ders); }, QEL_PARAMETER_OUT_OF_RANGE,
                   "num_derivs");
    CNURBS_KnotVector big;
    big.SetOrder(51);
    big.EditKnots().CheckSpace(102);
    for (int i = 0; i < 102; ++i)
        big.EditKnots()[i] = i < 51 ? 0.0 : 1.0;
    std::vector<double> N(51);
    ExpectQelError([&] { big.CalcBasisFuns(0.5, N.data()); }, QEL_PARAMETER_OUT_OF_RANGE, "order");
    ExpectQelError([&] { kv.get_Knots(6); }, QEL_INDEX_OUT_OF_RANGE, "knot_index");
}

TEST(CNURBS_KnotVector, MultiplicityAndInfilledParameters) {
    CNURBS_KnotVector const kv = MakeKnots(3, {0, 0, 0, 1, 2, 3, 4, 4, 5, 5, 5});
    for (auto const& [u, m] :
         std::initializer_list<std::pair<double, int>>{{0, 3}, {4, 2}, {2, 1}, {2.5, 0}, {5, 3}})
        EXPECT_EQ(kv.ComputeMultiplicity(u), m) << u;
    ExpectQelError([&] { kv.ComputeMultiplicity(5.5); }, QEL_PARAMETER_OUT_OF_RANGE, "parameter_value");
    CQEL_Array<double> values;
    kv.ComputeInfilledParams(0, &values);  // the distinct knots of the range, end included
    EXPECT_EQ(std::vector<double>(values.begin(), values.end()), (std::vector<double>{0, 1, 2, 3, 4, 5}));
    kv.ComputeInfilledParams(1, &values);
    EXPECT_EQ(std::vector<double>(values.begin(), values.end()),
              (std::vector<double>{0, 0.5, 1, 1.5, 2, 2.5, 3, 3.5, 4, 4.5, 5}));
    ExpectQelError([&] { kv.ComputeInfilledParams(0, nullptr); }, QEL_NULL_PARAMETER, "pValues");
    ExpectQelError([&] { kv.ComputeInfilledParams(-1, &values); }, QEL_PARAMETER_OUT_OF_RANGE,
                   "pts_per_knot_span");
}

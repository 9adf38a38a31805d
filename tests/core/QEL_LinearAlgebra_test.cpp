// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "ElementsTestSupport.h"
#include "core/QEL_LinearAlgebra.h"

using namespace ElementsTest;
using namespace QEL::Core;

TEST(LinearAlgebra, EigenDecompositionRecoversAKnownSpectrumAndBasis) {
    // A = Q diag(1, 2, 5) Q^T with a known rotation Q (columns = eigenvectors).
    Transform const rotation = Transform().CreateRotation_XYZ(0.3, -0.7, 1.1);
    CVector3<double> axes[3];
    for (int i = 0; i < 3; ++i)
        axes[i] = {rotation[4 * i], rotation[4 * i + 1], rotation[4 * i + 2]};
    double const lambda[3] = {5, 1, 2};  // deliberately not sorted
    double a[9] = {};
    for (int k = 0; k < 3; ++k)
        for (int r = 0; r < 3; ++r)
            for (int c = 0; c < 3; ++c)
                a[3 * r + c] += lambda[k] * axes[k][r] * axes[k][c];
    SSymmetricEigen3 const e = SymmetricEigen3(a);
    EXPECT_NEAR(e.values[0], 1.0, 1e-14);
    EXPECT_NEAR(e.values[1], 2.0, 1e-14);
    EXPECT_NEAR(e.values[2], 5.0, 1e-14);
    int const order[3] = {1, 2, 0};
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(std::fabs(e.vectors[i].Dot(axes[order[i]])), 1.0, 1e-14) << i;
        EXPECT_NEAR(e.vectors[i].Mag(), 1.0, 1e-15);
    }
    EXPECT_TRUE(Near3(e.vectors[0].Cross(e.vectors[1]), e.vectors[2], 1e-15));
    // Sign convention: the largest component of the first two vectors is positive.
    for (int i = 0; i < 2; ++i) {
        CVector3<double> const& v = e.vectors[i];
        double const largest = std::fabs(v.x) >= std::fabs(v.y) && std::fabs(v.x) >= std::fabs(v.z) ? v.x
                               : std::fabs(v.y) >= std::fabs(v.z)                                   ? v.y
                                                                                                    : v.z;
        EXPECT_GT(largest, 0.0);
    }
    // The CQEL_Matrix form agrees; wrong sizes and non-finite input throw.
    SSymmetricEigen3 const same = SymmetricEigen3(CQEL_Matrix(3, 3, a));
    EXPECT_EQ(same.values[2], e.values[2]);
    ExpectQELException([] { SymmetricEigen3(CQEL_Matrix(2, 3)); }, QEL_INVALID_PARAMETER, "a");
    a[4] = NAN;
    ExpectQELException([&] { SymmetricEigen3(a); }, QEL_INVALID_PARAMETER, "a");
    ExpectQELException([] { SymmetricEigen3(static_cast<double const*>(nullptr)); }, QEL_NULL_PARAMETER, "a");
}

TEST(LinearAlgebra, CovarianceOfAFlatCloudHasItsNormalAsSmallestAxis) {
    std::mt19937_64 rng(5);
    CVector3<double> const normal = CVector3<double>(1, -2, 2) / 3.0;
    CVector3<double> const u = normal.Cross(CVector3<double>(1, 0, 0)).GetNormalised(), v = normal.Cross(u);
    CPoint3<double> const centre(1e6, -2e6, 5e5);  // far from the origin
    CPoint3<double> points[200];
    for (CPoint3<double>& p : points)
        p = centre + u * Uniform(rng, -10, 10) + v * Uniform(rng, -3, 3);
    double cov[9];
    CPoint3<double> centroid;
    Covariance3(points, 200, cov, &centroid);
    SSymmetricEigen3 const e = SymmetricEigen3(cov);
    EXPECT_NEAR(std::fabs(e.vectors[0].Dot(normal)), 1.0, 1e-9);
    EXPECT_NEAR(e.values[0], 0.0, 1e-7);
    EXPECT_NEAR(std::fabs(e.vectors[2].Dot(u)), 1.0, 1e-3);
    EXPECT_TRUE(Near3(centroid, centre, 2.0));
    ExpectQELException([&] { Covariance3(points, 0, cov, nullptr); }, QEL_PARAMETER_OUT_OF_RANGE, "count");
}

TEST(LinearAlgebra, LeastSquaresFitsAndPicksTheMinimumNormSolution) {
    // y = 2 + 3 x sampled exactly: the fit recovers the line.
    CQEL_Matrix a(5, 2), b(5, 1);
    for (int i = 0; i < 5; ++i) {
        a(i, 0) = 1.0;
        a(i, 1) = i;
        b(i, 0) = 2.0 + 3.0 * i;
    }
    int rank = 0;
    CQEL_Matrix const x = SolveLeastSquares(a, b, &rank);
    EXPECT_EQ(rank, 2);
    ASSERT_EQ(x.GetNumRows(), 2);
    EXPECT_NEAR(x(0, 0), 2.0, 1e-13);
    EXPECT_NEAR(x(1, 0), 3.0, 1e-13);
    // Inconsistent data: the mean is the least-squares constant.
    double const ones[3] = {1, 1, 1}, data[3] = {1, 2, 6};
    EXPECT_NEAR(SolveLeastSquares(CQEL_Matrix(3, 1, ones), CQEL_Matrix(3, 1, data))(0, 0), 3.0, 1e-14);
    // Two equal columns: x1 + x2 = 4 has the minimum-norm solution (2, 2).
    double const twin[4] = {1, 1, 1, 1}, four[2] = {4, 4};
    CQEL_Matrix const minimum = SolveLeastSquares(CQEL_Matrix(2, 2, twin), CQEL_Matrix(2, 1, four), &rank);
    EXPECT_EQ(rank, 1);
    EXPECT_NEAR(minimum(0, 0), 2.0, 1e-13);
    EXPECT_NEAR(minimum(1, 0), 2.0, 1e-13);
    ExpectQELException([&] { SolveLeastSquares(a, CQEL_Matrix(4, 1)); }, QEL_INVALID_PARAMETER, "b");
}

TEST(LinearAlgebra, SquareSolveRejectsSingularSystems) {
    double const m[9] = {4, 1, 0, 1, 3, 1, 0, 1, 2}, rhs[3] = {1, 2, 3};
    CQEL_Matrix const a(3, 3, m), b(3, 1, rhs);
    CQEL_Matrix const x = SolveLinear(a, b);
    CQEL_Matrix const residual = a * x - b;
    EXPECT_LT(residual.GetMaxAbs(), 1e-14);
    double const singular[4] = {1, 2, 2, 4};
    ExpectQELException([&] { SolveLinear(CQEL_Matrix(2, 2, singular), CQEL_Matrix(2, 1, 1.0)); },
                       QEL_INVALID_PARAMETER, "a");
    ExpectQELException([&] { SolveLinear(CQEL_Matrix(2, 3), b); }, QEL_INVALID_PARAMETER, "a");
}

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "core/CQEL_BandedLU.h"
#include "core/QEL_LinearAlgebra.h"
#include "test_helpers/ReasonOf.h"

using namespace QEL::Core;

// Banded systems of every band shape against the dense solver, three
// right-hand sides at once; rows made diagonally dominant so that no pivoting
// is needed, as for the fitting systems.
TEST(BandedLU, SolvesLikeTheDenseSolverForEveryBandShape) {
    std::mt19937 random(7);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    int const shapes[][3] = {{1, 0, 0},  {2, 1, 0},  {5, 0, 2},   {9, 2, 1},
                             {40, 3, 3}, {33, 1, 4}, {12, 11, 11}};
    for (auto const& shape : shapes) {
        int const n = shape[0], kl = shape[1], ku = shape[2];
        CQEL_BandedLU banded;
        banded.Reset(n, kl, ku);
        CQEL_Matrix dense(n, n), rhs(n, 3);
        for (int i = 0; i < n; ++i) {
            double rowSum = 0.0;
            for (int j = std::max(0, i - kl); j <= std::min(n - 1, i + ku); ++j) {
                if (j == i) continue;
                double const v = value(random);
                banded.At(i, j) = dense(i, j) = v;
                rowSum += std::fabs(v);
            }
            banded.At(i, i) = dense(i, i) = rowSum + 0.5;
            for (int c = 0; c < 3; ++c)
                rhs(i, c) = value(random);
        }
        std::vector<double> x(std::size_t(3 * n));
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 3; ++c)
                x[std::size_t(3 * i + c)] = rhs(i, c);
        ASSERT_TRUE(banded.Factorise()) << n << " " << kl << " " << ku;
        banded.Solve(x.data(), 3);
        CQEL_Matrix const expected = SolveLinear(dense, rhs);
        for (int i = 0; i < n; ++i)
            for (int c = 0; c < 3; ++c)
                EXPECT_NEAR(x[std::size_t(3 * i + c)], expected(i, c), 1e-13) << n << " " << kl << " " << ku;
        // One right-hand side, and twelve (three copies of each column and more), give the same.
        std::vector<double> one(static_cast<std::size_t>(n)), twelve(static_cast<std::size_t>(12 * n));
        for (int i = 0; i < n; ++i) {
            one[std::size_t(i)] = rhs(i, 1);
            for (int c = 0; c < 12; ++c)
                twelve[std::size_t(12 * i + c)] = rhs(i, c % 3);
        }
        banded.Solve(one.data(), 1);
        banded.Solve(twelve.data(), 12);
        for (int i = 0; i < n; ++i) {
            EXPECT_NEAR(one[std::size_t(i)], expected(i, 1), 1e-13);
            for (int c = 0; c < 12; ++c)
                EXPECT_NEAR(twelve[std::size_t(12 * i + c)], expected(i, c % 3), 1e-13);
        }
    }
}

TEST(BandedLU, ReportsSingularSystemsAndRefusesElementsOutsideTheBand) {
    CQEL_BandedLU lu;
    lu.Reset(3, 1, 1);
    lu.At(0, 0) = 1.0, lu.At(0, 1) = 2.0;
    lu.At(1, 0) = 2.0, lu.At(1, 1) = 4.0;  // second row twice the first
    lu.At(2, 2) = 1.0;
    EXPECT_FALSE(lu.Factorise());
    double rhs[3] = {1, 2, 3};
    EXPECT_EQ(ReasonOf([&] { lu.Solve(rhs, 1); }), QEL_INVALID_OPERATION);

    lu.Reset(4, 1, 0);
    EXPECT_EQ(ReasonOf([&] { lu.At(0, 1); }), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(ReasonOf([&] { lu.At(3, 1); }), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(ReasonOf([&] { lu.At(4, 4); }), QEL_PARAMETER_OUT_OF_RANGE);
    EXPECT_EQ(ReasonOf([&] { lu.Reset(3, 3, 0); }), QEL_PARAMETER_OUT_OF_RANGE);
    lu.At(2, 1) = 1.0;  // inside the band
}

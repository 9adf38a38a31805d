// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "ElementsTestSupport.h"
#include "core/CQEL_Matrix.h"

using namespace ElementsTest;
using namespace QEL::Core;

TEST(Matrix, SizesAreCheckedBeforeAnythingIsAllocated) {
    ExpectQELException([] { CQEL_Matrix(-1, 3); }, QEL_PARAMETER_OUT_OF_RANGE, "rows");
    ExpectQELException([] { CQEL_Matrix(3, -1); }, QEL_PARAMETER_OUT_OF_RANGE, "cols");
    ExpectQELException([] { CQEL_Matrix(1000000001, 1); }, QEL_PARAMETER_OUT_OF_RANGE, "rows");
    ExpectQELException([] { CQEL_Matrix(100000, 100000); }, QEL_PARAMETER_OUT_OF_RANGE, "rows * cols");
    ExpectQELException([] { CQEL_Matrix(2, 2, static_cast<double const*>(nullptr)); }, QEL_NULL_PARAMETER,
                       "values");
    CQEL_Matrix m(2, 3);
    ExpectQELException([&] { m.SetSize(-5, 5); }, QEL_PARAMETER_OUT_OF_RANGE, "rows");
    EXPECT_EQ(m.GetNumRows(), 2);  // a failed resize leaves the matrix as it was
    EXPECT_EQ(m.GetNumCols(), 3);
    EXPECT_EQ(CQEL_Matrix(0, 4).GetData(), nullptr);
}

TEST(Matrix, RowMajorStorageCheckedAccessAndViews) {
    double const values[6] = {1, 2, 3, 4, 5, 6};
    CQEL_Matrix m(2, 3, values);
    EXPECT_EQ(m(1, 0), 4.0);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&m(2, 0)), 0xBBADBEEFu);
    m.Set(0, 1, -20);
    EXPECT_EQ(m.GetData()[1], -20.0);
    ExpectQELException([&] { m.Get(2, 0); }, QEL_PARAMETER_OUT_OF_RANGE, "row");
    ExpectQELException([&] { m.Set(0, 3, 1.0); }, QEL_PARAMETER_OUT_OF_RANGE, "col");
    ExpectQELException([&] { m.GetColumn(-1); }, QEL_PARAMETER_OUT_OF_RANGE, "col");

    CQEL_Matrix_View<double> column = m.GetColumn(2);
    ASSERT_EQ(column.Count(), 2);
    EXPECT_EQ(column[0], 3.0);
    column[1] = 60;  // views write through
    EXPECT_EQ(m(1, 2), 60.0);
    CQEL_Matrix const& constant = m;
    CQEL_Matrix_View<double const> row = constant.GetRow(1);
    ExpectQELException([&] { row.At(3); }, QEL_PARAMETER_OUT_OF_RANGE, "index");
    EXPECT_EQ(row.Dot(constant.GetRow(0)), 4 * 1 + 5 * -20 + 60 * 3);
    ExpectQELException([&] { row.Dot(constant.GetColumn(0)); }, QEL_INVALID_PARAMETER, "other");

    double const r0[2] = {1, 2};
    double const* broken[2] = {r0, nullptr};
    ExpectQELException([&] { CQEL_Matrix::FromRowPointers(broken, 2, 2); }, QEL_NULL_PARAMETER, "rows");
}

TEST(Matrix, ProductTransposeAndSums) {
    double const a[6] = {1, 2, 3, 4, 5, 6};     // 2 x 3
    double const b[6] = {7, 8, 9, 10, 11, 12};  // 3 x 2
    CQEL_Matrix const A(2, 3, a), B(3, 2, b);
    CQEL_Matrix const product = A * B;
    double const expected[4] = {58, 64, 139, 154};
    EXPECT_EQ(product, CQEL_Matrix(2, 2, expected));
    EXPECT_EQ((B.GetTransposed() * A.GetTransposed()), product.GetTransposed());
    EXPECT_EQ(A * CQEL_Matrix::Identity(3), A);
    ExpectQELException([&] { A* A; }, QEL_INVALID_PARAMETER, "other");
    ExpectQELException([&] { A + B; }, QEL_INVALID_PARAMETER, "other");
    EXPECT_EQ(A + A, A * 2.0);
    CQEL_Matrix copy = A;
    copy(0, 0) = 100;
    EXPECT_EQ(A(0, 0), 1.0);  // copies are deep
}

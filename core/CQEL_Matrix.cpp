// SPDX-License-Identifier: MIT
#include "core/CQEL_Matrix.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

namespace Detail {

void ThrowMatrixViewIndex() {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix_View::At");
    op.Run([&] { op.Throw(QEL_PARAMETER_OUT_OF_RANGE, "index", "Parameter out of range"); });
    __builtin_unreachable();
}

void ThrowMatrixViewLength() {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix_View::Dot");
    op.Run([&] { op.Throw(QEL_INVALID_PARAMETER, "other", "Views differ in length"); });
    __builtin_unreachable();
}

}  // namespace Detail

namespace {

// Checks a size through op and returns the element count.
int CheckedCount(CQEL_Operation const& op, int rows, int cols) {
    op.CheckRange(rows, 0, 1000000000, "rows");
    op.CheckRange(cols, 0, 1000000000, "cols");
    std::int64_t const count = std::int64_t(rows) * cols;
    op.CheckParameter(count <= std::numeric_limits<int>::max(), "rows * cols");
    return int(count);
}

}  // namespace

CQEL_Matrix::CQEL_Matrix() = default;

CQEL_Matrix::CQEL_Matrix(int rows, int cols, double fill) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::CQEL_Matrix");
    op.Run([&] { SetSize(rows, cols, fill); });
}

CQEL_Matrix::CQEL_Matrix(int rows, int cols, double const* values) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::CQEL_Matrix");
    op.Run([&] {
        int const count = CheckedCount(op, rows, cols);
        op.Check(values != nullptr || count == 0, QEL_NULL_PARAMETER, "values", "Null pointer to the values");
        SetSize(rows, cols);
        for (int i = 0; i < count; ++i)
            m_values.Unsafe_Get(i) = values[i];
    });
}

CQEL_Matrix CQEL_Matrix::FromRowPointers(double const* const* rowPointers, int rows, int cols) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::FromRowPointers");
    return op.Run([&] {
        int const count = CheckedCount(op, rows, cols);
        op.Check(rowPointers != nullptr || count == 0, QEL_NULL_PARAMETER, "rows",
                 "Null pointer to the rows");
        CQEL_Matrix matrix(rows, cols);
        for (int r = 0; r < rows && count > 0; ++r) {
            op.Check(rowPointers[r] != nullptr, QEL_NULL_PARAMETER, "rows", "Null pointer to a row");
            for (int c = 0; c < cols; ++c)
                matrix(r, c) = rowPointers[r][c];
        }
        return matrix;
    });
}

CQEL_Matrix CQEL_Matrix::Identity(int n) {
    CQEL_Matrix identity(n, n);
    for (int i = 0; i < n; ++i)
        identity(i, i) = 1.0;
    return identity;
}

void CQEL_Matrix::SetSize(int rows, int cols, double fill) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::SetSize");
    op.Run([&] {
        int const count = CheckedCount(op, rows, cols);
        // Exactly count slots: a matrix does not grow element by element.
        m_values.AllocateExplicit(count, count, 0);
        m_values.Set(fill);
        m_rows = rows;
        m_cols = cols;
    });
}

double CQEL_Matrix::Get(int r, int c) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::Get");
    return op.Run([&] {
        op.CheckRange(r, 0, m_rows - 1, "row");
        op.CheckRange(c, 0, m_cols - 1, "col");
        return (*this)(r, c);
    });
}

void CQEL_Matrix::Set(int r, int c, double value) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::Set");
    op.Run([&] {
        op.CheckRange(r, 0, m_rows - 1, "row");
        op.CheckRange(c, 0, m_cols - 1, "col");
        (*this)(r, c) = value;
    });
}

CQEL_Matrix_View<double> CQEL_Matrix::GetRow(int r) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::GetRow");
    return op.Run([&] {
        op.CheckRange(r, 0, m_rows - 1, "row");
        double* first = m_cols > 0 ? &(*this)(r, 0) : nullptr;
        return CQEL_Matrix_View<double>(first, m_cols, 1);
    });
}

CQEL_Matrix_View<double const> CQEL_Matrix::GetRow(int r) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::GetRow");
    return op.Run([&] {
        op.CheckRange(r, 0, m_rows - 1, "row");
        // A row of zero columns has no element to point at.
        double const* first = m_cols > 0 ? &(*this)(r, 0) : nullptr;
        return CQEL_Matrix_View<double const>(first, m_cols, 1);
    });
}

CQEL_Matrix_View<double> CQEL_Matrix::GetColumn(int c) {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::GetColumn");
    return op.Run([&] {
        op.CheckRange(c, 0, m_cols - 1, "col");
        double* first = m_rows > 0 ? &(*this)(0, c) : nullptr;
        return CQEL_Matrix_View<double>(first, m_rows, m_cols);
    });
}

CQEL_Matrix_View<double const> CQEL_Matrix::GetColumn(int c) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::GetColumn");
    return op.Run([&] {
        op.CheckRange(c, 0, m_cols - 1, "col");
        double const* first = m_rows > 0 ? &(*this)(0, c) : nullptr;
        return CQEL_Matrix_View<double const>(first, m_rows, m_cols);
    });
}

CQEL_Matrix CQEL_Matrix::GetTransposed() const {
    CQEL_Matrix t(m_cols, m_rows);
    for (int r = 0; r < m_rows; ++r)
        for (int c = 0; c < m_cols; ++c)
            t(c, r) = (*this)(r, c);
    return t;
}

CQEL_Matrix CQEL_Matrix::operator*(CQEL_Matrix const& other) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::operator*");
    return op.Run([&] {
        op.Check(m_cols == other.m_rows, QEL_INVALID_PARAMETER, "other", "Matrix sizes do not match");
        CQEL_Matrix product(m_rows, other.m_cols);
        // i-k-j order walks both operands row by row.
        for (int i = 0; i < m_rows; ++i)
            for (int k = 0; k < m_cols; ++k) {
                double const a = (*this)(i, k);
                for (int j = 0; j < other.m_cols; ++j)
                    product(i, j) += a * other(k, j);
            }
        return product;
    });
}

CQEL_Matrix CQEL_Matrix::operator+(CQEL_Matrix const& other) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::operator+");
    return op.Run([&] {
        op.Check(m_rows == other.m_rows && m_cols == other.m_cols, QEL_INVALID_PARAMETER, "other",
                 "Matrix sizes do not match");
        CQEL_Matrix sum(*this);
        for (int i = 0; i < m_values.Count(); ++i)
            sum.m_values.Unsafe_Get(i) += other.m_values.Unsafe_Get(i);
        return sum;
    });
}

CQEL_Matrix CQEL_Matrix::operator-(CQEL_Matrix const& other) const {
    static CQEL_Operation const op("QEL::Core::CQEL_Matrix::operator-");
    return op.Run([&] {
        op.Check(m_rows == other.m_rows && m_cols == other.m_cols, QEL_INVALID_PARAMETER, "other",
                 "Matrix sizes do not match");
        CQEL_Matrix difference(*this);
        for (int i = 0; i < m_values.Count(); ++i)
            difference.m_values.Unsafe_Get(i) -= other.m_values.Unsafe_Get(i);
        return difference;
    });
}

CQEL_Matrix CQEL_Matrix::operator*(double s) const {
    CQEL_Matrix scaled(*this);
    for (double& value : scaled.m_values)
        value *= s;
    return scaled;
}

double CQEL_Matrix::GetMaxAbs() const {
    double largest = 0.0;
    for (double value : m_values)
        if (std::fabs(value) > largest) largest = std::fabs(value);
    return largest;
}

bool CQEL_Matrix::operator==(CQEL_Matrix const& other) const {
    if (m_rows != other.m_rows || m_cols != other.m_cols) return false;
    for (int i = 0; i < m_values.Count(); ++i)
        if (!(m_values.Unsafe_Get(i) == other.m_values.Unsafe_Get(i))) return false;
    return true;
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// CQEL_Matrix: a dense matrix of doubles, with row and column views.
//
// Storage is row-major in one checked array: element (r, c) lies at
// r * GetNumCols() + c of GetData(). A matrix may have zero rows or columns
// (it is then empty). Sizes are checked on every construction and resize:
// rows and columns each in [0, 1000000000] and at most 2^31 - 1 elements in
// all, else CQEL_Exception reason 5 (QEL_PARAMETER_OUT_OF_RANGE) with
// parameter "rows", "cols" or "rows * cols"; so a size read from a file can
// never make the matrix allocate more than that.
//
// As the heights matrix of point-set creation (FromMatrix), each column
// becomes one section and each row one point of it; the matrix itself
// attaches no meaning to its indices. GetMaxAbs serves the automatic spacing.
//
// Element access: operator() is unchecked (out of range it yields the
// library's invalid reference, which faults on first use); Get, Set and At
// check and throw reason 5 with parameter "row" or "col" (or "index").
//
// Views (CQEL_Matrix_View) refer into the matrix's storage: they stay valid
// until the matrix is resized, assigned to or destroyed.
#pragma once

#include <cstddef>

#include "core/CQEL_Array.h"
#include "core/QEL_Elements_Common.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

namespace Detail {
[[noreturn]] QEL_API void ThrowMatrixViewIndex();
[[noreturn]] QEL_API void ThrowMatrixViewLength();
}  // namespace Detail

// A row or column of a matrix: count elements, stride apart in memory.
// V is double (a writable view) or double const.
template <class V>
class CQEL_Matrix_View {
  public:
    CQEL_Matrix_View(V* first, int count, int stride) : m_first(first), m_count(count), m_stride(stride) {}

    int Count() const { return m_count; }
    // Element i, unchecked: out of range it yields the invalid reference.
    V& operator[](int i) const {
        if (unsigned(i) >= unsigned(m_count)) return Elements::Detail::InvalidReference<V>();
        return m_first[std::ptrdiff_t(i) * m_stride];
    }
    // Element i, checked: reason 5, parameter "index".
    V& At(int i) const {
        if (unsigned(i) >= unsigned(m_count)) Detail::ThrowMatrixViewIndex();
        return m_first[std::ptrdiff_t(i) * m_stride];
    }
    // Scalar product with another view of the same length (reason 14,
    // parameter "other", "Views differ in length" otherwise).
    template <class W>
    double Dot(CQEL_Matrix_View<W> const& other) const {
        if (other.Count() != m_count) Detail::ThrowMatrixViewLength();
        double sum = 0.0;
        for (int i = 0; i < m_count; ++i)
            sum += (*this)[i] * other[i];
        return sum;
    }

  private:
    V* m_first;
    int m_count;
    int m_stride;
};

class QEL_API CQEL_Matrix {
  public:
    // The 0 x 0 matrix.
    CQEL_Matrix();
    // rows x cols, every element fill.
    CQEL_Matrix(int rows, int cols, double fill = 0.0);
    // rows x cols from rows * cols values in row-major order (values may be
    // null only when the matrix is empty; else reason 0, parameter "values").
    CQEL_Matrix(int rows, int cols, double const* values);
    // rows x cols from an array of row pointers, each to cols doubles (the
    // storage of hosts that keep one allocation per row). Null rowPointers or
    // a null row throws reason 0 (QEL_NULL_PARAMETER), parameter "rows".
    static CQEL_Matrix FromRowPointers(double const* const* rowPointers, int rows, int cols);
    // The n x n identity.
    static CQEL_Matrix Identity(int n);

    int GetNumRows() const { return m_rows; }
    int GetNumCols() const { return m_cols; }
    bool IsEmpty() const { return m_rows == 0 || m_cols == 0; }

    // Makes the matrix rows x cols with every element fill (contents are not kept).
    void SetSize(int rows, int cols, double fill = 0.0);

    // Element (r, c), unchecked.
    double& operator()(int r, int c) {
        if (unsigned(r) >= unsigned(m_rows) || unsigned(c) >= unsigned(m_cols))
            return Elements::Detail::InvalidReference<double>();
        return m_values.Unsafe_Get(r * m_cols + c);
    }
    double const& operator()(int r, int c) const {
        if (unsigned(r) >= unsigned(m_rows) || unsigned(c) >= unsigned(m_cols))
            return Elements::Detail::InvalidReference<double const>();
        return m_values.Unsafe_Get(r * m_cols + c);
    }
    // Element (r, c), checked.
    double Get(int r, int c) const;
    void Set(int r, int c, double value);

    // The row-major elements (null when empty).
    double const* GetData() const { return IsEmpty() ? nullptr : m_values.begin(); }
    double* GetData() { return IsEmpty() ? nullptr : m_values.begin(); }

    // Views of row r or column c (checked: reason 5, "row" or "col").
    CQEL_Matrix_View<double> GetRow(int r);
    CQEL_Matrix_View<double const> GetRow(int r) const;
    CQEL_Matrix_View<double> GetColumn(int c);
    CQEL_Matrix_View<double const> GetColumn(int c) const;

    CQEL_Matrix GetTransposed() const;
    // The product this x other; other must have as many rows as this has
    // columns (else reason 14, parameter "other", "Matrix sizes do not match").
    CQEL_Matrix operator*(CQEL_Matrix const& other) const;
    CQEL_Matrix operator+(CQEL_Matrix const& other) const;
    CQEL_Matrix operator-(CQEL_Matrix const& other) const;
    CQEL_Matrix operator*(double s) const;

    // The largest absolute element; 0 for an empty matrix. NaN elements are
    // skipped.
    double GetMaxAbs() const;

    // Same size and exactly equal elements.
    bool operator==(CQEL_Matrix const& other) const;
    bool operator!=(CQEL_Matrix const& other) const { return !(*this == other); }

  private:
    int m_rows = 0;
    int m_cols = 0;
    CQEL_Array<double> m_values;
};

}  // namespace QEL::Core

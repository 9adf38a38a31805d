// SPDX-License-Identifier: MIT
// Dense linear algebra of the library: the symmetric eigen-decomposition of
// 3 x 3 matrices (principal axes, normals from covariances) and solvers for
// linear and least-squares systems over CQEL_Matrix (curve fitting).
//
// Every function checks its input and throws CQEL_Exception: reason 0
// (QEL_NULL_PARAMETER) for a null pointer, reason 14 (QEL_INVALID_PARAMETER)
// with parameter "a" or "b" and message "Matrix sizes do not match",
// "Matrix has non-finite elements" or "Matrix is singular". Costs: the 3 x 3
// decomposition is constant time; the solvers are O(n^3) in the matrix size.
#pragma once

#include "core/CPoint3.h"
#include "core/CQEL_Matrix.h"
#include "core/CVector3.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

// Eigenvalues and eigenvectors of a symmetric 3 x 3 matrix.
struct SSymmetricEigen3 {
    // Eigenvalues in ascending order.
    double values[3];
    // Unit eigenvectors, vectors[i] belonging to values[i]. They are
    // orthonormal and right-handed (vectors[0] x vectors[1] = vectors[2]); the
    // largest component (by magnitude, the first on a tie) of vectors[0] and
    // of vectors[1] is positive. For a repeated eigenvalue any orthonormal basis
    // of its eigenspace may be returned.
    Elements::CVector3<double> vectors[3];
};

// Decomposes the symmetric matrix given as 9 row-major values. The matrix is
// symmetrised first (entries (i, j) and (j, i) averaged). Iterative (QR on
// the tridiagonal form), accurate to a few ulps of the largest eigenvalue.
QEL_API SSymmetricEigen3 SymmetricEigen3(double const* rowMajor9);
// The same for a 3 x 3 CQEL_Matrix (other sizes: "Matrix sizes do not match", "a").
QEL_API SSymmetricEigen3 SymmetricEigen3(CQEL_Matrix const& a);

// The covariance matrix of count points about their centroid (sum of outer
// products of p - centroid, divided by count), 9 row-major values, and the
// centroid. With principal axes in mind: its eigenvectors are the axes of
// the point cloud, the smallest one the normal of a fitted plane. count must
// be >= 1 (reason 5, "count") and points not null.
QEL_API void Covariance3(Elements::CPoint3<double> const* points, int count, double* rowMajor9,
                         Elements::CPoint3<double>* centroid);

// The X minimising the Euclidean norm of a X - b, column by column; among
// several minimisers (a rank-deficient a) the one of least norm. a is m x n,
// b is m x k, X is n x k; any m and n >= 1. Complete orthogonal decomposition
// with column pivoting; rank (if not null) receives the numerical rank of a.
QEL_API CQEL_Matrix SolveLeastSquares(CQEL_Matrix const& a, CQEL_Matrix const& b, int* rank = nullptr);

// The X with a X = b for a square, non-singular a (n x n) and b n x k.
// LU with full pivoting; a numerically singular a throws "Matrix is singular".
QEL_API CQEL_Matrix SolveLinear(CQEL_Matrix const& a, CQEL_Matrix const& b);

}  // namespace QEL::Core

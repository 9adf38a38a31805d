// SPDX-License-Identifier: MIT
#include "core/QEL_LinearAlgebra.h"

#include <Eigen/Dense>
#include <cmath>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

using Elements::CPoint3;
using Elements::CVector3;

namespace {

using RowMatrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using ConstMap = Eigen::Map<RowMatrix const>;

ConstMap AsEigen(CQEL_Matrix const& m) {
    return ConstMap(m.GetData(), m.GetNumRows(), m.GetNumCols());
}

CQEL_Matrix FromEigen(RowMatrix const& m) {
    return CQEL_Matrix(int(m.rows()), int(m.cols()), m.data());
}

bool AllFinite(CQEL_Matrix const& m) {
    double const* values = m.GetData();
    for (int i = 0, n = m.GetNumRows() * m.GetNumCols(); i < n; ++i)
        if (!std::isfinite(values[i])) return false;
    return true;
}

// Flips v so that its largest component (the first on a tie) is positive.
CVector3<double> CanonicalSign(CVector3<double> v) {
    int largest = 0;
    for (int i = 1; i < 3; ++i)
        if (std::fabs(v[i]) > std::fabs(v[largest])) largest = i;
    return v[largest] < 0.0 ? -v : v;
}

SSymmetricEigen3 Decompose(CQEL_Operation const& op, double const* a) {
    Eigen::Matrix3d m;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c) {
            op.Check(std::isfinite(a[3 * r + c]), QEL_INVALID_PARAMETER, "a",
                     "Matrix has non-finite elements");
            m(r, c) = (a[3 * r + c] + a[3 * c + r]) / 2;
        }
    Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> solver(m, Eigen::ComputeEigenvectors);
    op.Check(solver.info() == Eigen::Success, QEL_INVALID_PARAMETER, "a", "Matrix has non-finite elements");
    SSymmetricEigen3 result;
    for (int i = 0; i < 3; ++i)
        result.values[i] = solver.eigenvalues()(i);
    auto column = [&](int i) {
        auto const& v = solver.eigenvectors().col(i);
        return CVector3<double>(v(0), v(1), v(2)).GetNormalised();
    };
    result.vectors[0] = CanonicalSign(column(0));
    result.vectors[1] = CanonicalSign(column(1));
    result.vectors[2] = result.vectors[0].Cross(result.vectors[1]);
    return result;
}

}  // namespace

SSymmetricEigen3 SymmetricEigen3(double const* rowMajor9) {
    static CQEL_Operation const op("QEL::Core::SymmetricEigen3");
    return op.Run([&] {
        op.Check(rowMajor9 != nullptr, QEL_NULL_PARAMETER, "a", "Null pointer to the matrix");
        return Decompose(op, rowMajor9);
    });
}

SSymmetricEigen3 SymmetricEigen3(CQEL_Matrix const& a) {
    static CQEL_Operation const op("QEL::Core::SymmetricEigen3");
    return op.Run([&] {
        op.Check(a.GetNumRows() == 3 && a.GetNumCols() == 3, QEL_INVALID_PARAMETER, "a",
                 "Matrix sizes do not match");
        return Decompose(op, a.GetData());
    });
}

void Covariance3(CPoint3<double> const* points, int count, double* rowMajor9, CPoint3<double>* centroid) {
    static CQEL_Operation const op("QEL::Core::Covariance3");
    op.Run([&] {
        op.Check(points != nullptr, QEL_NULL_PARAMETER, "points", "Null pointer to the points");
        op.Check(rowMajor9 != nullptr, QEL_NULL_PARAMETER, "rowMajor9", "Null pointer to the result");
        op.CheckRange(count, 1, 2147483647, "count");
        // Two passes: the centroid first, so that the sums of products do not
        // cancel for clouds far from the origin.
        CVector3<double> sum;
        for (int i = 0; i < count; ++i)
            sum += points[i].ToVector();
        CPoint3<double> const c(sum / double(count));
        double s[9] = {};
        for (int i = 0; i < count; ++i) {
            CVector3<double> const d = points[i] - c;
            for (int r = 0; r < 3; ++r)
                for (int k = r; k < 3; ++k)
                    s[3 * r + k] += d[r] * d[k];
        }
        for (int r = 0; r < 3; ++r)
            for (int k = r; k < 3; ++k)
                rowMajor9[3 * r + k] = rowMajor9[3 * k + r] = s[3 * r + k] / count;
        if (centroid) *centroid = c;
    });
}

CQEL_Matrix SolveLeastSquares(CQEL_Matrix const& a, CQEL_Matrix const& b, int* rank) {
    static CQEL_Operation const op("QEL::Core::SolveLeastSquares");
    return op.Run([&] {
        op.Check(!a.IsEmpty(), QEL_INVALID_PARAMETER, "a", "Matrix sizes do not match");
        op.Check(b.GetNumRows() == a.GetNumRows() && b.GetNumCols() >= 1, QEL_INVALID_PARAMETER, "b",
                 "Matrix sizes do not match");
        op.Check(AllFinite(a), QEL_INVALID_PARAMETER, "a", "Matrix has non-finite elements");
        op.Check(AllFinite(b), QEL_INVALID_PARAMETER, "b", "Matrix has non-finite elements");
        Eigen::CompleteOrthogonalDecomposition<RowMatrix> cod(AsEigen(a));
        if (rank) *rank = int(cod.rank());
        RowMatrix const x = cod.solve(AsEigen(b));
        return FromEigen(x);
    });
}

CQEL_Matrix SolveLinear(CQEL_Matrix const& a, CQEL_Matrix const& b) {
    static CQEL_Operation const op("QEL::Core::SolveLinear");
    return op.Run([&] {
        op.Check(!a.IsEmpty() && a.GetNumRows() == a.GetNumCols(), QEL_INVALID_PARAMETER, "a",
                 "Matrix sizes do not match");
        op.Check(b.GetNumRows() == a.GetNumRows() && b.GetNumCols() >= 1, QEL_INVALID_PARAMETER, "b",
                 "Matrix sizes do not match");
        op.Check(AllFinite(a), QEL_INVALID_PARAMETER, "a", "Matrix has non-finite elements");
        op.Check(AllFinite(b), QEL_INVALID_PARAMETER, "b", "Matrix has non-finite elements");
        Eigen::FullPivLU<RowMatrix> lu(AsEigen(a));
        op.Check(lu.isInvertible(), QEL_INVALID_PARAMETER, "a", "Matrix is singular");
        RowMatrix const x = lu.solve(AsEigen(b));
        return FromEigen(x);
    });
}

}  // namespace QEL::Core

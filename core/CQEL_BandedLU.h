// SPDX-License-Identifier: MIT
// CQEL_BandedLU: an n x n matrix with kl sub-diagonals and ku super-diagonals,
// stored by its band only, factorised once (LU) and then solved for any
// number of right-hand sides.
//
// Made for the systems of curve fitting: collocation matrices of B-splines
// (totally positive) and normal matrices of least squares (symmetric
// positive definite). For both, Gaussian elimination without pivoting is
// stable (de Boor, "Total positivity of the spline collocation matrix"), so
// none is done: the factors keep the band and cost O(n kl ku) time and
// O(n (kl + ku + 1)) memory. A matrix that needs pivoting is reported as
// singular, never solved wrongly.
#pragma once

#include <vector>

#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_BandedLU {
  public:
    CQEL_BandedLU() = default;

    // Makes the matrix an n x n zero matrix with the given band. n, kl, ku >= 0
    // and the band no wider than the matrix, else reason 5 ("n", "kl", "ku");
    // a band of more than 2^31 elements throws reason 2.
    void Reset(int n, int kl, int ku);

    int GetSize() const { return m_n; }
    int GetLowerBand() const { return m_kl; }
    int GetUpperBand() const { return m_ku; }

    // Element (i, j), which must lie in the band (|j - i| within kl below and
    // ku above), else reason 5 ("first"). Before Factorise only.
    double& At(int i, int j);
    // The elements (i, first) .. (i, first + count - 1) of row i, contiguous,
    // for rows filled from basis values. The range must lie in the band, else
    // reason 5 ("first").
    double* RowSpan(int i, int first, int count);

    // LU without pivoting, in place. False when a pivot is zero, not finite or
    // below 1e-14 of the largest magnitude of its row (a singular or badly
    // posed system); the matrix is then unusable until the next Reset.
    bool Factorise();

    // Solves A X = B in place: rhs holds n rows of nrhs values each (row
    // major, for instance x, y, z of one point per row). Requires a
    // successful Factorise (else reason 30).
    void Solve(double* rhs, int nrhs) const;

  private:
    double* Band(int i) { return m_band.data() + std::size_t(i) * std::size_t(m_width); }
    double const* Band(int i) const { return m_band.data() + std::size_t(i) * std::size_t(m_width); }

    int m_n = 0;
    int m_kl = 0;
    int m_ku = 0;
    int m_width = 1;
    bool m_factorised = false;
    // Row i holds columns i - kl .. i + ku.
    std::vector<double> m_band;
};

}  // namespace QEL::Core

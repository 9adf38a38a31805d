// SPDX-License-Identifier: MIT
#include "core/CQEL_BandedLU.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "core/CQEL_Operation.h"

namespace QEL::Core {

namespace {

// Forward and backward substitution for rows of many values, summed in place.
void SubstituteInPlace(double const* band, int n, int kl, int ku, double* rhs, std::size_t stride) {
    std::size_t const width = std::size_t(kl) + std::size_t(ku) + 1;
    for (int i = 1; i < n; ++i) {
        double const* row = band + std::size_t(i) * width;
        double* yi = rhs + std::size_t(i) * stride;
        for (int j = std::max(0, i - kl); j < i; ++j) {
            double const l = row[j - i + kl];
            double const* yj = rhs + std::size_t(j) * stride;
            for (std::size_t c = 0; c < stride; ++c)
                yi[c] -= l * yj[c];
        }
    }
    for (int i = n - 1; i >= 0; --i) {
        double const* row = band + std::size_t(i) * width;
        double* xi = rhs + std::size_t(i) * stride;
        int const lastCol = std::min(n - 1, i + ku);
        for (int j = i + 1; j <= lastCol; ++j) {
            double const u = row[j - i + kl];
            double const* xj = rhs + std::size_t(j) * stride;
            for (std::size_t c = 0; c < stride; ++c)
                xi[c] -= u * xj[c];
        }
        double const inv = 1.0 / row[kl];
        for (std::size_t c = 0; c < stride; ++c)
            xi[c] *= inv;
    }
}

// Forward (L y = b, L unit lower triangular) and backward (U x = y)
// substitution over the band (row i holds columns i - kl .. i + ku), for
// rhs rows of stride values. Each row is summed in a local accumulator:
// the rows of rhs alias one another, so sums kept in rhs itself would be
// stored and reloaded at every step.
template <class Stride>
void Substitute(double const* band, int n, int kl, int ku, double* rhs, Stride stride) {
    constexpr std::size_t kMaxLocal = 8;
    std::size_t const width = std::size_t(kl) + std::size_t(ku) + 1;
    if (std::size_t(stride) > kMaxLocal) {
        SubstituteInPlace(band, n, kl, ku, rhs, std::size_t(stride));
        return;
    }
    double acc[kMaxLocal];
    for (int i = 1; i < n; ++i) {
        int const first = std::max(0, i - kl);
        double const* l = band + std::size_t(i) * width + std::size_t(first - i + kl);
        double* yi = rhs + std::size_t(i) * stride;
        for (std::size_t c = 0; c < stride; ++c)
            acc[c] = yi[c];
        double const* yj = rhs + std::size_t(first) * stride;
        for (int j = first; j < i; ++j, ++l, yj += stride)
            for (std::size_t c = 0; c < stride; ++c)
                acc[c] -= *l * yj[c];
        for (std::size_t c = 0; c < stride; ++c)
            yi[c] = acc[c];
    }
    for (int i = n - 1; i >= 0; --i) {
        double const* row = band + std::size_t(i) * width + std::size_t(kl);
        double* xi = rhs + std::size_t(i) * stride;
        for (std::size_t c = 0; c < stride; ++c)
            acc[c] = xi[c];
        int const last = std::min(n - 1, i + ku);
        double const* xj = xi + std::size_t(stride);
        for (int j = i + 1; j <= last; ++j, xj += stride)
            for (std::size_t c = 0; c < stride; ++c)
                acc[c] -= row[j - i] * xj[c];
        double const inv = 1.0 / row[0];
        for (std::size_t c = 0; c < stride; ++c)
            xi[c] = acc[c] * inv;
    }
}

}  // namespace

void CQEL_BandedLU::Reset(int n, int kl, int ku) {
    static CQEL_Operation const op("QEL::Core::CQEL_BandedLU::Reset");
    op.Run([&] {
        op.CheckRange(n, 0, 1000000000, "n");
        op.CheckRange(kl, 0, std::max(n - 1, 0), "kl");
        op.CheckRange(ku, 0, std::max(n - 1, 0), "ku");
        std::int64_t const elements = std::int64_t(n) * (std::int64_t(kl) + ku + 1);
        if (elements > std::int64_t(2147483647)) op.Throw(QEL_ALLOCATION_FAILURE);
        m_n = n;
        m_kl = kl;
        m_ku = ku;
        m_width = kl + ku + 1;
        m_factorised = false;
        m_band.assign(std::size_t(elements), 0.0);
    });
}

double& CQEL_BandedLU::At(int i, int j) {
    return *RowSpan(i, j, 1);
}

double* CQEL_BandedLU::RowSpan(int i, int first, int count) {
    static CQEL_Operation const op("QEL::Core::CQEL_BandedLU::RowSpan");
    op.CheckParameter(0 <= i && i < m_n, "i");
    op.CheckParameter(
        count >= 1 && first >= std::max(0, i - m_kl) && first + count - 1 <= std::min(m_n - 1, i + m_ku),
        "first");
    return Band(i) + (first - i + m_kl);
}

bool CQEL_BandedLU::Factorise() {
    m_factorised = false;
    int const kl = m_kl, ku = m_ku;
    // Row scales for the pivot test, taken before elimination changes the rows.
    std::vector<double> scale(std::size_t(m_n), 0.0);
    for (int i = 0; i < m_n; ++i) {
        double const* row = Band(i);
        for (int c = 0; c < m_width; ++c)
            scale[std::size_t(i)] = std::max(scale[std::size_t(i)], std::fabs(row[c]));
    }
    // Doolittle elimination inside the band: element (i, j) sits at Band(i)[j - i + kl].
    for (int k = 0; k < m_n; ++k) {
        double* pivotRow = Band(k);
        double const pivot = pivotRow[kl];
        if (!std::isfinite(pivot) || !(std::fabs(pivot) > 1e-14 * scale[std::size_t(k)])) return false;
        int const lastRow = std::min(m_n - 1, k + kl);
        int const lastCol = std::min(m_n - 1, k + ku);
        for (int i = k + 1; i <= lastRow; ++i) {
            double* row = Band(i);
            double& lik = row[k - i + kl];
            if (lik == 0.0) continue;
            lik /= pivot;
            double const l = lik;
            // Columns k + 1 .. lastCol of row i, against the same columns of row k.
            double* dst = row + (k + 1 - i + kl);
            double const* src = pivotRow + (1 + kl);
            for (int j = 0; j < lastCol - k; ++j)
                dst[j] -= l * src[j];
        }
    }
    m_factorised = true;
    return true;
}

void CQEL_BandedLU::Solve(double* rhs, int nrhs) const {
    static CQEL_Operation const op("QEL::Core::CQEL_BandedLU::Solve");
    op.Check(m_factorised, QEL_INVALID_OPERATION, "", "The matrix is not factorised");
    op.Check(rhs != nullptr || m_n == 0, QEL_NULL_PARAMETER, "rhs", "Null Pointer");
    op.CheckRange(nrhs, 1, 1000000, "nrhs");
    // x, y, z of points (3 per row) get loops the compiler unrolls.
    if (nrhs == 3)
        Substitute(m_band.data(), m_n, m_kl, m_ku, rhs, std::integral_constant<std::size_t, 3>());
    else
        Substitute(m_band.data(), m_n, m_kl, m_ku, rhs, std::size_t(nrhs));
}

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "entities/CPointSet_Cache.h"

#include <algorithm>
#include <cmath>

#include "entities/CPointSet_Base.h"

namespace QEL::Core {

CPointSet_Cache::CPointSet_Cache(CPointSet_Base const& set) : m_set(set) {
    m_set.GetCacheFlag().RegisterObject(this);
}

CPointSet_Cache::~CPointSet_Cache() = default;

void CPointSet_Cache::InvalidateCache(CCache_Flag&) {
    m_valid = false;
}

CPoint3<double> const& CPointSet_Cache::GetCenMass() {
    Update();
    return m_cenMass;
}

CPoint3<double> const& CPointSet_Cache::GetMin() {
    Update();
    return m_min;
}

CPoint3<double> const& CPointSet_Cache::GetMax() {
    Update();
    return m_max;
}

SErrorStats const& CPointSet_Cache::GetErrorStats() {
    Update();
    return m_errorStats;
}

void CPointSet_Cache::Update() {
    m_set.GetCacheFlag().Validate();
    if (m_valid) return;

    // Positions: sums for the centre, running corners.
    double sx = 0.0, sy = 0.0, sz = 0.0;
    double lo[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL};
    double hi[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
    long long n = 0;
    // Errors: Welford's running mean and squared deviations, stable for large sets.
    SErrorStats stats;
    double mean = 0.0, m2 = 0.0, sumSquares = 0.0;
    int global = 0;
    for (int s = 0; s < m_set.GetNumSec(); ++s) {
        CPointSet_Section const& section = m_set.get_Sec(s);
        for (auto const& p : section.GetPtsArray()) {
            sx += p.x;
            sy += p.y;
            sz += p.z;
            lo[0] = std::min(lo[0], p.x);
            lo[1] = std::min(lo[1], p.y);
            lo[2] = std::min(lo[2], p.z);
            hi[0] = std::max(hi[0], p.x);
            hi[1] = std::max(hi[1], p.y);
            hi[2] = std::max(hi[2], p.z);
        }
        n += section.GetNumPts();
        if (section.HasMetaData(CPtsData::err)) {
            CQEL_Array<double> const& errors = section.GetErrArray();
            for (int i = 0; i < errors.Count(); ++i) {
                double const v = errors.Unsafe_Get(i);
                ++stats.count;
                if (stats.count == 1 || v < stats.min) {
                    stats.min = v;
                    stats.minIndex = global + i;
                }
                if (stats.count == 1 || v > stats.max) {
                    stats.max = v;
                    stats.maxIndex = global + i;
                }
                double const d = v - mean;
                mean += d / stats.count;
                m2 += d * (v - mean);
                sumSquares += v * v;
            }
        }
        global += section.GetNumPts();
    }
    if (n > 0) {
        double const inv = 1.0 / double(n);
        m_cenMass = CPoint3<double>(sx * inv, sy * inv, sz * inv);
        m_min = CPoint3<double>(lo[0], lo[1], lo[2]);
        m_max = CPoint3<double>(hi[0], hi[1], hi[2]);
    } else {
        m_cenMass = m_min = m_max = CPoint3<double>(0.0, 0.0, 0.0);
    }
    if (stats.count > 0) {
        stats.mean = mean;
        stats.rms = std::sqrt(sumSquares / stats.count);
        stats.stdDev = std::sqrt(std::max(m2 / stats.count, 0.0));
        stats.maxAbs = std::max(std::fabs(stats.min), std::fabs(stats.max));
    }
    m_errorStats = stats;
    m_valid = true;
}

}  // namespace QEL::Core

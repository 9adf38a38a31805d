// SPDX-License-Identifier: MIT
// SErrorStats: statistics of an entity's per-element error values.
#pragma once

namespace QEL::Core {

struct SErrorStats {
    int count = 0;        // number of values; all fields below are 0 when it is 0
    double min = 0.0;     // smallest value
    double max = 0.0;     // largest value
    double mean = 0.0;    // arithmetic mean
    double rms = 0.0;     // root mean square, sqrt(sum(v^2) / count)
    double stdDev = 0.0;  // population standard deviation, sqrt(sum((v - mean)^2) / count)
    double maxAbs = 0.0;  // largest absolute value
    int minIndex = -1;    // global index of the smallest value (first one), -1 when count is 0
    int maxIndex = -1;    // global index of the largest value (first one), -1 when count is 0
};

// The name under which triangulations and other entities hand the statistics out.
using CErrorStats = SErrorStats;

}  // namespace QEL::Core

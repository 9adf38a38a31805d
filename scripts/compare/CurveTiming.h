// SPDX-License-Identifier: MIT
// What the curve programs of `make compare` share: build the benchmark curve
// of bench/operations/nurbs/NURBSBenchCurve.h with one library, evaluate it
// at the same 1,000,000 parameters, sorted and shuffled, a few times each,
// and print one line for the table:
//   <points>\t<checksum>\t<median ms sorted>\t<median ms shuffled>
// The checksum (sum of all coordinates) shows that every side computed the
// same points.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

#include "operations/nurbs/NURBSBenchCurve.h"

namespace QEL::Compare {

// usage: <program> [RUNS]; evaluate(params) returns the sum of the coordinates.
template <class Evaluate>
int CurveMain(int argc, char** argv, Evaluate&& evaluate) {
    int const runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    try {
        double checksum = 0.0;
        double medians[2];
        for (int sorted = 1; sorted >= 0; --sorted) {
            std::vector<double> const params = QEL::BenchCurve::Params(sorted != 0);
            std::vector<double> times;
            for (int r = 0; r < runs; ++r) {
                auto const start = std::chrono::steady_clock::now();
                checksum = evaluate(params);
                auto const stop = std::chrono::steady_clock::now();
                times.push_back(std::chrono::duration<double, std::milli>(stop - start).count());
            }
            std::sort(times.begin(), times.end());
            medians[sorted] = times[times.size() / 2];
        }
        std::printf("%d\t%.6e\t%.1f\t%.1f\n", QEL::BenchCurve::kNumParams, checksum, medians[1], medians[0]);
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        return 1;
    }
    return 0;
}

}  // namespace QEL::Compare

// SPDX-License-Identifier: MIT
// What the curve programs of `make compare` share: the same scan of points
// on every side (a helix with uneven spacing, so that chord-length
// parameters differ from uniform ones), a median of timed runs, and one
// line for the table:
//   <points>\t<control points>\t<median ms>\t<largest distance at the data>\t<median CPU ms>
// (the process's CPU time: on a busy machine it says more than the wall time)
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <vector>

namespace QEL::Compare {

struct SXYZ {
    double x, y, z;
};

// n points along a helix of radius 50 and pitch 20, ten turns, spaced unevenly.
inline std::vector<SXYZ> HelixScan(int n) {
    std::vector<SXYZ> points(static_cast<std::size_t>(n));
    double const turns = 10.0, pi = std::atan(1.0) * 4.0;
    for (int i = 0; i < n; ++i) {
        double s = double(i) / double(n - 1);
        s += 0.3 * std::sin(2.0 * pi * s * 7.0) / (2.0 * pi * 7.0);  // uneven, still increasing
        double const a = 2.0 * pi * turns * s;
        points[std::size_t(i)] = {50.0 * std::cos(a), 50.0 * std::sin(a), 20.0 * turns * s};
    }
    return points;
}

struct SFitResult {
    int controlPoints = 0;
    double maxDistance = 0.0;  // largest distance of the curve from the points at their parameters
};

// usage: <program> [POINTS] [RUNS]; fit(points, check) interpolates them once and,
// with check, measures the curve's distance from the points at their parameters.
template <class Fit>
int FitMain(int argc, char** argv, Fit&& fit) {
    int const n = argc > 1 ? std::max(4, std::atoi(argv[1])) : 100000;
    int const runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    try {
        std::vector<SXYZ> const points = HelixScan(n);
        // One untimed fit checks the result at the data (and warms the caches).
        SFitResult const result = fit(points, true);
        std::vector<double> times, cpuTimes;
        for (int r = 0; r < runs; ++r) {
            auto const start = std::chrono::steady_clock::now();
            std::clock_t const startCPU = std::clock();
            fit(points, false);
            std::clock_t const stopCPU = std::clock();
            auto const stop = std::chrono::steady_clock::now();
            times.push_back(std::chrono::duration<double, std::milli>(stop - start).count());
            cpuTimes.push_back(1000.0 * double(stopCPU - startCPU) / CLOCKS_PER_SEC);
        }
        std::sort(times.begin(), times.end());
        std::sort(cpuTimes.begin(), cpuTimes.end());
        std::printf("%d\t%d\t%.3f\t%.2e\t%.3f\n", n, result.controlPoints, times[times.size() / 2],
                    result.maxDistance, cpuTimes[cpuTimes.size() / 2]);
    } catch (std::exception const& e) {
        std::fprintf(stderr, "%s: %s\n", argv[0], e.what());
        return 1;
    }
    return 0;
}

}  // namespace QEL::Compare

// SPDX-License-Identifier: MIT
// The curve and parameters of the NURBS benchmarks and of `make compare`:
// a cubic of 100,000 knots (99,996 control points) with uneven interior
// knots, a space wave for control points, and 1,000,000 parameters, either
// in increasing order (a sampling run) or shuffled (random access). Plain
// arrays, so that each library builds its own curve from the same numbers.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace QEL::BenchCurve {

constexpr int kDegree = 3;
constexpr int kNumKnots = 100000;
constexpr int kNumCtrl = kNumKnots - kDegree - 1;
constexpr int kNumParams = 1000000;

// Clamped knots on [0, 1]: degree + 1 zeros and ones, interior steps of
// 0.5 to 1.5 times the mean.
inline std::vector<double> Knots() {
    std::mt19937 random(17);
    std::uniform_real_distribution<double> step(0.5, 1.5);
    int const interior = kNumKnots - 2 * (kDegree + 1);
    std::vector<double> gaps(interior + 1);
    double total = 0.0;
    for (double& g : gaps)
        total += g = step(random);
    std::vector<double> knots(kNumKnots, 0.0);
    double at = 0.0;
    for (int i = 0; i < interior; ++i)
        knots[kDegree + 1 + i] = (at += gaps[i]) / total;
    for (int i = kNumKnots - kDegree - 1; i < kNumKnots; ++i)
        knots[i] = 1.0;
    return knots;
}

// x, y, z of each control point, one after another.
inline std::vector<double> CtrlPts() {
    std::vector<double> xyz(3 * kNumCtrl);
    for (int i = 0; i < kNumCtrl; ++i) {
        xyz[3 * i] = 0.01 * i;
        xyz[3 * i + 1] = std::sin(0.37 * i) * (1.0 + 0.1 * std::sin(0.001 * i));
        xyz[3 * i + 2] = std::cos(0.23 * i);
    }
    return xyz;
}

inline std::vector<double> Params(bool sorted) {
    std::mt19937 random(23);
    std::uniform_real_distribution<double> u(0.0, 1.0);
    std::vector<double> params(kNumParams);
    for (double& p : params)
        p = u(random);
    if (sorted) std::sort(params.begin(), params.end());
    return params;
}

}  // namespace QEL::BenchCurve

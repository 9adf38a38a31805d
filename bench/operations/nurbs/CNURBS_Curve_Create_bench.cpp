// SPDX-License-Identifier: MIT
// Curve fitting: cubic interpolation through 1,000 and 100,000 scan points and
// least squares of 100,000 points with 1,000 control points, each beside a
// reference of the same run that solves the very same system with Eigen's
// general sparse solvers (SparseLU for the collocation matrix, SimplicialLDLT
// for the normal matrix), built from the same basis values.
#include <benchmark/benchmark.h>

#include <Eigen/SparseCholesky>
#include <Eigen/SparseLU>
#include <cmath>
#include <vector>

#include "qel.h"

using namespace QEL::Core;

namespace {

// A wavy helix, unevenly spaced.
CPointSet_Section Scan(int n) {
    CPointSet_Section scan(n, CPtsData::def);
    for (int i = 0; i < n; ++i) {
        double const s = double(i) / (n - 1) + 0.1 / n * std::sin(9.0 * i);
        scan.set_Pts(i, CPoint3<double>(50 * std::cos(60 * s), 50 * std::sin(60 * s) + 2 * std::sin(700 * s),
                                        200 * s));
    }
    return scan;
}

void BM_InterpolateScan(benchmark::State& state) {
    CPointSet_Section const scan = Scan(int(state.range(0)));
    CNURBS_Curve curve;
    for (auto _ : state) {
        CNURBS_Curve_Create(curve).InterpolateScan(scan, 3, CNURBS_Curve_Create::ChordLength);
        benchmark::DoNotOptimize(curve.get_CtrlPts(0).get_x());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_InterpolateScan)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

// Reference: the same collocation matrix (the knots and parameters of the
// interpolated curve) solved by Eigen's SparseLU, without the parameters' cost.
void BM_Reference_EigenSparseLU_Collocation(benchmark::State& state) {
    int const n = int(state.range(0));
    CPointSet_Section const scan = Scan(n);
    CNURBS_Curve curve;
    CNURBS_Curve_Create(curve).InterpolateScan(scan, 3, CNURBS_Curve_Create::ChordLength);
    // The parameters at which the curve interpolates: chord lengths.
    std::vector<double> t(std::size_t(n), 0.0);
    for (int i = 1; i < n; ++i)
        t[std::size_t(i)] = t[std::size_t(i) - 1] + (scan.get_Pts(i) - scan.get_Pts(i - 1)).Mag();
    for (double& v : t)
        v /= t.back();
    t.back() = 1.0;
    Eigen::MatrixXd rhs(n, 3);
    for (int i = 0; i < n; ++i)
        rhs(i, 0) = scan.get_Pts(i).x, rhs(i, 1) = scan.get_Pts(i).y, rhs(i, 2) = scan.get_Pts(i).z;
    for (auto _ : state) {
        std::vector<Eigen::Triplet<double>> entries;
        entries.reserve(std::size_t(n) * 4);
        double basis[4];
        for (int i = 0; i < n; ++i) {
            int const span = curve.GetKnotVector().CalcBasisFuns(t[std::size_t(i)], basis);
            for (int a = 0; a < 4; ++a)
                entries.emplace_back(i, span - 3 + a, basis[a]);
        }
        Eigen::SparseMatrix<double> a(n, n);
        a.setFromTriplets(entries.begin(), entries.end());
        Eigen::SparseLU<Eigen::SparseMatrix<double>> lu(a);
        Eigen::MatrixXd x = lu.solve(rhs);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_Reference_EigenSparseLU_Collocation)->Arg(1000)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_ApproximateScan_100k_1000(benchmark::State& state) {
    CPointSet_Section const scan = Scan(100000);
    CNURBS_Curve curve;
    for (auto _ : state) {
        CNURBS_Curve_Create(curve).ApproximateScan(scan, 1000, 3, false);
        benchmark::DoNotOptimize(curve.get_CtrlPts(1).get_x());
    }
    state.SetItemsProcessed(state.iterations() * 100000);
}
BENCHMARK(BM_ApproximateScan_100k_1000)->Unit(benchmark::kMillisecond);

// Reference: the normal equations of the same fit (all control points free)
// assembled as triplets and solved by Eigen's SimplicialLDLT.
void BM_Reference_EigenLDLT_NormalEquations(benchmark::State& state) {
    int const m = 100000, n = 1000;
    CPointSet_Section const scan = Scan(m);
    CNURBS_Curve curve;
    CNURBS_Curve_Create(curve).ApproximateScan(scan, n, 3, false);
    std::vector<double> t(std::size_t(m), 0.0);
    for (int i = 1; i < m; ++i)
        t[std::size_t(i)] = t[std::size_t(i) - 1] + (scan.get_Pts(i) - scan.get_Pts(i - 1)).Mag();
    for (double& v : t)
        v /= t.back();
    t.back() = 1.0;
    for (auto _ : state) {
        std::vector<Eigen::Triplet<double>> entries;
        entries.reserve(std::size_t(m) * 16);
        Eigen::MatrixXd rhs = Eigen::MatrixXd::Zero(n, 3);
        double basis[4];
        for (int k = 0; k < m; ++k) {
            int const first = curve.GetKnotVector().CalcBasisFuns(t[std::size_t(k)], basis) - 3;
            CPoint3<double> const p = scan.get_Pts(k);
            for (int a = 0; a < 4; ++a) {
                rhs(first + a, 0) += basis[a] * p.x, rhs(first + a, 1) += basis[a] * p.y,
                    rhs(first + a, 2) += basis[a] * p.z;
                for (int b = 0; b < 4; ++b)
                    entries.emplace_back(first + a, first + b, basis[a] * basis[b]);
            }
        }
        Eigen::SparseMatrix<double> a(n, n);
        a.setFromTriplets(entries.begin(), entries.end());
        Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>> ldlt(a);
        Eigen::MatrixXd x = ldlt.solve(rhs);
        benchmark::DoNotOptimize(x.data());
    }
    state.SetItemsProcessed(state.iterations() * m);
}
BENCHMARK(BM_Reference_EigenLDLT_NormalEquations)->Unit(benchmark::kMillisecond);

}  // namespace

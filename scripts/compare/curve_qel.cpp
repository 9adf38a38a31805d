// SPDX-License-Identifier: MIT
// QEL's side of the curve comparison: CNURBS_Curve_Analyse::ComputePoint.
#include "CurveTiming.h"
#include "qel.h"

using namespace QEL::Core;
namespace BC = QEL::BenchCurve;

int main(int argc, char** argv) {
    std::vector<double> const knots = BC::Knots(), xyz = BC::CtrlPts();
    CNURBS_Curve curve;
    curve.CheckSpace(BC::kNumCtrl, BC::kDegree);
    CQEL_Array<double>& U = curve.EditKnotVector().EditKnots();
    for (int i = 0; i < BC::kNumKnots; ++i)
        U[i] = knots[std::size_t(i)];
    for (int i = 0; i < BC::kNumCtrl; ++i)
        curve.set_CtrlPts(i, CCtrlPoint(CPoint3<double>(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2])));
    CNURBS_Curve_Analyse const analyse(curve);
    return QEL::Compare::CurveMain(argc, argv, [&](std::vector<double> const& params) {
        double sum = 0.0;
        for (double u : params) {
            CPoint3<double> const p = analyse.ComputePoint(u);
            sum += p.x + p.y + p.z;
        }
        return sum;
    });
}

// SPDX-License-Identifier: MIT
// OpenCASCADE's side of the curve comparison: the same B-spline as a
// Geom_BSplineCurve (distinct knots with multiplicities), evaluated through
// GeomAdaptor_Curve::Value, which keeps a polynomial cache of the last span.
#include <GeomAdaptor_Curve.hxx>
#include <Geom_BSplineCurve.hxx>
#include <TColStd_Array1OfInteger.hxx>
#include <TColStd_Array1OfReal.hxx>
#include <TColgp_Array1OfPnt.hxx>
#include <gp_Pnt.hxx>

#include "CurveTiming.h"

namespace BC = QEL::BenchCurve;

int main(int argc, char** argv) {
    std::vector<double> const knots = BC::Knots(), xyz = BC::CtrlPts();
    TColgp_Array1OfPnt poles(1, BC::kNumCtrl);
    for (int i = 0; i < BC::kNumCtrl; ++i)
        poles.SetValue(i + 1, gp_Pnt(xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2]));
    std::vector<double> distinct;
    std::vector<int> mults;
    for (double k : knots) {
        if (!distinct.empty() && distinct.back() == k)
            ++mults.back();
        else
            distinct.push_back(k), mults.push_back(1);
    }
    TColStd_Array1OfReal occKnots(1, int(distinct.size()));
    TColStd_Array1OfInteger occMults(1, int(distinct.size()));
    for (std::size_t i = 0; i < distinct.size(); ++i) {
        occKnots.SetValue(int(i) + 1, distinct[i]);
        occMults.SetValue(int(i) + 1, mults[i]);
    }
    Handle(Geom_BSplineCurve) const curve = new Geom_BSplineCurve(poles, occKnots, occMults, BC::kDegree);
    GeomAdaptor_Curve const adaptor(curve);
    return QEL::Compare::CurveMain(argc, argv, [&](std::vector<double> const& params) {
        double sum = 0.0;
        for (double u : params) {
            gp_Pnt const p = adaptor.Value(u);
            sum += p.X() + p.Y() + p.Z();
        }
        return sum;
    });
}

// SPDX-License-Identifier: MIT
// OpenCASCADE: GeomAPI_Interpolate, cubic through every point with its
// default chord-length parameters (the same as QEL's code 0).
#include <GeomAPI_Interpolate.hxx>
#include <Geom_BSplineCurve.hxx>
#include <Standard_Failure.hxx>
#include <TColgp_HArray1OfPnt.hxx>
#include <TColStd_HArray1OfReal.hxx>
#include <stdexcept>

#include "FitTiming.h"

int main(int argc, char** argv) {
    return QEL::Compare::FitMain(argc, argv, [](std::vector<QEL::Compare::SXYZ> const& points, bool check) {
        int const n = int(points.size());
        Handle(TColgp_HArray1OfPnt) poles = new TColgp_HArray1OfPnt(1, n);
        for (int i = 0; i < n; ++i)
            poles->SetValue(
                i + 1, gp_Pnt(points[std::size_t(i)].x, points[std::size_t(i)].y, points[std::size_t(i)].z));
        QEL::Compare::SFitResult result;
        try {
            GeomAPI_Interpolate interpolate(poles, Standard_False, 1e-9);
            interpolate.Perform();
            if (!interpolate.IsDone()) throw std::runtime_error("GeomAPI_Interpolate failed");
            Handle(Geom_BSplineCurve) curve = interpolate.Curve();
            result.controlPoints = curve->NbPoles();
            if (check) {
                // Chord-length parameters as OpenCASCADE computes them (cumulative distances).
                double total = 0.0;
                std::vector<double> t(std::size_t(n), 0.0);
                for (int i = 1; i < n; ++i)
                    t[std::size_t(i)] = total += poles->Value(i + 1).Distance(poles->Value(i));
                for (int i = 0; i < n; ++i) {
                    double const u =
                        curve->FirstParameter() +
                        (curve->LastParameter() - curve->FirstParameter()) * t[std::size_t(i)] / total;
                    result.maxDistance =
                        std::max(result.maxDistance, curve->Value(u).Distance(poles->Value(i + 1)));
                }
            }
        } catch (Standard_Failure const& failure) {
            throw std::runtime_error(failure.GetMessageString());
        }
        return result;
    });
}

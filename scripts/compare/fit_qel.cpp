// SPDX-License-Identifier: MIT
// QEL: CNURBS_Curve_Create::InterpolateScan, cubic through every point with
// chord-length parameters (code 0), the scan given as a point set section.
#include <algorithm>
#include <stdexcept>

#include "FitTiming.h"
#include "qel.h"

using namespace QEL::Core;

int main(int argc, char** argv) {
    return QEL::Compare::FitMain(argc, argv, [](std::vector<QEL::Compare::SXYZ> const& points, bool check) {
        int const n = int(points.size());
        CPointSet_Section scan(n, CPtsData::def);
        for (int i = 0; i < n; ++i)
            scan.set_Pts(i, CPoint3<double>(points[std::size_t(i)].x, points[std::size_t(i)].y,
                                            points[std::size_t(i)].z));
        CNURBS_Curve curve;
        CNURBS_Curve_Create(curve).InterpolateScan(scan, 3, CNURBS_Curve_Create::ChordLength);
        QEL::Compare::SFitResult result;
        result.controlPoints = curve.GetNumCtrl();
        if (check) {
            // The chord-length parameters, as the interpolation computed them.
            std::vector<double> t(std::size_t(n), 0.0);
            for (int i = 1; i < n; ++i)
                t[std::size_t(i)] = t[std::size_t(i) - 1] + (scan.get_Pts(i) - scan.get_Pts(i - 1)).Mag();
            CNURBS_Curve_Analyse const analyse(curve);
            for (int i = 0; i < n; ++i) {
                double const u = i == n - 1 ? 1.0 : t[std::size_t(i)] / t.back();
                result.maxDistance = std::max(
                    result.maxDistance, (analyse.ComputePoint(u) - CPoint3<double>(scan.get_Pts(i))).Mag());
            }
        }
        return result;
    });
}

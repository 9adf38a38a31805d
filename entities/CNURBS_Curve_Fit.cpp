// SPDX-License-Identifier: MIT
// The curve's own entry points to fitting. They use the fitting steps of
// QEL_CurveFitting directly (the entity room cannot call the creation
// operations, which sit above it); CNURBS_Curve_Create offers the same
// fits per scan with their full checks.
#include <cmath>
#include <cstring>
#include <vector>

#include "core/CQEL_Operation.h"
#include "entities/CNURBS_Curve.h"
#include "entities/CPointSet.h"
#include "entities/QEL_CurveFitting.h"

namespace QEL::Core {

namespace {

namespace Fit = CurveFitting;

// Every point of the set, section after section, as one scan.
std::vector<CPoint3<double>> AllPoints(CQEL_Operation const& op, CPointSet const* points) {
    op.Check(points != nullptr, QEL_NULL_PARAMETER, "pPoints", "Null Pointer");
    std::vector<CPoint3<double>> all;
    all.reserve(std::size_t(points->GetNumPts()));
    for (int s = 0; s < points->GetNumSec(); ++s) {
        CPointSet_Section const& section = points->get_Sec(s);
        for (int i = 0; i < section.GetNumPts(); ++i) {
            CPoint3<double> const p = section.get_Pts(i);
            op.Check(std::isfinite(p.x) && std::isfinite(p.y) && std::isfinite(p.z), QEL_INVALID_PARAMETER,
                     "pPoints", "Scan points must be finite");
            all.push_back(p);
        }
    }
    return all;
}

Fit::SPoints View(std::vector<CPoint3<double>> const& points) {
    Fit::SPoints view;
    view.count = int(points.size());
    view.xyz = points.empty() ? nullptr : &points[0].x;
    return view;
}

void Store(CNURBS_Curve& curve, std::vector<double> const& xyz) {
    for (int i = 0; i < curve.GetNumCtrl(); ++i)
        curve.get_CtrlPts(i).RawSet(CPoint3<double>(xyz[3 * std::size_t(i)], xyz[3 * std::size_t(i) + 1],
                                                    xyz[3 * std::size_t(i) + 2]),
                                    1.0);
    curve.MarkCtrlPtsModified();
}

}  // namespace

void CNURBS_Curve::FitToPoints1(CPointSet const* pPoints) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::FitToPoints1");
    op.Run([&] {
        int const degree = GetOrder() >= 2 ? GetDegree() : 3;
        std::vector<CPoint3<double>> const all = AllPoints(op, pPoints);
        int const n = int(all.size());
        op.Check(n > degree, QEL_INVALID_PARAMETER, "pPoints",
                 "Number of points less than or equal to degree");
        std::vector<double> t(static_cast<std::size_t>(n));
        op.Check(Fit::ScanParameters(View(all), Fit::ChordLength, false, t.data()) == Fit::EFitStatus::Ok,
                 QEL_INVALID_PARAMETER, "pPoints", "Consecutive scan points coincide");
        Reset();
        CheckSpace(n, degree);
        Fit::AveragedKnots(t.data(), n, degree, EditKnotVector().EditKnots().GetArray());
        std::vector<double> ctrl(3 * std::size_t(n));
        op.Check(Fit::Interpolate(GetKnotVector(), View(all), t.data(), ctrl.data()) == Fit::EFitStatus::Ok,
                 QEL_INVALID_PARAMETER, "pPoints", "Interpolation system is singular");
        Store(*this, ctrl);
        double const* a = &all.front().x;
        double const* b = &all.back().x;
        SetClosed(std::memcmp(a, b, 3 * sizeof(double)) == 0);
    });
}

void CNURBS_Curve::FitToPoints2(CPointSet const* pPoints) {
    static CQEL_Operation const op("QEL::Core::CNURBS_Curve::FitToPoints2");
    op.Run([&] {
        Validate();
        std::vector<CPoint3<double>> const all = AllPoints(op, pPoints);
        int const m = int(all.size());
        op.Check(m >= GetNumCtrl(), QEL_INVALID_PARAMETER, "pPoints",
                 "Number of scan points less than desired control points");
        std::vector<double> t(static_cast<std::size_t>(m));
        op.Check(
            m >= 2 && Fit::ScanParameters(View(all), Fit::ChordLength, true, t.data()) == Fit::EFitStatus::Ok,
            QEL_INVALID_PARAMETER, "pPoints", "Consecutive scan points coincide");
        // Chord-length parameters stretched over the curve's range; its ends meet the first and last points.
        double const u0 = GetStartU(), range = GetRangeU();
        for (double& u : t)
            u = u0 + range * u;
        t.back() = GetEndU();
        std::vector<double> ctrl(3 * std::size_t(GetNumCtrl()));
        op.Check(
            Fit::LeastSquares(GetKnotVector(), View(all), t.data(), true, ctrl.data()) == Fit::EFitStatus::Ok,
            QEL_INVALID_PARAMETER, "pPoints", "Least-squares system is singular");
        Store(*this, ctrl);
    });
}

}  // namespace QEL::Core

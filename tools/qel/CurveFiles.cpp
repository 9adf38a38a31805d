// SPDX-License-Identifier: MIT
#include "CurveFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "PointFiles.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;

namespace QEL::Tool {

namespace {

CQEL_String File(std::string const& path) {
    return CQEL_String::FromUTF8(path.c_str());
}

}  // namespace

CurveList ReadCurves(std::string const& path, std::string const& key) {
    CurveList curves;
    if (!IsContainer(path)) return curves;
    CQELParser parser;
    if (!parser.Import(File(path), File(key)))
        throw std::runtime_error(key.empty() ? path + " is enciphered: give its key with --key"
                                             : "the key does not open " + path);
    while (parser.GetNumObjects() > 0) {
        std::unique_ptr<ISerialisable> object(parser.DetachObject(0));
        if (auto* curve = dynamic_cast<CNURBS_Curve*>(object.get())) {
            object.release();
            curves.emplace_back(curve);
        }
    }
    return curves;
}

void WriteCurves(std::string const& path, std::vector<CNURBS_Curve const*> const& curves,
                 std::string const& key) {
    if (!IsContainer(path)) throw std::runtime_error(path + ": curves are written to .qel containers only");
    CQEL_Array<ISerialisable const*> objects;
    for (CNURBS_Curve const* curve : curves)
        objects.PushBack(curve);
    if (!CQELParser().Export(File(path), objects, File(key)))
        throw std::runtime_error("cannot write " + path);
}

void PrintCurveSummary(std::string const& title, CNURBS_Curve const& curve) {
    std::printf("%s: degree %d, %d control points, %d knots, %s, %s\n", title.c_str(), curve.GetDegree(),
                curve.GetNumCtrl(), curve.GetNumKnots(), curve.IsClosed() ? "closed" : "open",
                curve.IsNonRational() ? "non-rational" : "rational");
    if (curve.GetNumKnots() == 0) return;
    CQEL_Array<double> const& knots = curve.GetKnotVector().GetKnots();
    std::printf("  knots:          ");
    int const shown = std::min(knots.Count(), 12);
    for (int i = 0; i < shown; ++i)
        std::printf("%s%.6g", i ? " " : "", knots[i]);
    if (knots.Count() > shown)
        std::printf(" ... %.6g (%d more)", knots[knots.Count() - 1], knots.Count() - shown);
    std::printf("\n  parameters:     %.6g .. %.6g\n", curve.GetStartU(), curve.GetEndU());
    std::printf("  length:         %.9g\n", CNURBS_Curve_Analyse(curve).ComputeArcLength());
    CPoint3<double> const lo = curve.GetMin(), hi = curve.GetMax();
    std::printf("  bounding box:   (%.6g, %.6g, %.6g) .. (%.6g, %.6g, %.6g)\n", lo.x, lo.y, lo.z, hi.x, hi.y,
                hi.z);
}

SDistances DistancesFrom(CNURBS_Curve const& curve, CPointSet_Section const& points) {
    SDistances d;
    SClosestCurvePoint closest;
    for (int i = 0; i < points.GetNumPts(); ++i) {
        if (!curve.FindClosestPoint(points.get_Pts(i), closest))
            throw std::runtime_error("curve without shape");
        d.largest = std::max(d.largest, closest.distance);
        d.mean += closest.distance;
    }
    if (points.GetNumPts() > 0) d.mean /= points.GetNumPts();
    return d;
}

bool ShowCurves(std::string const& path, std::string const& key) {
    CurveList const curves = ReadCurves(path, key);
    for (std::size_t i = 0; i < curves.size(); ++i)
        PrintCurveSummary("curve " + std::to_string(i), *curves[i]);
    return !curves.empty();
}

bool ConvertCurves(std::string const& in, std::string const& out, std::string const& key, int samples) {
    CurveList const curves = ReadCurves(in, key);
    if (curves.empty()) return false;
    if (samples < 2) throw std::runtime_error("--samples must be at least 2");
    CPointSet set(int(curves.size()), samples, CPtsData::def);
    for (std::size_t c = 0; c < curves.size(); ++c) {
        CNURBS_Curve_Analyse const analyse(*curves[c]);
        double const u0 = curves[c]->GetStartU(), u1 = curves[c]->GetEndU();
        CPointSet_Section& section = set.get_Sec(int(c));
        for (int i = 0; i < samples; ++i)
            section.set_Pts(i,
                            analyse.ComputePoint(i == samples - 1 ? u1 : u0 + (u1 - u0) * i / (samples - 1)));
    }
    WritePointSets(out, {&set}, IsContainer(out) ? key : std::string(), false, 17);
    std::printf("%s -> %s: %zu curve%s sampled at %d points each\n", in.c_str(), out.c_str(), curves.size(),
                curves.size() == 1 ? "" : "s", samples);
    return true;
}

}  // namespace QEL::Tool

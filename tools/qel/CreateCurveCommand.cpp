// SPDX-License-Identifier: MIT
// `qel create curve-line|curve-arc|curve-net`: the curve creations of
// CNURBS_Curve_Create, each printing the curve's summary and, with -o,
// writing it to a .qel container.
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CurveFiles.h"
#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace QEL::Tool {

namespace {

// "x,y,z;x,y,z;..." as points; option names the option in messages.
std::vector<CPoint3<double>> Points(std::string const& text, std::string const& option) {
    std::vector<CPoint3<double>> points;
    std::stringstream list(text);
    std::string item;
    while (std::getline(list, item, ';')) {
        double v[3];
        char* at = item.data();
        for (double& value : v) {
            char* end = nullptr;
            value = std::strtod(at, &end);
            if (end == at || !std::isfinite(value))
                throw CLI::ValidationError(option,
                                           "expects points x,y,z separated by ';', got '" + text + "'");
            at = *end == ',' ? end + 1 : end;
        }
        if (*at != '\0') throw CLI::ValidationError(option, "expects points x,y,z separated by ';'");
        points.push_back(CPoint3<double>(v[0], v[1], v[2]));
    }
    return points;
}

CPoint3<double> OnePoint(std::string const& text, std::string const& option) {
    std::vector<CPoint3<double>> const p = Points(text, option);
    if (p.size() != 1) throw CLI::ValidationError(option, "expects one point x,y,z");
    return p[0];
}

CVector3<double> Vector(std::string const& text, std::string const& option) {
    CPoint3<double> const p = OnePoint(text, option);
    return CVector3<double>(p.x, p.y, p.z);
}

// One curve subcommand: its options are read by the action when it runs.
struct SCurveShape {
    std::string output, key;
    std::function<void(CNURBS_Curve_Create&)> action;
};

CLI::App* AddShape(CLI::App& create, char const* name, char const* description,
                   std::vector<std::unique_ptr<SCurveShape>>& shapes) {
    shapes.push_back(std::make_unique<SCurveShape>());
    SCurveShape* shape = shapes.back().get();
    CLI::App* app = create.add_subcommand(name, description);
    app->add_option("-o,--output", shape->output, "Also write the curve to this .qel file");
    app->add_option("--key", shape->key, "Encipher the .qel output with this key");
    app->callback([shape, name] {
        CNURBS_Curve curve;
        CNURBS_Curve_Create creator(curve);
        shape->action(creator);
        PrintCurveSummary(name, curve);
        if (!shape->output.empty()) {
            WriteCurves(shape->output, {&curve}, shape->key);
            std::printf("  written to:     %s%s\n", shape->output.c_str(),
                        shape->key.empty() ? "" : " (enciphered)");
        }
    });
    return app;
}

}  // namespace

void AddCurveShapes(CLI::App& create) {
    static std::vector<std::unique_ptr<SCurveShape>> shapes;
    static std::string lineStart = "0,0,0", lineEnd, arcCentre = "0,0,0", arcX = "1,0,0", arcY = "0,1,0", net;
    static int lineCtrl = 2, lineDegree = 1, netDegree = 3;
    static double radius = 1.0, startAngle = 0.0, endAngle = 0.0;

    CLI::App* line = AddShape(create, "curve-line", "Straight NURBS line between two points", shapes);
    line->add_option("--start", lineStart, "Start x,y,z")->capture_default_str();
    line->add_option("--end", lineEnd, "End x,y,z")->required();
    line->add_option("--ctrl", lineCtrl, "Number of control points")->capture_default_str();
    line->add_option("--degree", lineDegree, "Degree")->capture_default_str();
    shapes.back()->action = [](CNURBS_Curve_Create& c) {
        c.FromTwoPoints(OnePoint(lineStart, "--start"), OnePoint(lineEnd, "--end"), lineCtrl, lineDegree);
    };

    CLI::App* arc = AddShape(create, "curve-arc", "Rational circular arc (angles in degrees)", shapes);
    arc->add_option("--centre", arcCentre, "Centre x,y,z")->capture_default_str();
    arc->add_option("--x-axis", arcX, "Direction of angle 0")->capture_default_str();
    arc->add_option("--y-axis", arcY, "Direction of angle 90")->capture_default_str();
    arc->add_option("--radius", radius, "Radius")->required();
    arc->add_option("--start-angle", startAngle, "Start angle in degrees")->capture_default_str();
    arc->add_option("--end-angle", endAngle, "End angle in degrees")->required();
    shapes.back()->action = [](CNURBS_Curve_Create& c) {
        double const toRadians = std::atan(1.0) * 4.0 / 180.0;
        c.CircularArc(OnePoint(arcCentre, "--centre"), Vector(arcX, "--x-axis"), Vector(arcY, "--y-axis"),
                      radius, startAngle * toRadians, endAngle * toRadians);
    };

    CLI::App* ctrlNet = AddShape(create, "curve-net", "NURBS curve on a control net", shapes);
    ctrlNet->add_option("--points", net, "Control points x,y,z;x,y,z;...")->required();
    ctrlNet->add_option("--degree", netDegree, "Degree")->capture_default_str();
    shapes.back()->action = [](CNURBS_Curve_Create& c) {
        std::vector<CPoint3<double>> const points = Points(net, "--points");
        CPointSet set(1, int(points.size()), CPtsData::def);
        for (std::size_t i = 0; i < points.size(); ++i)
            set.get_Sec(0).set_Pts(int(i), points[i]);
        c.FromCtrlNet(set, netDegree);
    };
}

}  // namespace QEL::Tool

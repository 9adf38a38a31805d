// SPDX-License-Identifier: MIT
#include "CommandOptions.h"

#include <sys/resource.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

using namespace QEL::Core;
using QEL::Elements::CPoint3;
using QEL::Elements::CVector3;

namespace QEL::Tool {

std::vector<std::string> Split(std::string const& text, char separator) {
    std::vector<std::string> parts;
    std::stringstream stream(text);
    std::string part;
    while (std::getline(stream, part, separator))
        parts.push_back(part);
    if (!text.empty() && text.back() == separator) parts.emplace_back();
    return parts;
}

double ParseNumber(std::string const& text, std::string const& option) {
    char* end = nullptr;
    double const value = std::strtod(text.c_str(), &end);
    while (end && *end == ' ')
        ++end;
    if (text.empty() || !end || *end != '\0' || !std::isfinite(value))
        throw CLI::ValidationError(option, "'" + text + "' is not a finite number");
    return value;
}

std::vector<double> ParseNumbers(std::string const& text, std::string const& option) {
    std::vector<double> values;
    for (std::string const& part : Split(text, ','))
        values.push_back(ParseNumber(part, option));
    return values;
}

CPoint3<double> ParsePoint(std::string const& text, std::string const& option) {
    std::vector<double> const v = ParseNumbers(text, option);
    if (v.size() != 3) throw CLI::ValidationError(option, "expects three numbers x,y,z, got '" + text + "'");
    return CPoint3<double>(v[0], v[1], v[2]);
}

CVector3<double> ParseVector(std::string const& text, std::string const& option) {
    CPoint3<double> const p = ParsePoint(text, option);
    return CVector3<double>(p.x, p.y, p.z);
}

CQEL_Array<CPoint3<double>> ParsePoints(std::string const& text, std::string const& option) {
    CQEL_Array<CPoint3<double>> points;
    for (std::string const& part : Split(text, ';'))
        points.PushBack(ParsePoint(part, option));
    return points;
}

void AddTextOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                   char const* fallback) {
    auto* option = app.add_option(std::string("--") + name, values.text[name], description);
    if (!fallback)
        option->required();
    else if (*fallback)
        values.text[name] = fallback, option->capture_default_str();
}

void AddNumberOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                     double const* fallback) {
    auto* option = app.add_option(std::string("--") + name, values.number[name], description);
    if (fallback)
        values.number[name] = *fallback, option->capture_default_str();
    else
        option->required();
}

void AddCountOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                    int const* fallback) {
    auto* option = app.add_option(std::string("--") + name, values.count[name], description);
    if (fallback)
        values.count[name] = *fallback, option->capture_default_str();
    else
        option->required();
}

void LimitMemory() {
    long const pages = sysconf(_SC_PHYS_PAGES), pageSize = sysconf(_SC_PAGE_SIZE);
    if (pages <= 0 || pageSize <= 0) return;
    rlim_t const cap = rlim_t(pages) / 4 * 3 * rlim_t(pageSize);
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) != 0) return;
    if (limit.rlim_cur == RLIM_INFINITY || limit.rlim_cur > cap) {
        limit.rlim_cur = cap;
        setrlimit(RLIMIT_AS, &limit);
    }
}

}  // namespace QEL::Tool

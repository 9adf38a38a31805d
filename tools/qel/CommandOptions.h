// SPDX-License-Identifier: MIT
// What the shape commands (`qel create`, `qel mesh`) share: reading points,
// vectors and lists of them from their options, and the memory cap.
#pragma once

#include <CLI/CLI.hpp>

#include <map>
#include <string>
#include <vector>

#include "qel.h"

namespace QEL::Tool {

// text split at every separator (a trailing separator gives an empty last part).
std::vector<std::string> Split(std::string const& text, char separator);
// A finite number, else CLI::ValidationError naming option.
double ParseNumber(std::string const& text, std::string const& option);
// "a,b,c,...": finite numbers.
std::vector<double> ParseNumbers(std::string const& text, std::string const& option);
// "x,y,z".
QEL::Elements::CPoint3<double> ParsePoint(std::string const& text, std::string const& option);
QEL::Elements::CVector3<double> ParseVector(std::string const& text, std::string const& option);
// "x,y,z;x,y,z;...".
QEL::Core::CQEL_Array<QEL::Elements::CPoint3<double>> ParsePoints(std::string const& text,
                                                                  std::string const& option);

// The values of one shape's options, kept as given and read when the command
// runs, so that a bad value is reported with its option's name.
struct SShapeValues {
    std::map<std::string, std::string> text;  // points, vectors, files, lists
    std::map<std::string, double> number;
    std::map<std::string, int> count;

    QEL::Elements::CPoint3<double> Point(std::string const& name) const {
        return ParsePoint(text.at(name), "--" + name);
    }
    QEL::Elements::CVector3<double> Vector(std::string const& name) const {
        return ParseVector(text.at(name), "--" + name);
    }
    double Number(std::string const& name) const { return number.at(name); }
    int Count(std::string const& name) const { return count.at(name); }
    std::string const& Text(std::string const& name) const { return text.at(name); }
    bool Given(std::string const& name) const { return text.count(name) && !text.at(name).empty(); }
};

// --name on app into values: required without a fallback, optional (and
// empty) with the fallback "" for a text.
void AddTextOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                   char const* fallback);
void AddNumberOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                     double const* fallback);
void AddCountOption(CLI::App& app, SShapeValues& values, char const* name, char const* description,
                    int const* fallback);

// Big requests fail as a clean allocation error rather than drawing the
// kernel's out-of-memory killer: address space is capped at 3/4 of the memory.
void LimitMemory();

}  // namespace QEL::Tool

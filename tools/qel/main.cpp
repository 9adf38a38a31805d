// SPDX-License-Identifier: MIT
// qel: the command-line tool of the QEL geometry library.
#include <CLI/CLI.hpp>

#include <unistd.h>

#include <cstdio>
#include <exception>
#include <string_view>

#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

// What the library reports is shown on standard error: warnings always, its
// texts with -v, and its progress on a terminal as one line rewritten in place.
struct SDisplay {
    bool verbose = false;
    bool terminal = ::isatty(STDERR_FILENO) == 1;
    bool progressLine = false;  // a progress line waits to be rewritten or cleared
};
SDisplay g_display;

// The library's progress texts: "  <label>: <n>%" and "  <label>: done".
bool IsProgress(std::string_view text, bool& done) {
    done = text.ends_with(": done");
    if (done) return true;
    if (!text.ends_with('%')) return false;
    std::size_t const colon = text.rfind(": ");
    if (colon == std::string_view::npos || colon + 3 > text.size()) return false;
    std::string_view const number = text.substr(colon + 2, text.size() - colon - 3);
    return !number.empty() && number.find_first_not_of("0123456789") == std::string_view::npos;
}

// The library's timings, "<what> took = <milliseconds>", read without a unit.
bool IsTiming(std::string_view text) {
    std::size_t const at = text.rfind(" took = ");
    if (at == std::string_view::npos) return false;
    std::string_view const number = text.substr(at + 8);
    return !number.empty() && number.find_first_not_of("0123456789.-") == std::string_view::npos;
}

void EndProgressLine() {
    if (!g_display.progressLine) return;
    std::fputs("\r\033[K", stderr);
    g_display.progressLine = false;
}

void PrintOutput(CQEL_Output_Events::EChannel channel, CQEL_String const& message, void*) {
    std::string_view const text = message.View();
    bool done = false;
    if (channel == CQEL_Output_Events::EChannel::Text && IsProgress(text, done)) {
        if (g_display.terminal) {
            if (done) {
                EndProgressLine();
            } else {
                std::fprintf(stderr, "\r%s\033[K", message.GetArray());
                g_display.progressLine = true;
            }
            std::fflush(stderr);
            return;
        }
        if (!g_display.verbose) return;
    } else if (channel == CQEL_Output_Events::EChannel::Text && !g_display.verbose) {
        return;
    }
    EndProgressLine();
    char const* prefix = channel == CQEL_Output_Events::EChannel::Warning ? "warning: " : "";
    char const* unit = channel == CQEL_Output_Events::EChannel::Text && IsTiming(text) ? " ms" : "";
    std::fprintf(stderr, "%s%s%s\n", prefix, message.GetArray(), unit);
}

}  // namespace

int main(int argc, char** argv) {
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Warning, PrintOutput);
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Text, PrintOutput);

    CLI::App app{"qel: the command-line tool of the QEL geometry library"};
    app.set_version_flag("--version", std::string("qel ") + QEL_VERSION_STRING);
    app.add_flag("-v,--verbose", g_display.verbose, "Also show the library's texts (what was read, timings)");
    app.fallthrough();  // -v and --debug may also follow the subcommand
    app.add_flag_callback(
        "--debug", [] { CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Debug, PrintOutput); },
        "Also show the library's debug output");
    app.require_subcommand(1);
    app.footer(
        "Shapes: `qel create <shape>` makes point sets (and curves), `qel mesh <shape>` triangle meshes;\n"
        "`qel create --help` and `qel mesh --help` list them.");
    QEL::Tool::AddAboutCommand(app);
    QEL::Tool::AddCreateCommand(app);
    QEL::Tool::AddMeshCommand(app);
    QEL::Tool::AddTourCommand(app);
    QEL::Tool::AddInfoCommand(app);
    QEL::Tool::AddConvertCommand(app);
    QEL::Tool::AddFitCommand(app);
    QEL::Tool::AddSectionCommand(app);

    // Subcommands run from their callbacks, inside parse.
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& e) {
        return app.exit(e);
    } catch (CQEL_Exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what() ? e.what() : "unknown failure");
        return 1;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    return 0;
}

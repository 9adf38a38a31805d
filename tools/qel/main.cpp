// SPDX-License-Identifier: MIT
// qel: the command-line tool of the QEL geometry library.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

#include "qel.h"

using namespace QEL::Core;

namespace {

// The library never prints; the tool shows what it reports on standard error.
void PrintOutput(CQEL_Output_Events::EChannel channel, CQEL_String const& message, void*) {
    char const* prefix = channel == CQEL_Output_Events::EChannel::Warning ? "warning: " : "";
    std::fprintf(stderr, "%s%s\n", prefix, message.GetArray());
}

void AttachOutput(bool debug) {
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Warning, PrintOutput);
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Text, PrintOutput);
    if (debug) CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Debug, PrintOutput);
}

void PrintCapabilities() {
    std::printf("qel %s: 3-D geometry for measured and designed shapes\n", QEL_VERSION_STRING);
    std::printf("library: libqel %s\n", QEL_VERSION_STRING);
    std::printf("available now:\n");
    std::printf("  checked arrays, strings, byte streams with MD5 digests\n");
    std::printf("  exceptions with reasons, locations and fault translation\n");
    std::printf("coming: point sets (qel create), files (qel convert, qel info)\n");
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"qel: the command-line tool of the QEL geometry library"};
    app.set_version_flag("--version", std::string("qel ") + QEL_VERSION_STRING);
    bool debug = false;
    app.add_flag("--debug", debug, "Also show the library's debug output");
    auto* about = app.add_subcommand("about", "Show the version and what this build can do");
    app.require_subcommand(0, 1);

    CLI11_PARSE(app, argc, argv);
    AttachOutput(debug);

    try {
        if (about->parsed() || app.get_subcommands().empty()) PrintCapabilities();
    } catch (CQEL_Exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what() ? e.what() : "unknown failure");
        return 1;
    } catch (std::exception const& e) {
        std::fprintf(stderr, "error: %s\n", e.what());
        return 1;
    }
    return 0;
}

// SPDX-License-Identifier: MIT
// qel: the command-line tool of the QEL geometry library.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

#include "QelCommands.h"
#include "qel.h"

using namespace QEL::Core;

namespace {

// The library never prints; the tool shows what it reports on standard error.
void PrintOutput(CQEL_Output_Events::EChannel channel, CQEL_String const& message, void*) {
    char const* prefix = channel == CQEL_Output_Events::EChannel::Warning ? "warning: " : "";
    std::fprintf(stderr, "%s%s\n", prefix, message.GetArray());
}

}  // namespace

int main(int argc, char** argv) {
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Warning, PrintOutput);
    CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Text, PrintOutput);

    CLI::App app{"qel: the command-line tool of the QEL geometry library"};
    app.set_version_flag("--version", std::string("qel ") + QEL_VERSION_STRING);
    app.add_flag_callback(
        "--debug", [] { CQEL_Output_Events::Attach(CQEL_Output_Events::EChannel::Debug, PrintOutput); },
        "Also show the library's debug output");
    app.require_subcommand(1);
    QEL::Tool::AddAboutCommand(app);
    QEL::Tool::AddCreateCommand(app);
    QEL::Tool::AddTourCommand(app);
    QEL::Tool::AddInfoCommand(app);
    QEL::Tool::AddConvertCommand(app);
    QEL::Tool::AddFitCommand(app);

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

// SPDX-License-Identifier: MIT
#include <cstdio>

#include "QelCommands.h"
#include "qel.h"

namespace QEL::Tool {

void AddAboutCommand(CLI::App& app) {
    auto* about = app.add_subcommand("about", "Show the version and what this build can do");
    about->callback([] {
        std::printf("qel %s: 3-D geometry for measured and designed shapes\n", QEL_VERSION_STRING);
        std::printf("available now:\n");
        std::printf("  checked arrays, strings, byte streams with MD5 digests\n");
        std::printf("  exceptions with reasons, locations and fault translation\n");
        std::printf("  point sets: sections, attributes, cached global indexing, transforms\n");
        std::printf("  point set creation: qel create <shape> (see qel create --help), qel tour\n");
    });
}

}  // namespace QEL::Tool

// SPDX-License-Identifier: MIT
// The registry of object creators (internal): the library's own table from
// class identifier to creator, and the process-wide registry that starts
// from it on its first use, so that a static link cannot lose an entry the
// way self-registering statics would. CQELParser's creator functions edit it.
#pragma once

#include <string_view>

namespace QEL::Core {

class IObjectCreator;

struct SLibraryObjectCreator {
    char const* classIdentifier;
    IObjectCreator* creator;
};

// The entries and their number; the creators live as long as the process.
SLibraryObjectCreator const* GetLibraryObjectCreators(int& count);

// The creator registered under tag, or null.
IObjectCreator* FindObjectCreator(std::string_view tag);

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
// The library's own table from class identifier to creator (internal). The
// container's registry starts from this table on its first use, so that a
// static link cannot lose an entry the way self-registering statics would.
#pragma once

namespace QEL::Core {

class IObjectCreator;

struct SLibraryObjectCreator {
    char const* classIdentifier;
    IObjectCreator* creator;
};

// The entries and their number; the creators live as long as the process.
SLibraryObjectCreator const* GetLibraryObjectCreators(int& count);

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include "formats/CQEL_ObjectCreators.h"

#include "formats/IObjectCreator.h"

namespace QEL::Core {

SLibraryObjectCreator const* GetLibraryObjectCreators(int& count) {
    // Entities add their row here as they gain a record format.
    static SLibraryObjectCreator const table[] = {
        {nullptr, nullptr},
    };
    count = 0;
    return table;
}

}  // namespace QEL::Core

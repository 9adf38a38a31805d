// SPDX-License-Identifier: MIT
#include "formats/CQEL_ObjectCreators.h"

#include <iterator>

#include "entities/CPointSet.h"
#include "formats/IObjectCreator.h"

namespace QEL::Core {

SLibraryObjectCreator const* GetLibraryObjectCreators(int& count) {
    // The creators live as long as the process: never destroyed, never unregistered by exit.
    static SLibraryObjectCreator const table[] = {
        {CPointSet::kClassGUID, new CObjectCreator<CPointSet>},
    };
    count = int(std::size(table));
    return table;
}

}  // namespace QEL::Core

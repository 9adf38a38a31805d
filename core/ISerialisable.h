// SPDX-License-Identifier: MIT
// ISerialisable: an entity that stores itself as one record of the native
// container (formats/CQELParser.h). It lives in core/ because entities derive
// from it; the container itself sits above the entities.
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class CExportData;
class CImportData;

class QEL_API ISerialisable {
  public:
    virtual ~ISerialisable();

    // Writes the entity's record into data: the class identifier, the
    // run-time class name, the type name, the two index fields and the record
    // bytes; true on success. An entity must write at least one byte.
    virtual bool Serialise(CExportData* data) const = 0;
    // Replaces the entity's contents with the record in data; true on
    // success. Damaged or inconsistent records throw CQEL_Exception reason 23
    // (file read error).
    virtual bool Deserialise(CImportData* data) = 0;
};

}  // namespace QEL::Core

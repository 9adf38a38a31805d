// SPDX-License-Identifier: MIT
// ISerialisable: an entity that writes itself into a record of the native
// container and reads itself back from one. The record buffers (CExportData,
// CImportData) belong to the container in formats/; entities only see them
// through these two calls.
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class CExportData;
class CImportData;

class QEL_API ISerialisable {
  public:
    virtual ~ISerialisable();
    // Appends the entity's record to data; true on success. Failures throw CQEL_Exception.
    virtual bool Serialise(CExportData* data) const = 0;
    // Replaces the entity's contents by the record in data; true on success.
    // A damaged record throws CQEL_Exception (reason 23) and leaves the entity reset.
    virtual bool Deserialise(CImportData* data) = 0;
};

}  // namespace QEL::Core

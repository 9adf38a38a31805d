// SPDX-License-Identifier: MIT
// IObjectCreator: makes the entity of one class from its native-container
// record. Creators are registered with CQELParser under the class identifier
// that the entity's Serialise stores (CQELParser::RegisterObjectCreator).
#pragma once

#include <memory>

#include "core/CImportData.h"
#include "core/ISerialisable.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API IObjectCreator {
  public:
    // Removes the creator from CQELParser's registry, so that a destroyed
    // creator is never called.
    virtual ~IObjectCreator();

    // Makes a new entity and deserialises data into it; the caller owns the
    // result. Null when the entity could not read the record; throws what the
    // entity's Deserialise throws.
    virtual ISerialisable* CreateObject(CImportData* data) = 0;
};

// The creator of a default-constructible entity type T.
template <class T>
class CObjectCreator final : public IObjectCreator {
  public:
    ISerialisable* CreateObject(CImportData* data) override {
        auto object = std::make_unique<T>();
        return object->Deserialise(data) ? object.release() : nullptr;
    }
};

}  // namespace QEL::Core

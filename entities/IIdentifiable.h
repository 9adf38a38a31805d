// SPDX-License-Identifier: MIT
// IIdentifiable: an entity type known by a class identifier, the GUID under
// which the native container stores and finds it.
//
// CIdentifiable<T> answers with T::kClassGUID, a string literal in
// 8-4-4-4-12 hexadecimal form without braces; the identifier is also
// available without an instance (GetStaticClassGUID), so that a file reader
// can register a creator before any entity exists.
#pragma once

#include "core/CQEL_String.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API IIdentifiable {
  public:
    virtual ~IIdentifiable();
    virtual CQEL_String GetClassGUID() const = 0;
};

template <class T>
class CIdentifiable : public IIdentifiable {
  public:
    CQEL_String GetClassGUID() const override { return CQEL_String::FromASCII(T::kClassGUID); }
    static char const* GetStaticClassGUID() { return T::kClassGUID; }
};

}  // namespace QEL::Core

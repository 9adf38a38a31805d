// SPDX-License-Identifier: MIT
#include "entities/CQEL_Type.h"

#include "entities/IIdentifiable.h"

namespace QEL::Core {

// The interfaces' destructors live here, so that their type information has one home.
ITransformable::~ITransformable() = default;
IIdentifiable::~IIdentifiable() = default;

CQEL_Type::CQEL_Type() = default;
CQEL_Type::CQEL_Type(CQEL_Type const& other)
    : CQEL_Handler_Entity(),
      CQEL_Allocate(),
      ITransformable(),
      m_name(other.m_name),
      m_userMetaData(other.m_userMetaData) {}

CQEL_Type& CQEL_Type::operator=(CQEL_Type const& other) {
    // Event subscriptions belong to the object, not to its value.
    m_name = other.m_name;
    m_userMetaData = other.m_userMetaData;
    return *this;
}

CQEL_Type::~CQEL_Type() = default;

}  // namespace QEL::Core

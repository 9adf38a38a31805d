// SPDX-License-Identifier: MIT
// ITransformable: an entity that can be moved by a rigid (or affine) transform.
#pragma once

#include "core/CEntityTransform.h"
#include "core/QEL_Export.h"

namespace QEL::Core {

using Elements::CEntityTransform;

class QEL_API ITransformable {
  public:
    virtual ~ITransformable();
    // Applies transform to the entity's geometry in place (row vectors,
    // translation in the last row) and marks the entity modified.
    virtual void Transform(CEntityTransform const& transform) = 0;
};

}  // namespace QEL::Core

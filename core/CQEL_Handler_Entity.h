// SPDX-License-Identifier: MIT
// CQEL_Handler_Entity: the base of every object that binds its member
// functions as handlers of events (CQEL_Event::Register(object, &Class::Method)).
// Classes derive from it virtually, so that an object reached through several
// bases is still one entity, and CQEL_Event::UnregisterAll(entity) finds every
// handler bound to it whatever base the member function came from.
//
// An entity does not track the events it is registered on, and its destruction
// does NOT unregister its handlers: the owner calls UnregisterAll(*this) on each
// event it registered on (typically in its destructor) unless the events are
// known to die first. Automatic unregistration would need a list of events in
// every entity and a list of entities in every event, each guarded by its own
// lock and each side able to die first; the explicit call keeps both cheap.
//
// Copying an entity copies no registration (registrations live in the events).
#pragma once

#include "core/QEL_Export.h"

namespace QEL::Core {

class QEL_API CQEL_Handler_Entity {
  public:
    virtual ~CQEL_Handler_Entity();

  protected:
    CQEL_Handler_Entity() = default;
    CQEL_Handler_Entity(CQEL_Handler_Entity const&) = default;
    CQEL_Handler_Entity& operator=(CQEL_Handler_Entity const&) = default;
};

}  // namespace QEL::Core

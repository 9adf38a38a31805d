// SPDX-License-Identifier: MIT
// The handlers of CQEL_Event (see core/CQEL_Event.h): what a handler returns,
// its identity, the abstract handler that hosts may derive from, the one
// handler template for bound functions with the twelve kinds' names, and the
// handler that forwards to another event.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "core/CQEL_Handler_Entity.h"
#include "core/CQEL_String.h"

namespace QEL::Core {

// Result of a handler.
enum EEventAction : int {
    QEL_EVENT_CONTINUE = 0,           // go on with the next handler
    QEL_EVENT_TO_FRONT = 1,           // exchange this handler with the first, then go on
    QEL_EVENT_STOP = 2,               // call no further handler in this notification
    QEL_EVENT_TO_FRONT_AND_STOP = 3,  // exchange with the first, then stop
};

// What a handler calls; part of its identity.
enum class EEventHandlerKind : int {
    Object_FunctVoid_Void = 0,
    Object_FunctVoid_Action = 1,
    Object_FunctArg1_Void = 2,
    Object_FunctArg1_Action = 3,
    Object_FunctArg2_Void = 4,
    Object_FunctArg2_Action = 5,
    Static_FunctVoid_Void = 6,
    Static_FunctVoid_Action = 7,
    Static_FunctArg1_Void = 8,
    Static_FunctArg1Action = 9,
    Static_FunctArg2_Void = 10,
    Static_FunctArg2_Action = 11,
    Forward = 12,  // notifies another event (Register(CQEL_Event&))
    Custom = 13,   // a handler class of the host's (RegisterHandler)
};

// Identity of a handler: kind, object and the bytes of the function pointer.
struct SEventHandlerKey {
    EEventHandlerKind kind = EEventHandlerKind::Custom;
    void const* object = nullptr;
    unsigned char function[2 * sizeof(void*)] = {};

    // Function is a pointer to a free or member function (or any small
    // trivially copyable value that tells the callee apart).
    template <class Function>
    static SEventHandlerKey Make(EEventHandlerKind kind, void const* object, Function function) {
        static_assert(
            std::is_trivially_copyable_v<Function> && sizeof(Function) <= sizeof(SEventHandlerKey{}.function),
            "a handler's function must fit in its key");
        SEventHandlerKey key;
        key.kind = kind;
        key.object = object;
        std::memcpy(key.function, &function, sizeof function);
        return key;
    }
    bool operator==(SEventHandlerKey const& other) const {
        return kind == other.kind && object == other.object &&
               std::memcmp(function, other.function, sizeof function) == 0;
    }
};

template <class Sender, class Args>
class CQEL_Event;

// The abstract handler: calls something with (sender, args) and returns what
// the event does next. Hosts may derive their own handlers (kind Custom, with a
// key that tells them apart) and register them with RegisterHandler.
template <class Sender, class Args>
class CQEL_Event_Handler_Base {
  public:
    virtual ~CQEL_Event_Handler_Base() = default;
    CQEL_Event_Handler_Base(CQEL_Event_Handler_Base const&) = delete;
    CQEL_Event_Handler_Base& operator=(CQEL_Event_Handler_Base const&) = delete;

    // Calls the bound function; handlers that return nothing give QEL_EVENT_CONTINUE.
    virtual EEventAction Invoke(Sender& sender, Args args) = 0;
    // The handler's class name, for ListHandlers and the activity log.
    virtual char const* GetKindName() const = 0;

    // Whether the handler is called only while holding a named system mutex.
    bool UsesNamedMutex() const { return !m_mutexName.IsEmpty(); }
    // That mutex's name, with its leading '/' (empty when there is none).
    CQEL_String const& GetMutexName() const { return m_mutexName; }
    // The object the handler is bound to (null for free functions and forwards).
    CQEL_Handler_Entity* GetEntity() const { return m_entity; }
    SEventHandlerKey const& GetKey() const { return m_key; }
    // Whether the handler is in its event's list (false once it is unregistered).
    bool IsRegistered() const { return m_registered.load(std::memory_order_acquire); }

  protected:
    explicit CQEL_Event_Handler_Base(SEventHandlerKey const& key, CQEL_Handler_Entity* entity = nullptr)
        : m_key(key), m_entity(entity) {}

  private:
    friend class CQEL_Event<Sender, Args>;

    SEventHandlerKey m_key;
    CQEL_Handler_Entity* m_entity;
    CQEL_String m_mutexName;  // set before the handler is published, then constant
    // Cleared under the event's lock when the handler leaves the list, so that
    // reading it equals looking the handler up in the live list.
    std::atomic<bool> m_registered{false};
};

// --- handlers calling a function ------------------------------------------------

namespace Detail {

// The class of a member function pointer, or void for a free function.
template <class Function>
struct SEventFunction;
template <class Result, class Class, class... Parameters>
struct SEventFunction<Result (Class::*)(Parameters...)> {
    using Object = Class;
};
template <class Result, class... Parameters>
struct SEventFunction<Result (*)(Parameters...)> {
    using Object = void;
};

// How many of (sender, args) the functions of a handler kind take: none, the
// args, or both.
constexpr int EventArgumentsOf(EEventHandlerKind kind) {
    return (int(kind) % 6) / 2;
}

// The established class names of the handler kinds, for ListHandlers and the log.
constexpr char const* EventHandlerKindName(EEventHandlerKind kind) {
    constexpr char const* kNames[] = {
        "CQEL_Event_Handler_Object_FunctVoid_Void", "CQEL_Event_Handler_Object_FunctVoid_Action",
        "CQEL_Event_Handler_Object_FunctArg1_Void", "CQEL_Event_Handler_Object_FunctArg1_Action",
        "CQEL_Event_Handler_Object_FunctArg2_Void", "CQEL_Event_Handler_Object_FunctArg2_Action",
        "CQEL_Event_Handler_Static_FunctVoid_Void", "CQEL_Event_Handler_Static_FunctVoid_Action",
        "CQEL_Event_Handler_Static_FunctArg1_Void", "CQEL_Event_Handler_Static_FunctArg1Action",
        "CQEL_Event_Handler_Static_FunctArg2_Void", "CQEL_Event_Handler_Static_FunctArg2_Action",
    };
    return kNames[int(kind)];
}

}  // namespace Detail

// Calls a member function of an object or a free function (Function, a
// pointer to either) with nothing, the args, or the sender and the args, as
// Kind says; a function that returns nothing counts as QEL_EVENT_CONTINUE.
template <class Sender, class Args, class Function, EEventHandlerKind Kind>
class CQEL_Event_Handler final : public CQEL_Event_Handler_Base<Sender, Args> {
    using Base = CQEL_Event_Handler_Base<Sender, Args>;
    using Object = typename Detail::SEventFunction<Function>::Object;
    static constexpr bool kMember = !std::is_void_v<Object>;
    static constexpr int kArguments = Detail::EventArgumentsOf(Kind);

  public:
    // A member function of object, whose handler entity is entity.
    CQEL_Event_Handler(Object* object, Function function, CQEL_Handler_Entity* entity) requires kMember
        : Base(SEventHandlerKey::Make(Kind, entity, function), entity),
          m_object(object),
          m_function(function) {}
    // A free function.
    explicit CQEL_Event_Handler(Function function) requires(!kMember)
        : Base(SEventHandlerKey::Make(Kind, nullptr, function)), m_function(function) {}

    EEventAction Invoke(Sender& sender, Args args) override {
        if constexpr (std::is_void_v<decltype(Call(sender, args))>) {
            Call(sender, args);
            return QEL_EVENT_CONTINUE;
        } else {
            return Call(sender, args);
        }
    }
    char const* GetKindName() const override { return Detail::EventHandlerKindName(Kind); }

  private:
    decltype(auto) Call(Sender& sender, Args args) {
        if constexpr (kMember) {
            if constexpr (kArguments == 0)
                return (m_object->*m_function)();
            else if constexpr (kArguments == 1)
                return (m_object->*m_function)(args);
            else
                return (m_object->*m_function)(sender, args);
        } else {
            if constexpr (kArguments == 0)
                return m_function();
            else if constexpr (kArguments == 1)
                return m_function(args);
            else
                return m_function(sender, args);
        }
    }

    std::conditional_t<kMember, Object*, std::nullptr_t> m_object = nullptr;
    Function m_function;
};

// The twelve handler kinds by their established names.
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctVoid_Void =
    CQEL_Event_Handler<Sender, Args, void (Object::*)(), EEventHandlerKind::Object_FunctVoid_Void>;
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctVoid_Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (Object::*)(), EEventHandlerKind::Object_FunctVoid_Action>;
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctArg1_Void =
    CQEL_Event_Handler<Sender, Args, void (Object::*)(Args), EEventHandlerKind::Object_FunctArg1_Void>;
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctArg1_Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (Object::*)(Args),
                       EEventHandlerKind::Object_FunctArg1_Action>;
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctArg2_Void =
    CQEL_Event_Handler<Sender, Args, void (Object::*)(Sender&, Args),
                       EEventHandlerKind::Object_FunctArg2_Void>;
template <class Sender, class Args, class Object>
using CQEL_Event_Handler_Object_FunctArg2_Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (Object::*)(Sender&, Args),
                       EEventHandlerKind::Object_FunctArg2_Action>;
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctVoid_Void =
    CQEL_Event_Handler<Sender, Args, void (*)(), EEventHandlerKind::Static_FunctVoid_Void>;
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctVoid_Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (*)(), EEventHandlerKind::Static_FunctVoid_Action>;
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctArg1_Void =
    CQEL_Event_Handler<Sender, Args, void (*)(Args), EEventHandlerKind::Static_FunctArg1_Void>;
// The missing underscore before "Action" is the class's established name.
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctArg1Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (*)(Args), EEventHandlerKind::Static_FunctArg1Action>;
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctArg2_Void =
    CQEL_Event_Handler<Sender, Args, void (*)(Sender&, Args), EEventHandlerKind::Static_FunctArg2_Void>;
template <class Sender, class Args>
using CQEL_Event_Handler_Static_FunctArg2_Action =
    CQEL_Event_Handler<Sender, Args, EEventAction (*)(Sender&, Args),
                       EEventHandlerKind::Static_FunctArg2_Action>;

// Passes a notification on to another event of the same kind (Register(CQEL_Event&)).
template <class Sender, class Args>
class CQEL_Event_Handler_Forward final : public CQEL_Event_Handler_Base<Sender, Args> {
  public:
    explicit CQEL_Event_Handler_Forward(CQEL_Event<Sender, Args>& target)
        : CQEL_Event_Handler_Base<Sender, Args>(
              SEventHandlerKey::Make(EEventHandlerKind::Forward, &target, 0)),
          m_target(target) {}
    EEventAction Invoke(Sender& sender, Args args) override {
        m_target.NotifyAll(sender, args);
        return QEL_EVENT_CONTINUE;
    }
    char const* GetKindName() const override { return "CQEL_Event_Handler_Forward"; }

  private:
    CQEL_Event<Sender, Args>& m_target;
};

}  // namespace QEL::Core

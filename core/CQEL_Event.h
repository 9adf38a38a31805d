// SPDX-License-Identifier: MIT
// CQEL_Event<Sender, Args>: the library's notification mechanism. An object
// that has something to announce owns an event; other code registers handlers
// on it; NotifyAll(sender, args) calls them in list order.
//
//     CQEL_Event<CCache_Flag, CCache_Flag&> invalidated("Invalidated");
//     invalidated.Register(this, &CBoundingBoxCache::Discard);   // member function
//     invalidated.Register(&LogInvalidation);                      // free function
//     invalidated(flag, flag);                                     // notify
//
// Handlers. Twelve handler kinds cover what a handler calls (a member function
// of an object or a free function), with what (nothing, the args, or the sender
// and the args) and what it returns (nothing, taken as QEL_EVENT_CONTINUE, or an
// EEventAction): one template, CQEL_Event_Handler, with the twelve kinds' names
// as aliases. Each Register overload creates the matching handler; the event
// owns its handlers. Objects whose member functions are bound
// must derive (virtually) from CQEL_Handler_Entity. Hosts may also register
// handler classes of their own (RegisterHandler).
//
// Identity and duplicates. A handler is identified by its kind, its object (the
// entity, or the forwarded-to event) and its function. Registering a handler
// identical to one already registered changes nothing and returns false; so a
// handler is called at most once per notification, and Unregister removes
// exactly the handler that Register added.
//
// Results. A handler returns EEventAction: 0 continue; 1 move to the front of
// the list (by exchanging places with the first handler), then continue; 2 stop
// this notification; 3 move to the front, then stop. Other values count as 0.
//
// Notification (NotifyAll):
//   1. a disabled event returns at once;
//   2. under the lock, the handler list is copied into a snapshot;
//   3. for each handler of the snapshot, in order: skip it if it was
//      unregistered since; if it names a system mutex, open that mutex, wait for
//      it and check the registration again (skip if the mutex does not exist, the
//      wait fails or the handler was unregistered meanwhile); call it; for result
//      1 or 3 exchange it with the first handler of the live list; release the
//      mutex; for result 2 or 3 stop.
// Handlers registered during a notification are first called by the next one;
// handlers unregistered during it (by an earlier handler, by themselves, or by
// another thread) are not called any more.
//
// Threads. The handler list is guarded by the event's own lock, which is never
// held while a handler runs: a handler may register, unregister or notify
// freely, on this event too. Any number of threads may notify, register and
// unregister at once. A handler removed while notifications that copied it are
// still running is kept alive until the last of them has finished, then
// deleted (unregistered handlers are retired, not deleted, while any
// notification runs; under notifications that overlap without pause retired
// handlers accumulate until the event is next idle or destroyed). The event
// itself must outlive every notification, registration and forwarding that
// uses it, and an object must stay alive while handlers bound to it are
// registered (see CQEL_Handler_Entity). An exception escaping a handler ends
// the notification and propagates to the notifier.
//
// Named system mutexes. Every Register overload takes an optional mutexName:
// the handler is then called only while holding the POSIX named semaphore of
// that name (sem_open(name, 0): it is opened, never created; whoever names it
// creates it with an initial value of 1). A name without a leading '/' gets
// one. The name must be 1 to 250 characters after the '/' and contain no other
// '/': else Register throws reason 14 ("mutexName"). An interrupted wait is
// resumed; a semaphore that does not exist or a wait that fails skips the
// handler for that notification.
//
// Cost of a notification: one lock to copy the list (no allocation for up to
// 16 handlers), one atomic load per handler to re-check its registration, and
// the calls.
#pragma once

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <source_location>
#include <string_view>
#include <type_traits>
#include <utility>

#include "core/CQEL_Array.h"
#include "core/CQEL_Event_Handler.h"
#include "core/CQEL_Exception.h"
#include "core/CQEL_Handler_Entity.h"
#include "core/CQEL_String.h"
#include "core/QEL_Export.h"
#include "core/QEL_TypeName.h"
#include "platform/CNamedSemaphoreLock.h"

namespace QEL::Core {
namespace Detail {

// Sends text to the library's debug output channel.
QEL_API void EventDebugOut(CQEL_String const& text);
// Checks a mutex name for Register and returns it with its leading '/'; throws
// reason 14 ("mutexName") at "QEL::Core::CQEL_Event::<operation>".
QEL_API CQEL_String NormaliseEventMutexName(char const* operation, char const* name);
// Throws constructor 2 of CQEL_Exception at "QEL::Core::CQEL_Event::<operation>".
// The location's line is that of the call.
[[noreturn]] QEL_API void ThrowEventError(char const* operation, EQELExceptionReason reason,
                                          char const* paramName, char const* message,
                                          std::source_location where = std::source_location::current());
// Replaces control characters by spaces, collapses runs of spaces and trims.
QEL_API CQEL_String CleanEventText(CQEL_String const& text);

// The copy of the handler list a notification runs over: on the stack for up
// to 16 handlers, on the heap beyond.
template <class T>
class CEventSnapshot {
  public:
    CEventSnapshot() = default;
    CEventSnapshot(CEventSnapshot const&) = delete;
    CEventSnapshot& operator=(CEventSnapshot const&) = delete;

    void Assign(T* const* items, int n) {
        if (n > kInline) {
            m_heap.reset(new T*[std::size_t(n)]);
            m_items = m_heap.get();
        }
        std::memcpy(static_cast<void*>(m_items), items, std::size_t(n) * sizeof(T*));
        m_count = n;
    }
    int Count() const { return m_count; }
    T* operator[](int i) const { return m_items[i]; }

  private:
    static constexpr int kInline = 16;
    T* m_inline[kInline];
    std::unique_ptr<T*[]> m_heap;
    T** m_items = m_inline;
    int m_count = 0;
};

}  // namespace Detail

// --- the event ------------------------------------------------------------------

// Sender is the type of the announcing object (passed by reference); Args the
// type of the argument, a value type or a reference (it is passed on as is to
// every handler, so a value type is copied per handler).
//
// Copying: a copy starts with the original's name and enabled state but with
// no handlers and no parent, and assigning an event to another changes nothing
// in either: handlers belong to the event they were registered on, and an
// object that owns an event and is copied gets a fresh, unsubscribed event.
template <class Sender, class Args>
class CQEL_Event {
    static_assert(!std::is_void_v<Args>, "an event passes one argument; use a dummy type such as bool");

  public:
    using Handler = CQEL_Event_Handler_Base<Sender, Args>;

    CQEL_Event() = default;
    explicit CQEL_Event(CQEL_String const& name) : m_name(name) {}
    CQEL_Event(CQEL_Event const& other) : m_enabled(other.IsEnabled()), m_name(other.GetName()) {}
    CQEL_Event& operator=(CQEL_Event const&) { return *this; }
    // Releases every handler and sends a running activity log to the debug
    // channel. No notification may still run on the event.
    virtual ~CQEL_Event() {
        ActivityLog_Destruct();
        for (Handler* handler : m_handlers)
            delete handler;
        for (Handler* handler : m_retired)
            delete handler;
    }

    // --- registration of free functions ------------------------------------
    // Each appends a handler calling function and returns true, or returns
    // false if that very handler is already registered. mutexName: see the
    // header comment (null or empty for none). A null function throws reason 0
    // ("function"); a bad mutex name reason 14 ("mutexName").

    bool Register(void (*function)(), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctVoid_Void<Sender, Args>>(function, mutexName);
    }
    bool Register(EEventAction (*function)(), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctVoid_Action<Sender, Args>>(function, mutexName);
    }
    bool Register(void (*function)(Args), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctArg1_Void<Sender, Args>>(function, mutexName);
    }
    bool Register(EEventAction (*function)(Args), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctArg1Action<Sender, Args>>(function, mutexName);
    }
    bool Register(void (*function)(Sender&, Args), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctArg2_Void<Sender, Args>>(function, mutexName);
    }
    bool Register(EEventAction (*function)(Sender&, Args), char const* mutexName = nullptr) {
        return AddStatic<CQEL_Event_Handler_Static_FunctArg2_Action<Sender, Args>>(function, mutexName);
    }

    // --- registration of member functions ----------------------------------
    // object must derive from CQEL_Handler_Entity; function may belong to it or
    // to one of its bases. A null object or function throws reason 0 ("object",
    // "function").

    template <class Object, class Class>
    bool Register(Object* object, void (Class::*function)(), char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctVoid_Void<Sender, Args, Class>>(object, function,
                                                                                        mutexName);
    }
    template <class Object, class Class>
    bool Register(Object* object, EEventAction (Class::*function)(), char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctVoid_Action<Sender, Args, Class>>(object, function,
                                                                                          mutexName);
    }
    template <class Object, class Class>
    bool Register(Object* object, void (Class::*function)(Args), char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctArg1_Void<Sender, Args, Class>>(object, function,
                                                                                        mutexName);
    }
    template <class Object, class Class>
    bool Register(Object* object, EEventAction (Class::*function)(Args), char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctArg1_Action<Sender, Args, Class>>(object, function,
                                                                                          mutexName);
    }
    template <class Object, class Class>
    bool Register(Object* object, void (Class::*function)(Sender&, Args), char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctArg2_Void<Sender, Args, Class>>(object, function,
                                                                                        mutexName);
    }
    template <class Object, class Class>
    bool Register(Object* object, EEventAction (Class::*function)(Sender&, Args),
                  char const* mutexName = nullptr) {
        return AddMember<CQEL_Event_Handler_Object_FunctArg2_Action<Sender, Args, Class>>(object, function,
                                                                                          mutexName);
    }

    // --- forwarding ---------------------------------------------------------
    // Register(other): every notification of this event also notifies other,
    // with the same sender and args, at this handler's place in the list
    // (other's own enabled state, handlers and results apply there; its results
    // do not stop this event's notification). other must stay alive while
    // registered. Forwarding an event to itself throws reason 14 ("event");
    // longer cycles (a to b to a) are the caller's to avoid.
    bool Register(CQEL_Event& other, char const* mutexName = nullptr) {
        if (&other == this)
            Detail::ThrowEventError("Register", QEL_INVALID_PARAMETER, "event",
                                    "An event cannot forward to itself");
        return Add(std::make_unique<CQEL_Event_Handler_Forward<Sender, Args>>(other), mutexName);
    }

    // --- handlers of the host's own --------------------------------------------
    // Takes ownership of handler; false (and the handler deleted) if a handler
    // with the same key is already registered. A null handler throws reason 0.
    bool RegisterHandler(std::unique_ptr<Handler> handler, char const* mutexName = nullptr) {
        if (!handler)
            Detail::ThrowEventError("RegisterHandler", QEL_NULL_PARAMETER, "handler", "Null Pointer");
        return Add(std::move(handler), mutexName);
    }

    // --- unregistration -----------------------------------------------------
    // Each removes the handler that Register added for the same arguments and
    // returns whether there was one. A handler being called at that moment
    // finishes its call; it is not called again.

    bool Unregister(void (*function)()) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctVoid_Void, function));
    }
    bool Unregister(EEventAction (*function)()) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctVoid_Action, function));
    }
    bool Unregister(void (*function)(Args)) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctArg1_Void, function));
    }
    bool Unregister(EEventAction (*function)(Args)) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctArg1Action, function));
    }
    bool Unregister(void (*function)(Sender&, Args)) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctArg2_Void, function));
    }
    bool Unregister(EEventAction (*function)(Sender&, Args)) {
        return RemoveKey(StaticKey(EEventHandlerKind::Static_FunctArg2_Action, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, void (Class::*function)()) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctVoid_Void, object, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, EEventAction (Class::*function)()) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctVoid_Action, object, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, void (Class::*function)(Args)) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctArg1_Void, object, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, EEventAction (Class::*function)(Args)) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctArg1_Action, object, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, void (Class::*function)(Sender&, Args)) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctArg2_Void, object, function));
    }
    template <class Object, class Class>
    bool Unregister(Object* object, EEventAction (Class::*function)(Sender&, Args)) {
        return RemoveKey(MemberKey(EEventHandlerKind::Object_FunctArg2_Action, object, function));
    }
    // Stops forwarding to other.
    bool Unregister(CQEL_Event& other) {
        return RemoveKey(SEventHandlerKey::Make(EEventHandlerKind::Forward, &other, 0));
    }
    // Removes the handler whose key equals key (for RegisterHandler).
    bool UnregisterHandler(SEventHandlerKey const& key) { return RemoveKey(key); }

    // Removes every handler bound to entity; returns how many.
    int UnregisterAll(CQEL_Handler_Entity& entity) {
        CQEL_Handler_Entity const* const target = &entity;
        return RemoveIf([target](Handler const* handler) { return handler->GetEntity() == target; },
                        "UnregisterAll");
    }
    // Removes every handler.
    virtual void ResetSubscribers() {
        RemoveIf([](Handler const*) { return true; }, "ResetSubscribers");
    }

    // --- notification -------------------------------------------------------

    virtual void operator()(Sender& sender, Args args) { NotifyAll(sender, args); }

    virtual void NotifyAll(Sender& sender, Args args) {
        if (!m_enabled.load(std::memory_order_relaxed)) return;
        Detail::CEventSnapshot<Handler> snapshot;
        {
            std::lock_guard guard(m_lock);
            if (m_handlers.IsEmpty()) return;
            snapshot.Assign(m_handlers.begin(), m_handlers.Count());
            m_running.fetch_add(1, std::memory_order_seq_cst);
        }
        CRunning const running(*this);
        bool const logging = m_logging.load(std::memory_order_relaxed);
        if (logging) AppendActivityLog(CQEL_String::FromFormat("NotifyAll: %d handler(s)", snapshot.Count()));

        for (int i = 0; i < snapshot.Count(); ++i) {
            Handler* const handler = snapshot[i];
            if (!IsRegistered(handler)) {
                if (logging) LogSkip(i, handler, "unregistered");
                continue;
            }
            EEventAction action;
            if (handler->UsesNamedMutex()) {
                CNamedSemaphoreLock const mutex(handler->m_mutexName.GetArray());
                if (!mutex.IsHeld()) {
                    if (logging) LogSkip(i, handler, "mutex unavailable");
                    continue;
                }
                if (!IsRegistered(handler)) {
                    if (logging) LogSkip(i, handler, "unregistered");
                    continue;
                }
                action = CallHandler(i, handler, sender, args, logging);
            } else {
                action = CallHandler(i, handler, sender, args, logging);
            }
            if (action == QEL_EVENT_STOP || action == QEL_EVENT_TO_FRONT_AND_STOP) break;
        }
    }

    // --- state --------------------------------------------------------------

    void Enable() {
        m_enabled.store(true, std::memory_order_relaxed);
        if (m_logging.load(std::memory_order_relaxed)) AppendActivityLog(CQEL_String::FromASCII("Enable"));
    }
    void Disable() {
        m_enabled.store(false, std::memory_order_relaxed);
        if (m_logging.load(std::memory_order_relaxed)) AppendActivityLog(CQEL_String::FromASCII("Disable"));
    }
    bool IsEnabled() const { return m_enabled.load(std::memory_order_relaxed); }
    bool IsHandled() const { return GetHandlerCount() > 0; }
    int GetHandlerCount() const {
        std::lock_guard guard(m_lock);
        return m_handlers.Count();
    }

    virtual CQEL_String GetName() const {
        std::lock_guard guard(m_lock);
        return m_name;
    }
    virtual void SetName(CQEL_String const& name) {
        std::lock_guard guard(m_lock);
        m_name = name;
    }

    // Records the object that owns the event (shown by ListHandlers). Any
    // owner type is accepted; null clears it.
    template <class Owner>
    void SetParent(Owner* owner) {
        std::lock_guard guard(m_lock);
        m_parent = static_cast<void const*>(owner);
        m_parentType = owner ? Detail::TypeName<std::remove_cv_t<Owner>>() : std::string_view();
    }
    void SetParent(std::nullptr_t) { SetParent(static_cast<void const*>(nullptr)); }
    void const* GetParent() const {
        std::lock_guard guard(m_lock);
        return m_parent;
    }

    // Writes the event and its handlers, in calling order, to the debug channel:
    //   Event "<name>" of <parent type> @ <parent address>: <n> handler(s)[, disabled]
    //     <i>: <handler class>[ on object @ <address>][ under mutex "<name>"]
    virtual void ListHandlers() {
        CQEL_String text;
        {
            std::lock_guard guard(m_lock);
            text = CQEL_String::FromFormat("Event \"%s\"", CleanString(m_name).GetArray());
            if (m_parent)
                text += CQEL_String::FromFormat(" of %.*s @ %p", int(m_parentType.size()),
                                                m_parentType.data(), m_parent);
            text += CQEL_String::FromFormat(": %d handler(s)%s", m_handlers.Count(),
                                            IsEnabled() ? "" : ", disabled");
            for (int i = 0; i < m_handlers.Count(); ++i) {
                Handler const* const handler = m_handlers.Unsafe_Get(i);
                text += CQEL_String::FromFormat("\n  %d: %s", i, handler->GetKindName());
                if (handler->GetKey().object)
                    text += CQEL_String::FromFormat(" on object @ %p", handler->GetKey().object);
                if (handler->UsesNamedMutex())
                    text += CQEL_String::FromFormat(" under mutex \"%s\"", handler->m_mutexName.GetArray());
            }
        }
        Detail::EventDebugOut(text);
    }

    // --- activity log -----------------------------------------------------------
    // While the log runs, the event records one line per registration,
    // unregistration, enabling, disabling, notification, handler call (with
    // its result) and skipped handler, plus whatever AppendActivityLog is given.
    // ActivityLog_Destruct (and the event's destructor) sends the log to the
    // debug channel as one text headed 'Activity of event "<name>":'; a log
    // that outgrows 64 KiB is sent and restarted.

    // Starts the log (nothing if it runs already).
    void ActivityLog_Construct() {
        std::lock_guard guard(m_lock);
        if (m_logging.load(std::memory_order_relaxed)) return;
        m_log = CQEL_String();
        m_logging.store(true, std::memory_order_relaxed);
    }
    // Sends the log to the debug channel and ends it (nothing if none runs).
    void ActivityLog_Destruct() {
        CQEL_String text;
        {
            std::lock_guard guard(m_lock);
            if (!m_logging.load(std::memory_order_relaxed)) return;
            m_logging.store(false, std::memory_order_relaxed);
            text = TakeLogLocked();
        }
        Detail::EventDebugOut(text);
    }
    bool IsActivityLogRunning() const { return m_logging.load(std::memory_order_relaxed); }
    // The lines recorded since the log started or was last sent.
    CQEL_String GetActivityLog() const {
        std::lock_guard guard(m_lock);
        return m_log;
    }
    // Adds CleanString(entry) as one line if the log runs.
    void AppendActivityLog(CQEL_String const& entry) {
        CQEL_String full;
        {
            std::lock_guard guard(m_lock);
            if (!m_logging.load(std::memory_order_relaxed)) return;
            m_log += CleanString(entry);
            m_log += CQEL_String::FromASCII("\n");
            if (m_log.Length() <= kMaxLogBytes) return;
            full = TakeLogLocked();
        }
        Detail::EventDebugOut(full);
    }
    // entry on one line: control characters become spaces, runs of spaces
    // collapse to one, leading and trailing spaces go.
    static CQEL_String CleanString(CQEL_String const& entry) { return Detail::CleanEventText(entry); }

  private:
    static constexpr int kMaxLogBytes = 64 * 1024;

    // Ends a notification; the last one to end deletes the handlers retired meanwhile.
    class CRunning {
      public:
        explicit CRunning(CQEL_Event& event) : m_event(event) {}
        CRunning(CRunning const&) = delete;
        CRunning& operator=(CRunning const&) = delete;
        ~CRunning() {
            if (m_event.m_running.fetch_sub(1, std::memory_order_seq_cst) == 1 &&
                m_event.m_hasRetired.load(std::memory_order_seq_cst))
                m_event.ReclaimRetired();
        }

      private:
        CQEL_Event& m_event;
    };

    template <class Concrete, class Function>
    bool AddStatic(Function function, char const* mutexName) {
        if (!function) Detail::ThrowEventError("Register", QEL_NULL_PARAMETER, "function", "Null Pointer");
        return Add(std::make_unique<Concrete>(function), mutexName);
    }

    template <class Concrete, class Object, class Class, class Function>
    bool AddMember(Object* object, Function Class::*function, char const* mutexName) {
        static_assert(std::is_base_of_v<CQEL_Handler_Entity, Object>,
                      "objects that bind handlers derive from CQEL_Handler_Entity");
        static_assert(std::is_base_of_v<Class, Object>,
                      "the member function must belong to the object's class");
        if (!object) Detail::ThrowEventError("Register", QEL_NULL_PARAMETER, "object", "Null Pointer");
        if (!function) Detail::ThrowEventError("Register", QEL_NULL_PARAMETER, "function", "Null Pointer");
        return Add(std::make_unique<Concrete>(static_cast<Class*>(object), function,
                                              static_cast<CQEL_Handler_Entity*>(object)),
                   mutexName);
    }

    template <class Function>
    static SEventHandlerKey StaticKey(EEventHandlerKind kind, Function function) {
        return SEventHandlerKey::Make(kind, nullptr, function);
    }
    template <class Object, class Function>
    static SEventHandlerKey MemberKey(EEventHandlerKind kind, Object* object, Function function) {
        static_assert(std::is_base_of_v<CQEL_Handler_Entity, Object>,
                      "objects that bind handlers derive from CQEL_Handler_Entity");
        CQEL_Handler_Entity const* const entity = object;
        return SEventHandlerKey::Make(kind, entity, function);
    }

    bool Add(std::unique_ptr<Handler> handler, char const* mutexName) {
        if (mutexName && *mutexName)
            handler->m_mutexName = Detail::NormaliseEventMutexName("Register", mutexName);
        char const* const kind = handler->GetKindName();
        {
            std::lock_guard guard(m_lock);
            for (Handler const* existing : m_handlers)
                if (existing->m_key == handler->m_key) return false;
            m_handlers.PushBack(handler.get());
            handler->m_registered.store(true, std::memory_order_release);
            handler.release();
        }
        if (m_logging.load(std::memory_order_relaxed))
            AppendActivityLog(CQEL_String::FromFormat("Register %s", kind));
        return true;
    }

    bool RemoveKey(SEventHandlerKey const& key) {
        SEventHandlerKey const target = key;
        return RemoveIf([&target](Handler const* handler) { return handler->m_key == target; }, "Unregister",
                        true) > 0;
    }

    // Removes the handlers that match (only the first if firstOnly); returns how many.
    template <class Match>
    int RemoveIf(Match match, char const* operation, bool firstOnly = false) {
        CQEL_Array<Handler*> dead;
        int removed = 0;
        {
            std::lock_guard guard(m_lock);
            for (int i = 0; i < m_handlers.Count();) {
                Handler* const handler = m_handlers.Unsafe_Get(i);
                if (!match(handler)) {
                    ++i;
                    continue;
                }
                m_handlers.Remove(i);
                handler->m_registered.store(false, std::memory_order_release);
                m_retired.PushBack(handler);
                ++removed;
                if (firstOnly) break;
            }
            if (removed > 0) {
                // Either a running notification sees the flag and reclaims, or
                // this sees no notification running and reclaims now.
                m_hasRetired.store(true, std::memory_order_seq_cst);
                if (m_running.load(std::memory_order_seq_cst) == 0) TakeRetiredLocked(dead);
            }
        }
        for (Handler* handler : dead)
            delete handler;
        if (m_logging.load(std::memory_order_relaxed))
            AppendActivityLog(CQEL_String::FromFormat("%s: %d handler(s) removed", operation, removed));
        return removed;
    }

    void TakeRetiredLocked(CQEL_Array<Handler*>& dead) {
        dead.SwapContents(m_retired);
        m_hasRetired.store(false, std::memory_order_seq_cst);
    }

    void ReclaimRetired() {
        CQEL_Array<Handler*> dead;
        {
            std::lock_guard guard(m_lock);
            if (m_running.load(std::memory_order_seq_cst) == 0) TakeRetiredLocked(dead);
        }
        for (Handler* handler : dead)
            delete handler;
    }

    // The flag equals membership of the live list (see the handler base).
    bool IsRegistered(Handler const* handler) const { return handler->IsRegistered(); }

    // Exchanges handler with the first handler of the live list, if it is still there.
    void GivePriorityToHandler(Handler* handler) {
        int index = -1;
        {
            std::lock_guard guard(m_lock);
            for (int i = 0; i < m_handlers.Count(); ++i) {
                if (m_handlers.Unsafe_Get(i) == handler) {
                    index = i;
                    break;
                }
            }
            if (index > 0) std::swap(m_handlers.Unsafe_Get(0), m_handlers.Unsafe_Get(index));
        }
        if (index > 0 && m_logging.load(std::memory_order_relaxed))
            AppendActivityLog(
                CQEL_String::FromFormat("exchange %s at %d with the first", handler->GetKindName(), index));
    }

    EEventAction CallHandler(int index, Handler* handler, Sender& sender, Args args, bool logging) {
        EEventAction action = handler->Invoke(sender, args);
        if (action < QEL_EVENT_CONTINUE || action > QEL_EVENT_TO_FRONT_AND_STOP) action = QEL_EVENT_CONTINUE;
        if (logging)
            AppendActivityLog(
                CQEL_String::FromFormat("call %d %s -> %d", index, handler->GetKindName(), int(action)));
        if (action == QEL_EVENT_TO_FRONT || action == QEL_EVENT_TO_FRONT_AND_STOP)
            GivePriorityToHandler(handler);
        return action;
    }

    void LogSkip(int index, Handler const* handler, char const* why) {
        AppendActivityLog(CQEL_String::FromFormat("skip %d %s: %s", index, handler->GetKindName(), why));
    }

    CQEL_String TakeLogLocked() {
        CQEL_String text =
            CQEL_String::FromFormat("Activity of event \"%s\":\n", CleanString(m_name).GetArray());
        text += m_log;
        m_log = CQEL_String();
        return text;
    }

    mutable std::mutex m_lock;
    CQEL_Array<Handler*> m_handlers;  // owned, in calling order
    CQEL_Array<Handler*> m_retired;   // owned, unregistered while a notification ran
    std::atomic<int> m_running{0};    // notifications between snapshot and end
    std::atomic<bool> m_hasRetired{false};
    std::atomic<bool> m_enabled{true};
    std::atomic<bool> m_logging{false};
    CQEL_String m_name;
    CQEL_String m_log;
    void const* m_parent = nullptr;
    std::string_view m_parentType;
};

}  // namespace QEL::Core

// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <fcntl.h>
#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/CQEL_Event.h"
#include "core/CQEL_Output_Events.h"

using namespace QEL::Core;

namespace {

struct SSender {
    int notifications = 0;
};
using CTestEvent = CQEL_Event<SSender, int>;

// A handler object that records its id and returns a set action; `during`
// runs inside the call (to register, unregister or notify from a handler).
struct CProbe : virtual CQEL_Handler_Entity {
    CProbe(int probeId, std::vector<int>& record) : id(probeId), calls(record) {}
    EEventAction OnNotify(int) {
        calls.push_back(id);
        if (during) during();
        EEventAction const result = action;
        if (once) action = QEL_EVENT_CONTINUE;
        return result;
    }
    void OnVoid() { calls.push_back(id); }
    void OnSenderArgs(SSender&, int value) { calls.push_back(id * 100 + value); }

    int id;
    std::vector<int>& calls;
    EEventAction action = QEL_EVENT_CONTINUE;
    bool once = false;
    std::function<void()> during;
};

// Member functions inherited from a non-entity base bind to the derived entity.
struct CMixin {
    void OnArgs(int) { ++mixinCalls; }
    int mixinCalls = 0;
};
struct CDerivedProbe : CMixin, CProbe {
    using CProbe::CProbe;
};

std::vector<int> Order(CTestEvent& event, std::vector<int>& calls) {
    calls.clear();
    SSender sender;
    event(sender, 7);
    return calls;
}

std::vector<int>* g_staticCalls;
void StaticVoid() {
    g_staticCalls->push_back(-1);
}
EEventAction StaticArg1Action(int value) {
    g_staticCalls->push_back(-value);
    return QEL_EVENT_CONTINUE;
}
void StaticArg2(SSender& sender, int) {
    g_staticCalls->push_back(-100 - sender.notifications);
}

std::vector<std::string> g_debug;
void CollectDebug(CQEL_String const& text) {
    g_debug.emplace_back(text.GetArray());
}

}  // namespace

TEST(Event, Actions_StopForOneNotificationAndExchangeWithFirst) {
    std::vector<int> calls;
    CProbe a(1, calls), b(2, calls), c(3, calls), d(4, calls);
    CTestEvent event(CQEL_String::FromASCII("Changed"));
    for (CProbe* probe : {&a, &b, &c, &d})
        ASSERT_TRUE(event.Register(probe, &CProbe::OnNotify));

    b.action = QEL_EVENT_STOP;
    b.once = true;
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));

    // Third place to the front by exchange: the former first takes third place.
    c.action = QEL_EVENT_TO_FRONT;
    c.once = true;
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{3, 2, 1, 4}));

    // To the front and stop from third place; then the first asks for the front and stays put.
    a.action = QEL_EVENT_TO_FRONT_AND_STOP;
    a.once = true;
    EXPECT_EQ(Order(event, calls), (std::vector<int>{3, 2, 1}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));
    a.action = QEL_EVENT_TO_FRONT;
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));
    // Values outside 0..3 count as continue.
    d.action = EEventAction(7);
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));

    // A disabled event calls nobody until enabled again.
    event.Disable();
    EXPECT_FALSE(event.IsEnabled());
    EXPECT_TRUE(Order(event, calls).empty());
    event.Enable();
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 3, 4}));
}

TEST(Event, RegisterAndUnregister_EveryKindOnceEach) {
    std::vector<int> calls;
    g_staticCalls = &calls;
    CProbe a(1, calls);
    CDerivedProbe derived(2, calls);
    CTestEvent event;
    EXPECT_FALSE(event.IsHandled());
    EXPECT_TRUE(event.Register(&StaticVoid));
    EXPECT_TRUE(event.Register(&StaticArg1Action));
    EXPECT_TRUE(event.Register(&StaticArg2));
    EXPECT_TRUE(event.Register(&a, &CProbe::OnVoid));
    EXPECT_TRUE(event.Register(&a, &CProbe::OnSenderArgs));
    EXPECT_TRUE(event.Register(&derived, &CMixin::OnArgs));
    EXPECT_FALSE(event.Register(&StaticVoid));               // already there
    EXPECT_FALSE(event.Register(&a, &CProbe::OnVoid));       // already there
    EXPECT_TRUE(event.Register(&derived, &CProbe::OnVoid));  // same function, other object
    EXPECT_EQ(event.GetHandlerCount(), 7);

    SSender sender;
    sender.notifications = 5;
    event(sender, 7);
    EXPECT_EQ(calls, (std::vector<int>{-1, -7, -105, 1, 107, 2}));
    EXPECT_EQ(derived.mixinCalls, 1);

    EXPECT_TRUE(event.Unregister(&StaticArg1Action));
    EXPECT_FALSE(event.Unregister(&StaticArg1Action));
    EXPECT_FALSE(event.Unregister(&derived, &CProbe::OnSenderArgs));
    EXPECT_TRUE(event.Unregister(&a, &CProbe::OnSenderArgs));
    EXPECT_TRUE(event.Unregister(&derived, &CMixin::OnArgs));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{-1, -100, 1, 2}));

    EXPECT_THROW(event.Register(static_cast<void (*)()>(nullptr)), CQEL_Exception);
    EXPECT_THROW(event.Register(static_cast<CProbe*>(nullptr), &CProbe::OnVoid), CQEL_Exception);

    // UnregisterAll removes every handler of that entity only, whatever the kind.
    event.Register(&derived, &CMixin::OnArgs);
    event.Register(&derived, &CProbe::OnSenderArgs);
    EXPECT_EQ(event.UnregisterAll(derived), 3);
    EXPECT_EQ(event.UnregisterAll(derived), 0);
    EXPECT_EQ(Order(event, calls), (std::vector<int>{-1, -100, 1}));
    event.ResetSubscribers();
    EXPECT_FALSE(event.IsHandled());
}

TEST(Event, ChangesDuringNotification_UnregisteredSkippedRegisteredCalledNextTime) {
    std::vector<int> calls;
    CProbe a(1, calls), b(2, calls), c(3, calls), d(4, calls);
    CTestEvent event;
    event.ActivityLog_Construct();  // logging touches each handler after its call
    event.Register(&a, &CProbe::OnNotify);
    event.Register(&b, &CProbe::OnNotify);
    event.Register(&c, &CProbe::OnNotify);

    // a removes the next handler and adds d.
    a.during = [&] {
        event.Unregister(&b, &CProbe::OnNotify);
        event.Register(&d, &CProbe::OnNotify);
        a.during = nullptr;
    };
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 3}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 3, 4}));

    // c removes itself and asks for the front.
    c.during = [&] { event.Unregister(&c, &CProbe::OnNotify); };
    c.action = QEL_EVENT_TO_FRONT;
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 3, 4}));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 4}));

    a.during = [&] { event.ResetSubscribers(); };
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1}));
    EXPECT_FALSE(event.IsHandled());
    EXPECT_NE(std::string(event.GetActivityLog().GetArray()).find("skip 1"), std::string::npos);
    event.ActivityLog_Destruct();
}

TEST(Event, HandlersRegisterAndNotifyFromInside_NoDeadlock) {
    std::vector<int> calls;
    CProbe a(1, calls), b(2, calls);
    CTestEvent event, forwarded;
    event.Register(&a, &CProbe::OnNotify);
    int depth = 0;
    a.during = [&] {
        if (++depth > 3) return;
        event.Register(&b, &CProbe::OnNotify);
        SSender inner;
        event(inner, 1);
        event.ListHandlers();
        EXPECT_EQ(event.GetHandlerCount(), 2);
    };
    Order(event, calls);
    // Outermost snapshot held only a; each nested one also had b.
    EXPECT_EQ(calls, (std::vector<int>{1, 1, 1, 1, 2, 2, 2}));

    // Forwarding: another event of the same kind, notified at this place in the list.
    CProbe f(9, calls);
    forwarded.Register(&f, &CProbe::OnNotify);
    a.during = nullptr;
    EXPECT_TRUE(event.Register(forwarded));
    EXPECT_FALSE(event.Register(forwarded));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2, 9}));
    EXPECT_TRUE(event.Unregister(forwarded));
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2}));
    EXPECT_THROW(event.Register(event), CQEL_Exception);
}

TEST(Event, HandlerThrowing_EndsNotificationAndLeavesEventUsable) {
    std::vector<int> calls;
    CProbe a(1, calls), b(2, calls);
    CTestEvent event;
    event.Register(&a, &CProbe::OnNotify);
    event.Register(&b, &CProbe::OnNotify);
    a.during = [&] {
        event.Unregister(&a, &CProbe::OnNotify);
        throw std::runtime_error("handler failed");
    };
    EXPECT_THROW(Order(event, calls), std::runtime_error);
    EXPECT_EQ(Order(event, calls), (std::vector<int>{2}));
}

TEST(Event, NamedMutex_HandlerRunsOnlyWhileHoldingAnExistingSemaphore) {
    std::string const name = "/qel_events_test_" + std::to_string(getpid());
    sem_unlink(name.c_str());
    std::vector<int> calls;
    CProbe a(1, calls), b(2, calls);
    CTestEvent event;
    ASSERT_TRUE(event.Register(&a, &CProbe::OnNotify, name.c_str() + 1));  // the '/' is added
    event.Register(&b, &CProbe::OnNotify);
    EXPECT_EQ(Order(event, calls), (std::vector<int>{2}));  // no such semaphore: skipped

    sem_t* semaphore = sem_open(name.c_str(), O_CREAT | O_EXCL, 0600, 1);
    ASSERT_NE(semaphore, SEM_FAILED);
    int valueInside = -1;
    a.during = [&] { sem_getvalue(semaphore, &valueInside); };
    EXPECT_EQ(Order(event, calls), (std::vector<int>{1, 2}));
    EXPECT_EQ(valueInside, 0);
    int valueAfter = -1;
    sem_getvalue(semaphore, &valueAfter);
    EXPECT_EQ(valueAfter, 1);

    // Unregistered while a notification waits for the semaphore: not called.
    a.during = nullptr;
    std::atomic<bool> started{false};
    CProbe gate(0, calls);
    event.ResetSubscribers();
    event.Register(&gate, &CProbe::OnNotify);
    event.Register(&a, &CProbe::OnNotify, name.c_str());
    gate.during = [&] { started = true; };
    ASSERT_EQ(sem_wait(semaphore), 0);
    std::thread notifier([&] {
        SSender sender;
        event(sender, 1);
    });
    while (!started)
        std::this_thread::yield();
    event.Unregister(&a, &CProbe::OnNotify);
    sem_post(semaphore);
    notifier.join();
    EXPECT_EQ(calls, (std::vector<int>{1, 2, 0}));

    sem_close(semaphore);
    sem_unlink(name.c_str());

    for (char const* bad : {"a/b", "/", "//x"})
        EXPECT_THROW(event.Register(&b, &CProbe::OnVoid, bad), CQEL_Exception);
    EXPECT_THROW(event.Register(&b, &CProbe::OnVoid, std::string(251, 'n').c_str()), CQEL_Exception);
    EXPECT_TRUE(event.Register(&b, &CProbe::OnVoid, std::string(250, 'n').c_str()));
}

TEST(Event, TwoThreads_NotifyWhileOthersRegisterAndUnregister) {
    struct CCounter : virtual CQEL_Handler_Entity {
        void OnNotify(int value) { total.fetch_add(value, std::memory_order_relaxed); }
        std::atomic<long> total{0};
    };
    CCounter permanent;
    std::vector<std::unique_ptr<CCounter>> transient;
    for (int i = 0; i < 8; ++i)
        transient.push_back(std::make_unique<CCounter>());
    CTestEvent event;
    event.Register(&permanent, &CCounter::OnNotify);

    constexpr int kNotifications = 20000;
    std::atomic<bool> done{false};
    auto notify = [&] {
        SSender sender;
        for (int i = 0; i < kNotifications; ++i)
            event(sender, 1);
    };
    std::thread first(notify), second(notify);
    std::thread churn([&] {
        for (int round = 0; !done; ++round) {
            CCounter& counter = *transient[std::size_t(round % 8)];
            event.Register(&counter, &CCounter::OnNotify);
            if (round % 3 == 0) event.ListHandlers();
            event.UnregisterAll(counter);
        }
    });
    first.join();
    second.join();
    done = true;
    churn.join();
    EXPECT_EQ(permanent.total.load(), 2L * kNotifications);
    EXPECT_EQ(event.GetHandlerCount(), 1);
}

TEST(Event, DiagnosticsAndCopies_GoToTheDebugChannel) {
    g_debug.clear();
    CQEL_Output_Events::GetDebugEvent().Register(&CollectDebug);
    std::vector<int> calls;
    CProbe a(1, calls);
    SSender owner;
    {
        CTestEvent event(CQEL_String::FromASCII("Moved"));
        event.SetParent(&owner);
        event.Register(&a, &CProbe::OnNotify, "qel_listing");
        event.ListHandlers();
        ASSERT_EQ(g_debug.size(), 1u);
        EXPECT_EQ(g_debug[0].rfind("Event \"Moved\" of ", 0), 0u) << g_debug[0];
        EXPECT_NE(g_debug[0].find("under mutex \"/qel_listing\""), std::string::npos);

        CTestEvent copy(event);
        EXPECT_EQ(copy.GetName(), CQEL_String::FromASCII("Moved"));
        EXPECT_FALSE(copy.IsHandled());

        event.ActivityLog_Construct();
        event.AppendActivityLog(CQEL_String::FromASCII("  host\tnote\n "));
        event.Disable();
    }  // the destructor sends the running log
    CQEL_Output_Events::GetDebugEvent().Unregister(&CollectDebug);
    ASSERT_EQ(g_debug.size(), 2u);
    EXPECT_EQ(g_debug[1], "Activity of event \"Moved\":\nhost note\nDisable\n");
    EXPECT_EQ(CTestEvent::CleanString(CQEL_String::FromASCII("\r\n a \t\x01 b ")),
              CQEL_String::FromASCII("a b"));
}

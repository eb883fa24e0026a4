#include "qvGeom/foundation/base/Signal.h"

#include <array>
#include <gtest/gtest.h>
#include <string>

using qvRTB::FunctionArgMember;
using IntSignal = qvRTB::Signal<int>;
using Item = qvRTB::SignalBase::Item;

namespace {

/// Does what it is told to when called.
struct Listener : qvRTB::SignalClient {
    std::function<void(int)> action;

    explicit Listener(std::function<void(int)> its) : action(std::move(its)) {}

    Item& connect(IntSignal& signal) {
        return signal.addCallback(*this, FunctionArgMember(this, &Listener::hear));
    }

    void hear(int value) {
        const std::function<void(int)> act = action; // it may destroy this one
        act(value);
    }
};

/// Connects A, B and C, lets B do `action` when it is called first, emits 1 and then, if the signal
/// is still there, 2; returns who was called.
struct Scene {
    enum { A, B, C };

    std::string run(std::function<void(Scene&)> action) {
        for (const int k : {A, B, C}) {
            clients[k] = std::make_unique<Listener>([this, k, &action](int value) {
                log += "ABC"[k] + std::to_string(value) + ' ';
                if (k == B && action)
                    std::exchange(action, nullptr)(*this);
            });
            items[k] = &clients[k]->connect(*signal);
        }
        signal->emit(1);
        if (signal)
            signal->emit(2);
        return log;
    }

    std::string log;
    std::unique_ptr<IntSignal> signal = std::make_unique<IntSignal>();
    std::array<std::unique_ptr<Listener>, 3> clients;
    std::array<Item*, 3> items{};
};

} // namespace

// Each case is a slot that changes the list it is called from.
TEST(Signal, survivesSlotsThatChangeIt) {
    using S = Scene;

    const struct {
        const char* name;
        std::function<void(S&)> action;
        const char* calls;
    } cases[] = {
        {"connect", [](S& s) { s.clients[S::A]->connect(*s.signal); }, "A1 B1 C1 A2 B2 C2 A2 "},
        {"disconnect itself", [](S& s) { s.items[S::B]->disconnect(); }, "A1 B1 C1 A2 C2 "},
        {"disconnect an earlier", [](S& s) { s.items[S::A]->disconnect(); }, "A1 B1 C1 B2 C2 "},
        {"replace all",
         [](S& s) {
             s.signal->disconnectAll();
             s.clients[S::A]->connect(*s.signal);
         },
         "A1 B1 A2 "},
        {"block a later", [](S& s) { s.items[S::C]->block(); }, "A1 B1 A2 B2 "},
        {"destroy itself", [](S& s) { s.clients[S::B].reset(); }, "A1 B1 C1 A2 C2 "},
        {"destroy a later client", [](S& s) { s.clients[S::C].reset(); }, "A1 B1 A2 B2 "},
        {"destroy the signal", [](S& s) { s.signal.reset(); }, "A1 B1 "},
        {"disconnect, then emit again",
         [](S& s) {
             s.items[S::A]->disconnect();
             s.signal->emit(7);
         },
         "A1 B1 B7 C7 C1 B2 C2 "},
    };

    for (const auto& [name, action, calls] : cases) {
        EXPECT_EQ(Scene().run(action), calls) << name;
    }
}

TEST(SignalClient, ownsItsConnectionsAlone) {
    std::string log;
    IntSignal signal;
    auto original = std::make_unique<Listener>([&](int) { log += 'A'; });
    Item& older = original->connect(signal);
    original->connect(signal);
    original->connect(signal);
    older.disconnect();
    Listener copy = *original; // neither copying nor assigning moves connections
    Listener assigned([&](int) { log += 'B'; });
    assigned.connect(signal);
    assigned = copy;
    EXPECT_EQ(signal.count(), 3);
    original.reset();
    EXPECT_EQ(signal.count(), 1);
    signal.emit(1);
    EXPECT_EQ(log, "A"); // what the assigned one does now
}

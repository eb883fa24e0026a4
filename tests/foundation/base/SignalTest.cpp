#include "qvGeom/foundation/base/Signal.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Entity.h"

using qvRTB::FunctionArgMember;
using IntSignal = qvRTB::Signal<int>;

namespace {

/// Writes its name into a log when called, and then does what it is told to.
class Listener : public qvRTB::SignalClient {
public:
    Listener(std::string name, std::string& log, std::function<void()> action = {})
        : name_(std::move(name)),
          log_(&log),
          action_(std::move(action)) {}

    qvRTB::SignalBase::Item& connect(IntSignal& signal) {
        return signal.addCallback(*this, FunctionArgMember(this, &Listener::hear));
    }

    void hear(int value) {
        *log_ += name_ + std::to_string(value) + ' ';
        if (const std::function<void()> action = action_)
            action();
    }

private:
    std::string name_;
    std::string* log_;
    std::function<void()> action_;
};

/// Connects A, B and C, lets B do `action` when it is called, emits 1 and then, if
/// the signal is still there, 2; returns who was called.
struct Scene {
    std::string run(const std::function<void(Scene&)>& action) {
        a.emplace("A", log);
        b = std::make_unique<Listener>("B", log, [this, &action] {
            if (std::exchange(acts, false))
                action(*this);
        });
        c = std::make_unique<Listener>("C", log);
        itemOfA = &a->connect(*signal);
        itemOfB = &b->connect(*signal);
        itemOfC = &c->connect(*signal);
        signal->emit(1);
        if (signal)
            signal->emit(2);
        return log;
    }

    std::string log;
    bool acts = true;
    std::unique_ptr<IntSignal> signal = std::make_unique<IntSignal>();
    std::optional<Listener> a;
    std::unique_ptr<Listener> b;
    std::unique_ptr<Listener> c;
    qvRTB::SignalBase::Item* itemOfA = nullptr;
    qvRTB::SignalBase::Item* itemOfB = nullptr;
    qvRTB::SignalBase::Item* itemOfC = nullptr;
};

} // namespace

// Each case is a slot that changes the list it is called from.
TEST(Signal, survivesSlotsThatChangeIt) {
    const struct {
        const char* name;
        std::function<void(Scene&)> action;
        const char* calls;
    } cases[] = {
        {"nothing", [](Scene&) {}, "A1 B1 C1 A2 B2 C2 "},
        {"connect", [](Scene& s) { s.a->connect(*s.signal); }, "A1 B1 C1 A2 B2 C2 A2 "},
        {"disconnect itself", [](Scene& s) { s.itemOfB->disconnect(); }, "A1 B1 C1 A2 C2 "},
        {"disconnect an earlier", [](Scene& s) { s.itemOfA->disconnect(); }, "A1 B1 C1 B2 C2 "},
        {"disconnect a later", [](Scene& s) { s.itemOfC->disconnect(); }, "A1 B1 A2 B2 "},
        {"disconnect all", [](Scene& s) { s.signal->disconnectAll(); }, "A1 B1 "},
        {"replace all",
         [](Scene& s) {
             s.signal->disconnectAll();
             s.a->connect(*s.signal);
         },
         "A1 B1 A2 "},
        {"destroy itself", [](Scene& s) { s.b.reset(); }, "A1 B1 C1 A2 C2 "},
        {"destroy a later client", [](Scene& s) { s.c.reset(); }, "A1 B1 A2 B2 "},
        {"destroy the signal", [](Scene& s) { s.signal.reset(); }, "A1 B1 "},
        {"emit again", [](Scene& s) { s.signal->emit(7); }, "A1 B1 A7 B7 C7 C1 A2 B2 C2 "},
        {"disconnect, then emit again",
         [](Scene& s) {
             s.itemOfA->disconnect();
             s.signal->emit(7);
         },
         "A1 B1 B7 C7 C1 B2 C2 "},
    };

    for (const auto& [name, action, calls] : cases) {
        SCOPED_TRACE(name);
        Scene scene;
        EXPECT_EQ(scene.run(action), calls);
    }
}

TEST(Signal, keepsALockedItemUntilItIsUnlocked) {
    std::string log;
    Listener listener("A", log);
    IntSignal signal;
    qvRTB::SignalBase::Item& item = listener.connect(signal);
    item.lock();
    item.lock();
    EXPECT_EQ(signal.count(), 1);
    item.disconnect();
    EXPECT_TRUE(signal.isEmpty());
    EXPECT_FALSE(item.isConnected());
    item.disconnect();
    signal.emit(1);
    EXPECT_EQ(log, "");
    item.unlock();
    item.unlock(); // frees it, which the address sanitizer watches
}

TEST(Signal, callsPlainFunctions) {
    int sum = 0;
    qvRTB::Signal<int, double> signal;
    signal.addCallback([](void* user, int a, double b) { *static_cast<int*>(user) += a + int(b); },
                       &sum);
    signal.emit(1, 2.0);
    EXPECT_EQ(sum, 3);
}

TEST(SignalClient, ownsItsConnectionsAlone) {
    std::string log;
    IntSignal signal;
    auto original = std::make_unique<Listener>("A", log);
    original->connect(signal);
    original->connect(signal);
    Listener copy = *original; // neither copying nor assigning moves connections
    Listener assigned("B", log);
    assigned.connect(signal);
    assigned = copy;
    EXPECT_EQ(signal.count(), 3);
    original.reset();
    EXPECT_EQ(signal.count(), 1);
    signal.emit(1);
    EXPECT_EQ(log, "A1 "); // the assigned one now bears the name A
}

namespace {

class Model : public qvRTB::Entity {
public:
    ~Model() override { announceDestruction(); }
};

class ModelWatcher : public qvRTB::SignalClient {
public:
    explicit ModelWatcher(const Model& model) {
        model.getDestroyedSignal().addCallback(*this,
                                               FunctionArgMember(this, &ModelWatcher::onDestroyed));
        model.getModifiedSignal().addCallback(*this,
                                              FunctionArgMember(this, &ModelWatcher::onModified));
    }

    void onDestroyed(qvRTB::Entity* entity) {
        wasWhole = dynamic_cast<Model*>(entity) != nullptr;
        ++destroyed;
    }

    void onModified(qvRTB::EntityModification& modification) {
        modified = modification.getEntity();
    }

    bool wasWhole = false;
    int destroyed = 0;
    const qvRTB::Entity* modified = nullptr;
};

} // namespace

TEST(Entity, announcesItsDestructionOnceWhileWhole) {
    auto model = std::make_unique<Model>();
    ModelWatcher watcher(*model);
    Model copy = *model;
    *model = copy;
    EXPECT_TRUE(copy.getDestroyedSignal().isEmpty());
    EXPECT_EQ(watcher.destroyed, 0);

    qvRTB::EntityModification modification(model.get());
    model->getModifiedSignal().emit(modification);
    EXPECT_EQ(watcher.modified, model.get());
    model.reset();
    EXPECT_EQ(watcher.destroyed, 1);
    EXPECT_TRUE(watcher.wasWhole);
}

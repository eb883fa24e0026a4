/// \file
/// Signals: lists of callbacks that an object runs to tell others what happened.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "qvGeom/Export.h"

namespace qvRTB {

class SignalClient;

/// The part of a signal that does not depend on its arguments: the list of
/// connections. A signal and its clients belong to one thread at a time.
///
/// An emission calls the slots that are not blocked, in the order of their connection. Slots may
/// connect, disconnect, emit again or destroy the signal or any client while it
/// runs: those added wait for the next emission, those removed are not called any
/// more, and an emission whose signal is gone ends after the running slot.
class QVGEOM_API SignalBase {
public:
    /// One connection. It lives until it is disconnected by hand, or by the death
    /// of its signal or client, and stays at its address until then.
    class QVGEOM_API Item {
    public:
        Item(const Item&) = delete;
        Item& operator=(const Item&) = delete;

        /// Keeps the item allocated, also when it is disconnected meanwhile.
        void lock() { ++locks_; }

        /// Undoes one `lock`; the last one frees a disconnected item.
        void unlock();

        /// Removes the slot from its signal and client; frees the item unless it
        /// is locked. Does nothing on an item already disconnected.
        void disconnect();

        bool isConnected() const { return signal_ != nullptr; }

        /// Keeps emissions from calling the slot, which stays connected, until
        /// `unblock`.
        void block() { isBlocked_ = true; }

        void unblock() { isBlocked_ = false; }

        bool isBlocked() const { return isBlocked_; }

    protected:
        Item() = default;
        virtual ~Item();

    private:
        friend class SignalBase;
        friend class SignalClient;

        SignalBase* signal_ = nullptr;
        SignalClient* client_ = nullptr;
        Item* previousOfClient_ = nullptr;
        Item* nextOfClient_ = nullptr;
        int locks_ = 0;
        bool isBlocked_ = false;
    };

    SignalBase() = default;
    SignalBase(const SignalBase&) = delete;
    SignalBase& operator=(const SignalBase&) = delete;
    virtual ~SignalBase();

    /// Number of connected slots.
    int count() const;

    bool isEmpty() const { return count() == 0; }

    void disconnectAll();

protected:
    /// One walk over the slots that were connected when it began. Holds a lock on
    /// the slot it last returned.
    class QVGEOM_API Emission {
    public:
        explicit Emission(SignalBase& signal);
        Emission(const Emission&) = delete;
        Emission& operator=(const Emission&) = delete;
        ~Emission();

        /// The next connected slot that is not blocked, or null at the end.
        Item* next();

    private:
        friend class SignalBase;

        void release();

        SignalBase* signal_; // null once the signal is destroyed
        Emission* outer_;
        Item* current_ = nullptr;
        std::size_t index_ = 0;
        std::size_t end_;
    };

    /// Appends `item`, which frees itself when it is disconnected; a null client
    /// ties it to the signal alone.
    void attach(Item& item, SignalClient* client);

private:
    void detach(Item* item);

    std::vector<Item*> items_; // null where a slot was removed during an emission
    Emission* emissions_ = nullptr;
};

/// The receiving side of connections: it ends them all when it is destroyed.
/// Copying an object copies none of its connections.
class QVGEOM_API SignalClient {
public:
    SignalClient() = default;

    SignalClient(const SignalClient&) {}

    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): nothing is assigned
    SignalClient& operator=(const SignalClient&) { return *this; }

    virtual ~SignalClient();

    void disconnectAll();

private:
    friend class SignalBase;

    SignalBase::Item* firstItem_ = nullptr;
};

/// A member function bound to the object it is called on.
template <class C, class... A>
class FunctionArgMember {
public:
    FunctionArgMember(C* object, void (C::*method)(A...)) : object_(object), method_(method) {}

    void operator()(A... arguments) const { (object_->*method_)(arguments...); }

private:
    C* object_;
    void (C::*method_)(A...);
};

/// A signal whose slots take the arguments `A`.
template <class... A>
class Signal : public SignalBase {
public:
    /// Connects a member function; the connection ends with `client`.
    template <class C>
    Item& addCallback(SignalClient& client, const FunctionArgMember<C, A...>& function) {
        return connect(function, &client);
    }

    /// Connects a plain function, called with `user` first.
    Item& addCallback(void (*function)(void* user, A...), void* user) {
        return connect([=](A... arguments) { function(user, arguments...); }, nullptr);
    }

    void emit(A... arguments) {
        Emission emission(*this);
        while (Item* const item = emission.next())
            static_cast<Slot*>(item)->call(arguments...);
    }

private:
    struct Slot final : Item {
        explicit Slot(std::function<void(A...)> function) : call(std::move(function)) {}

        std::function<void(A...)> call;
    };

    Item& connect(std::function<void(A...)> function, SignalClient* client) {
        auto slot = std::make_unique<Slot>(std::move(function));
        attach(*slot, client);
        return *slot.release();
    }
};

} // namespace qvRTB

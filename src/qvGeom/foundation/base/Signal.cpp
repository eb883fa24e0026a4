#include "qvGeom/foundation/base/Signal.h"

#include <algorithm>
#include <cassert>
#include <utility>

namespace qvRTB {

SignalBase::Item::~Item() = default;

void SignalBase::Item::unlock() {
    assert(locks_ > 0);
    if (--locks_ == 0 && !signal_)
        delete this;
}

void SignalBase::Item::disconnect() {
    if (!signal_)
        return;

    std::exchange(signal_, nullptr)->detach(this);
    if (locks_ == 0)
        delete this;
}

SignalBase::~SignalBase() {
    for (Emission* emission = emissions_; emission; emission = emission->outer_)
        emission->signal_ = nullptr;
    disconnectAll();
}

int SignalBase::count() const {
    return static_cast<int>(items_.size() - std::count(items_.begin(), items_.end(), nullptr));
}

void SignalBase::disconnectAll() {
    for (std::size_t i = items_.size(); i-- > 0;) {
        if (items_[i])
            items_[i]->disconnect();
    }
}

void SignalBase::attach(Item& item, SignalClient* client) {
    items_.push_back(&item);
    item.signal_ = this;
    item.client_ = client;
    if (!client)
        return;
    item.nextOfClient_ = client->firstItem_;
    if (client->firstItem_)
        client->firstItem_->previousOfClient_ = &item;
    client->firstItem_ = &item;
}

void SignalBase::detach(Item* item) {
    const auto position = std::find(items_.begin(), items_.end(), item);
    assert(position != items_.end());
    if (emissions_)
        *position = nullptr; // the emission walks by index
    else
        items_.erase(position);

    if (!item->client_)
        return;
    Item* const previous = std::exchange(item->previousOfClient_, nullptr);
    Item* const next = std::exchange(item->nextOfClient_, nullptr);
    (previous ? previous->nextOfClient_ : item->client_->firstItem_) = next;
    if (next)
        next->previousOfClient_ = previous;
    item->client_ = nullptr;
}

SignalBase::Emission::Emission(SignalBase& signal)
    : signal_(&signal),
      outer_(signal.emissions_),
      end_(signal.items_.size()) {
    signal.emissions_ = this;
}

SignalBase::Emission::~Emission() {
    release();
    if (!signal_)
        return;
    signal_->emissions_ = outer_;
    if (!outer_)
        std::erase(signal_->items_, nullptr);
}

SignalBase::Item* SignalBase::Emission::next() {
    release();
    while (signal_ && index_ < end_) {
        Item* const item = signal_->items_[index_++];
        if (item && !item->isBlocked()) {
            item->lock();
            return current_ = item;
        }
    }
    return nullptr;
}

void SignalBase::Emission::release() {
    if (current_)
        std::exchange(current_, nullptr)->unlock();
}

SignalClient::~SignalClient() { disconnectAll(); }

void SignalClient::disconnectAll() {
    while (firstItem_)
        firstItem_->disconnect();
}

} // namespace qvRTB

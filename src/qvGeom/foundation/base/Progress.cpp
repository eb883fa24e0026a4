#include "qvGeom/foundation/base/Progress.h"

#include <algorithm>
#include <cmath>

namespace qvUtil {
namespace {

constexpr double kRoundingOfShares = 1e-12;

double clampToUnit(double value, double valueOfNan) {
    return std::isnan(value) ? valueOfNan : std::clamp(value, 0.0, 1.0);
}

} // namespace

Progress::~Progress() {
    detachFromParent();
    for (Progress* const child : children_)
        child->parent_ = nullptr;
}

void Progress::set(double fraction) {
    const double clamped = clampToUnit(fraction, fraction_);
    if (clamped == 0)
        delegated_ = 0;
    moveTo(clamped, Notify::Yes);
}

void Progress::setCaption(const char* caption) {
    const std::string text = caption ? caption : "";
    for (Progress* progress = this; progress; progress = progress->parent_) {
        progress->caption_ = text;
        progress->notify();
    }
}

void Progress::subPhase(double share, Progress& sub) {
    if (&sub == this || isDescendantOf(sub))
        return;

    if (sub.parent_ != this) {
        children_.push_back(&sub);
        sub.detachFromParent();
        sub.parent_ = this;
    }
    sub.shareStart_ = delegated_;
    sub.share_ = std::min(clampToUnit(share, 0.0), 1.0 - delegated_);
    sub.delegated_ = 0;
    delegated_ += sub.share_;
    if (1.0 - delegated_ < kRoundingOfShares)
        delegated_ = 1.0;
    sub.moveTo(0, Notify::No);
}

bool Progress::cancelled() const {
    for (const Progress* progress = this; progress; progress = progress->parent_) {
        if (progress->cancelled_.load(std::memory_order_relaxed))
            return true;
    }
    return false;
}

void Progress::setCallback(Callback callback, void* user) {
    callback_ = callback;
    user_ = user;
}

void Progress::moveTo(double fraction, Notify notifies) {
    fraction_ = fraction;
    if (notifies == Notify::Yes)
        notify();
    if (parent_)
        parent_->moveTo(std::min(shareStart_ + share_ * fraction, 1.0), notifies);
}

void Progress::notify() const {
    if (callback_)
        callback_(user_, fraction_, caption_.c_str());
}

bool Progress::isDescendantOf(const Progress& other) const {
    for (const Progress* progress = parent_; progress; progress = progress->parent_) {
        if (progress == &other)
            return true;
    }
    return false;
}

void Progress::detachFromParent() {
    if (!parent_)
        return;
    std::erase(parent_->children_, this);
    parent_ = nullptr;
}

} // namespace qvUtil

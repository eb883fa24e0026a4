/// \file
/// Progress of a long operation, and the wish to stop it.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "qvGeom/Export.h"

namespace qvUtil {

/// How far an operation has come, on the range 0 to 1, with a caption.
///
/// A part of the work can be delegated to another `Progress` with `subPhase`; that
/// one then moves this one. Parent and child may be destroyed in any order. All
/// calls are made on the thread that runs the operation, except `cancel` and
/// `cancelled`, which are open to every thread.
class QVGEOM_API Progress {
public:
    /// Receives the fraction and caption of the progress it is set on.
    using Callback = void (*)(void* user, double fraction, const char* caption);

    Progress() = default;
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    virtual ~Progress();

    /// Moves to `fraction`, clamped to [0, 1]; NaN keeps the present fraction. A call with
    /// 0 begins anew: the whole range can be delegated again.
    void set(double fraction);

    /// Sets the caption here and in every ancestor; null gives the empty caption.
    void setCaption(const char* caption);

    /// Delegates the next `share` of this range to `sub`, which starts again at 0
    /// with nothing of its own range delegated. This progress moves to the start of
    /// the share at once, without a callback. Shares follow one another, whatever
    /// `set` is called with in between, 0 aside, and end at 1. A `sub` that is this progress
    /// or one of its ancestors is ignored.
    void subPhase(double share, Progress& sub);

    /// Asks the operation to stop. Stays set.
    void cancel() { cancelled_.store(true, std::memory_order_relaxed); }

    /// Whether this progress or one of its ancestors was cancelled.
    bool cancelled() const;

    double getFraction() const { return fraction_; }

    const char* getCaption() const { return caption_.c_str(); }

    /// Calls `callback` at every `set` and `setCaption` made here or on a child,
    /// repeats included, on the thread that makes it. Null calls nothing.
    void setCallback(Callback callback, void* user);

private:
    enum class Notify { No, Yes };

    void moveTo(double fraction, Notify notify);
    void notify() const;
    bool isDescendantOf(const Progress& other) const;
    void detachFromParent();

    std::atomic<bool> cancelled_{false};
    double fraction_ = 0;
    double delegated_ = 0; // end of the last share handed out
    std::string caption_;
    Callback callback_ = nullptr;
    void* user_ = nullptr;

    Progress* parent_ = nullptr;
    double shareStart_ = 0; // of the parent's range
    double share_ = 0;
    std::vector<Progress*> children_;
};

} // namespace qvUtil

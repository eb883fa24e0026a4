#include "qvGeom/foundation/base/ThreadedAlg.h"

#include <algorithm>

#include "qvGeom/foundation/base/Progress.h"

namespace qvUtil {

ThreadedAlgBase::~ThreadedAlgBase() = default;

void ThreadedAlgBase::setProgress(Progress* progress) {
    progress_ = progress;
    beginRun(1, 1); // stands until a pool says otherwise
}

void ThreadedAlgBase::updateProgress(int thread, double fraction) {
    if (!progress_ || thread < 0 || thread >= numThreads_)
        return;

    const double inRange = fraction > 0 ? std::min(fraction, 1.0) : 0.0; // NaN counts as 0
    Slot& slot = slots_[thread];
    slot.done.store(slot.completed + inRange, std::memory_order_relaxed);
    forward();
}

bool ThreadedAlgBase::cancelled(int /*thread*/) const {
    return progress_ && progress_->cancelled();
}

void ThreadedAlgBase::beginRun(int numThreads, int numUnits) {
    if (!progress_)
        return;
    slots_ = std::make_unique<Slot[]>(numThreads);
    numThreads_ = numThreads;
    numUnits_ = numUnits;
    caller_ = std::this_thread::get_id();
}

void ThreadedAlgBase::finishChunk(int thread) {
    if (!progress_ || thread < 0 || thread >= numThreads_)
        return;
    Slot& slot = slots_[thread];
    slot.completed += 1;
    slot.done.store(slot.completed, std::memory_order_relaxed);
}

bool ThreadedAlgBase::reportOrCancel(int thread, const IndexRange& slice, int done) {
    if (cancelled(thread))
        return false;
    updateProgress(thread, static_cast<double>(done) / slice.size());
    return true;
}

/// Sets the progress to the work done by all threads, if this is the thread that
/// waits for the run: hosts expect their callback there.
void ThreadedAlgBase::forward() {
    if (std::this_thread::get_id() != caller_)
        return;
    double done = 0;
    for (int thread = 0; thread < numThreads_; ++thread)
        done += slots_[thread].done.load(std::memory_order_relaxed);
    progress_->set(done / numUnits_);
}

void ThreadedAlg::initialize(int /*numThreads*/) {}

void ThreadedAlg::finalize() {}

void ThreadedChunkAlg::initialize(int /*numThreads*/) {}

void ThreadedChunkAlg::finalize() {}

} // namespace qvUtil

/// \file
/// Loops over a range, of which every thread of a pool does its slice.
#pragma once

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace qvUtil {

/// Calls a function with every thread's slice of 0..count-1.
template <class Work>
class SliceAlg final : public ThreadedAlg {
public:
    /// Borrows `work`.
    SliceAlg(int count, const Work& work) : count_(count), work_(work) {}

    void threadFunc(int thread, int numThreads) override {
        work_(sliceOf(count_, thread, numThreads));
    }

private:
    int count_;
    const Work& work_;
};

/// Calls `work` with the `IndexRange` of every thread of `pool`, all at once.
template <class Work>
void onSlices(ThreadPool& pool, int count, const Work& work) {
    SliceAlg<Work> alg(count, work);
    pool.run(alg);
}

} // namespace qvUtil

/// \file
/// The frame of a data-parallel algorithm: work functions that a `ThreadPool` calls
/// once per thread or once per chunk, over an even split of an index range.
#pragma once

#include <atomic>
#include <cassert>
#include <memory>
#include <thread>

#include "qvGeom/Export.h"

namespace qvUtil {

class Progress;

/// A half-open range of ints, to be walked by a range for.
struct IndexRange {
    class Iterator {
    public:
        explicit Iterator(int index) : index_(index) {}

        int operator*() const { return index_; }

        Iterator& operator++() { return ++index_, *this; }

        bool operator==(const Iterator&) const = default;

    private:
        int index_;
    };

    Iterator begin() const { return Iterator(first); }

    Iterator end() const { return Iterator(last); }

    int size() const { return last - first; }

    bool empty() const { return first == last; }

    int first;
    int last;
};

/// The part of 0..n-1 that falls to one of `parts` threads or chunks: contiguous,
/// in order, and one longer for the first n mod `parts` of them.
constexpr IndexRange sliceOf(int n, int part, int parts) {
    assert(n >= 0 && 0 <= part && part < parts);
    const int length = n / parts;
    const int longer = n % parts;
    const int first = part * length + (part < longer ? part : longer);
    return {.first = first, .last = first + length + (part < longer ? 1 : 0)};
}

/// What both kinds of algorithm share: progress and cancellation. Without an
/// attached `Progress`, reports go nowhere and nothing is ever cancelled.
class QVGEOM_API ThreadedAlgBase {
public:
    ThreadedAlgBase() = default;
    ThreadedAlgBase(const ThreadedAlgBase&) = delete;
    ThreadedAlgBase& operator=(const ThreadedAlgBase&) = delete;
    virtual ~ThreadedAlgBase();

    /// Attaches a borrowed progress; null detaches.
    void setProgress(Progress* progress);

    /// Reports how far `thread` has come with the slice or chunk it works on. Every
    /// thread may call it; the attached progress is set to the mean over all slices
    /// or chunks, and on the calling thread only.
    void updateProgress(int thread, double fraction);

    /// Whether the work is to be left at once. Every thread may call it.
    bool cancelled(int thread) const;

    /// The frame's check inside a long loop, at the head of the body: at every 200th
    /// item of `slice`, its first included, asks `cancelled` and then reports
    /// progress. False when the loop is to be left.
    bool checkpoint(int thread, const IndexRange& slice, int item) {
        const int done = item - slice.first;
        return done % kCheckpointStride != 0 || reportOrCancel(thread, slice, done);
    }

    /// Called by a pool on the calling thread before `initialize`: the work consists
    /// of `numUnits` slices or chunks, run by `numThreads` threads.
    void beginRun(int numThreads, int numUnits);

    /// Called by a pool on `thread` when it has completed a chunk.
    void finishChunk(int thread);

private:
    static constexpr int kCheckpointStride = 200;

    /// Work done by one thread, on a cache line of its own.
    struct alignas(64) Slot {
        std::atomic<double> done{0}; // chunks completed + fraction of the current one
        double completed = 0;
    };

    bool reportOrCancel(int thread, const IndexRange& slice, int done);
    void forward();

    Progress* progress_ = nullptr;
    std::thread::id caller_;
    std::unique_ptr<Slot[]> slots_; // only while a progress is attached
    int numThreads_ = 0;
    int numUnits_ = 0;
};

/// An algorithm that works on one slice per thread.
class QVGEOM_API ThreadedAlg : public ThreadedAlgBase {
public:
    ~ThreadedAlg() override = default;

    /// Called on the calling thread before the work; sizes per-thread results.
    virtual void initialize(int numThreads);

    /// Does the work of `thread`; called once for each of 0..numThreads-1, at once.
    /// Sets its own result slot first, since its slice may be empty.
    virtual void threadFunc(int thread, int numThreads) = 0;

    /// Called on the calling thread after the work; combines per-thread results.
    virtual void finalize();
};

/// An algorithm that works on more chunks than there are threads, for items of
/// uneven cost. Which thread runs which chunk changes from run to run, so that
/// results are kept by chunk, or their order is restored in `finalize`.
class QVGEOM_API ThreadedChunkAlg : public ThreadedAlgBase {
public:
    explicit ThreadedChunkAlg(int chunks) : chunks_(chunks) {}

    ~ThreadedChunkAlg() override = default;

    /// Called on the calling thread before the work; sizes per-thread results.
    virtual void initialize(int numThreads);

    /// Does the work of `chunk`, one of 0..chunks-1, on `thread`.
    virtual void threadFunc(int chunk, int thread, int chunks) = 0;

    /// Called on the calling thread after the work; combines per-thread results.
    virtual void finalize();

    int getNumChunks() const { return chunks_; }

private:
    int chunks_;
};

} // namespace qvUtil

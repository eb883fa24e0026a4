/// \file
/// The threads that run the library's algorithms.
#pragma once

#include <atomic>

#include "qvGeom/Export.h"

namespace qvUtil {

class ThreadedAlg;
class ThreadedChunkAlg;

/// A fixed number of threads, of which the calling thread is the first. The others
/// are started by the first run and sleep between runs; where there are processors
/// enough, their affinity keeps them off the one that the caller runs on.
///
/// `run` calls `initialize` on the calling thread, the work function on all threads
/// at once, and `finalize` on the calling thread; it returns when everything has
/// finished. Runs of several callers follow one another, except on a pool of one
/// thread, where each caller works for itself. A run made from inside another run
/// executes on the thread that makes it, one thread index after the other, and
/// gives the same result. An exception of a work function is rethrown to the caller
/// after all threads have finished, that of the lowest thread index if there are
/// several; where one thread does all the work, it ends the run at once. `finalize`
/// is then not called. Workers block all signals, and a forked child makes its own.
class QVGEOM_API ThreadPool {
public:
    /// The pool that algorithms run on, with one thread per processor unless the
    /// host has set another.
    static ThreadPool& get();

    /// A pool of the calling thread alone, for jobs too small to hand over.
    static ThreadPool& getSingleThreadedPool();

    /// The one or the other for `items` small items, of which 9999 are not worth a hand-over.
    static ThreadPool& getFor(int items);

    /// Makes `get` return a borrowed pool of the host, or with null the library's
    /// own again. Returns the pool that stood before. No run may be under way.
    static ThreadPool* setShared(ThreadPool* pool);

    /// Counts below 1 give one thread.
    explicit ThreadPool(int threads);
    ThreadPool(const ThreadPool&) = delete;
    ThreadPool& operator=(const ThreadPool&) = delete;
    virtual ~ThreadPool();

    virtual void run(ThreadedAlg& algorithm);
    virtual void run(ThreadedChunkAlg& algorithm);

    int getNumThreads() const { return numThreads_; }

private:
    class Crew;
    class Turn;
    struct LibraryPool;

    static ThreadPool& libraryPool();
    template <class Alg, class Work>
    void execute(Alg& algorithm, int units, const Work& work);
    Crew& crew();

    int numThreads_;
    std::atomic<Crew*> crew_{nullptr};
};

} // namespace qvUtil

#include "qvGeom/foundation/base/ThreadPool.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <sched.h>
#include <system_error>
#include <thread>
#include <vector>

#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace qvUtil {
namespace {

/// Whether this thread is working for a run: always so on a worker.
thread_local bool insideRun = false;

/// A forked child has none of its parent's workers, and notices by this count.
std::atomic<int> numForks{0};

void countForks() {
    static const int registered = pthread_atfork(nullptr, nullptr, [] { ++numForks; });
    static_cast<void>(registered);
}

void pauseProcessor() {
#if defined(__x86_64__)
    __builtin_ia32_pause();
#endif
}

/// Threads that wait for one another watch for a short while before they sleep:
/// the phases of an algorithm follow each other closely, and waking takes longer
/// than many of them.
template <class T>
void awaitChange(const std::atomic<T>& value, T old, bool watch) {
    constexpr auto kWatchTime = std::chrono::microseconds(20);
    constexpr int kLooksPerTimeCheck = 32;

    if (watch) {
        const auto start = std::chrono::steady_clock::now();
        do {
            for (int look = 0; look < kLooksPerTimeCheck; ++look) {
                if (value.load(std::memory_order_acquire) != old)
                    return;
                pauseProcessor();
            }
        } while (std::chrono::steady_clock::now() - start < kWatchTime);
    }
    value.wait(old, std::memory_order_acquire);
}

/// Keeps signals of the process away from threads started while it lives: their
/// handlers are meant for the host's threads.
class BlockedSignals {
public:
    BlockedSignals() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }

    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;

    ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_;
};

} // namespace

/// The workers of one pool, and the hand-over of work to them. Thread index t is
/// always worker t-1, and index 0 the caller.
class ThreadPool::Crew {
public:
    using Work = void (*)(const void* context, int thread);

    explicit Crew(int numThreads)
        : numThreads_(numThreads),
          watches_(numThreads <= static_cast<int>(std::thread::hardware_concurrency())),
          numForksSeen_(numForks),
          failures_(numThreads) {
        workers_.reserve(numThreads - 1);
        countForks();
    }

    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    ~Crew() { stop(); }

    /// Whether the workers were lost to a fork.
    bool isLost() const { return numForksSeen_ != numForks; }

    std::mutex& turns() { return turns_; }

    /// Runs `work` for every thread index. The caller holds the turn.
    void run(Work work, const void* context) {
        startWorkers();
        placeWorkers();
        work_ = work;
        context_ = context;
        numBusy_.store(static_cast<int>(workers_.size()), std::memory_order_relaxed);
        round_.fetch_add(1, std::memory_order_release);
        round_.notify_all();

        perform(0);
        for (int thread = static_cast<int>(workers_.size()) + 1; thread < numThreads_; ++thread)
            perform(thread); // the system had no thread to give for it
        while (const int busy = numBusy_.load(std::memory_order_acquire))
            awaitChange(numBusy_, busy, watches_);
        rethrowFirstFailure();
    }

    /// Ends the workers; later runs do all the work on the caller.
    void stop() {
        const std::scoped_lock turn(turns_);
        stopped_ = true;
        round_.fetch_add(1, std::memory_order_release);
        round_.notify_all();
        for (std::thread& worker : workers_)
            worker.join();
        workers_.clear();
    }

private:
    void startWorkers() {
        if (stopped_ || static_cast<int>(workers_.size()) == numThreads_ - 1)
            return;
        avoidedProcessor_ = -1; // new workers are still to be placed
        const BlockedSignals blocked;
        const unsigned round = round_.load(std::memory_order_relaxed);
        try {
            for (int thread = static_cast<int>(workers_.size()) + 1; thread < numThreads_; ++thread)
                workers_.emplace_back([this, thread, round] { serve(thread, round); });
        } catch (const std::system_error&) {
            // Out of threads: run with those there are.
        }
    }

    /// Keeps the workers off the processor that the caller occupies. A scheduler may
    /// wake a worker where its waker runs, and then lets the two share that processor
    /// for milliseconds, which is longer than most runs.
    void placeWorkers() {
        const int processor = sched_getcpu();
        if (processor < 0 || processor == avoidedProcessor_)
            return;
        avoidedProcessor_ = processor;

        cpu_set_t allowed;
        if (pthread_getaffinity_np(pthread_self(), sizeof allowed, &allowed) != 0 ||
            CPU_COUNT(&allowed) < numThreads_)
            return;
        CPU_CLR(processor, &allowed);
        for (std::thread& worker : workers_)
            pthread_setaffinity_np(worker.native_handle(), sizeof allowed, &allowed);
    }

    void serve(int thread, unsigned round) {
        insideRun = true;
        for (;; ++round) {
            while (round_.load(std::memory_order_acquire) == round)
                awaitChange(round_, round, watches_);
            if (stopped_)
                return;
            perform(thread);
            if (numBusy_.fetch_sub(1, std::memory_order_acq_rel) == 1)
                numBusy_.notify_one();
        }
    }

    void perform(int thread) {
        try {
            work_(context_, thread);
        } catch (...) {
            failures_[thread] = std::current_exception();
        }
    }

    void rethrowFirstFailure() {
        const auto isSet = [](const std::exception_ptr& failure) { return failure != nullptr; };
        const auto first = std::find_if(failures_.begin(), failures_.end(), isSet);
        if (first == failures_.end())
            return;
        const std::exception_ptr failure = *first;
        std::fill(failures_.begin(), failures_.end(), nullptr);
        std::rethrow_exception(failure);
    }

    const int numThreads_;
    const bool watches_; // a thread that watches needs a processor of its own
    const int numForksSeen_;

    std::mutex turns_; // held by the caller whose run it is
    std::vector<std::thread> workers_;
    std::vector<std::exception_ptr> failures_; // by thread index
    int avoidedProcessor_ = -1;

    // Written before a round begins, read by the workers after.
    Work work_ = nullptr;
    const void* context_ = nullptr;
    bool stopped_ = false;

    alignas(64) std::atomic<unsigned> round_{0};
    alignas(64) std::atomic<int> numBusy_{0}; // workers not yet done with this round
};

/// One caller's use of a pool, from `initialize` to `finalize`.
class ThreadPool::Turn {
public:
    explicit Turn(ThreadPool& pool) : numThreads_(pool.numThreads_) {
        if (numThreads_ == 1 || insideRun)
            return;
        crew_ = &pool.crew();
        lock_ = std::unique_lock(crew_->turns());
        insideRun = true;
    }

    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    ~Turn() {
        if (crew_)
            insideRun = false;
    }

    template <class Work>
    void onAllThreads(const Work& work) const {
        if (crew_) {
            crew_->run([](const void* context,
                          int thread) { (*static_cast<const Work*>(context))(thread); },
                       &work);
            return;
        }
        for (int thread = 0; thread < numThreads_; ++thread)
            work(thread);
    }

private:
    int numThreads_;
    Crew* crew_ = nullptr; // null: all work is done by the caller
    std::unique_lock<std::mutex> lock_;
};

/// The library's own pool. The pool object stays for good, since destructors of
/// static objects may still run algorithms; its threads end with the library.
struct ThreadPool::LibraryPool {
    LibraryPool() : pool(*new ThreadPool(static_cast<int>(std::thread::hardware_concurrency()))) {}

    LibraryPool(const LibraryPool&) = delete;
    LibraryPool& operator=(const LibraryPool&) = delete;

    ~LibraryPool() {
        Crew* const crew = pool.crew_.load();
        const bool exitsInsideRun = insideRun; // its own end cannot be waited for
        if (crew && !crew->isLost() && !exitsInsideRun)
            crew->stop();
    }

    ThreadPool& pool;
};

namespace {

std::atomic<ThreadPool*> hostPool{nullptr};

} // namespace

ThreadPool& ThreadPool::libraryPool() {
    static const LibraryPool instance;
    return instance.pool;
}

ThreadPool& ThreadPool::get() {
    ThreadPool* const host = hostPool.load(std::memory_order_acquire);
    return host ? *host : libraryPool();
}

ThreadPool& ThreadPool::getSingleThreadedPool() {
    static ThreadPool* const pool = new ThreadPool(1); // never destroyed, like the shared one
    return *pool;
}

ThreadPool& ThreadPool::getFor(int items) {
    constexpr int kFewItems = 9999;
    return items > kFewItems ? get() : getSingleThreadedPool();
}

ThreadPool* ThreadPool::setShared(ThreadPool* pool) {
    ThreadPool* const previous = &get();
    hostPool.store(pool, std::memory_order_release);
    return previous;
}

ThreadPool::ThreadPool(int threads) : numThreads_(std::max(threads, 1)) {}

ThreadPool::~ThreadPool() {
    Crew* const crew = crew_.load();
    if (crew && !crew->isLost())
        delete crew;
}

void ThreadPool::run(ThreadedAlg& algorithm) {
    execute(algorithm, numThreads_, [&](int thread) { algorithm.threadFunc(thread, numThreads_); });
}

void ThreadPool::run(ThreadedChunkAlg& algorithm) {
    const int chunks = algorithm.getNumChunks();
    std::atomic<int> nextChunk{0};
    execute(algorithm, chunks, [&](int thread) {
        for (;;) {
            const int chunk = nextChunk.fetch_add(1, std::memory_order_relaxed);
            if (chunk >= chunks)
                return;
            algorithm.threadFunc(chunk, thread, chunks);
            algorithm.finishChunk(thread);
        }
    });
}

template <class Alg, class Work>
void ThreadPool::execute(Alg& algorithm, int units, const Work& work) {
    const Turn turn(*this);
    algorithm.beginRun(numThreads_, units);
    algorithm.initialize(numThreads_);
    turn.onAllThreads(work);
    algorithm.finalize();
}

/// The present crew; a new one at the first run, and at the first after a fork.
/// A lost crew is left allocated: its locks and threads are in an unknown state.
ThreadPool::Crew& ThreadPool::crew() {
    Crew* current = crew_.load(std::memory_order_acquire);
    while (!current || current->isLost()) {
        auto fresh = std::make_unique<Crew>(numThreads_);
        if (crew_.compare_exchange_strong(current, fresh.get(), std::memory_order_acq_rel))
            return *fresh.release();
    }
    return *current;
}

} // namespace qvUtil

#include "qvGeom/foundation/base/ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <numeric>
#include <set>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "qvGeom/foundation/base/ThreadedAlg.h"

#include "support/CancelAfter.h"
#include "support/ScopedThreadCount.h"

using qvUtil::ThreadPool;

namespace {

/// Runs `work` on every thread index, and notes what the frame calls and where.
struct RecordingAlg : qvUtil::ThreadedAlg {
    std::function<void(int)> work;
    std::vector<std::thread::id> runners;
    bool finalized = false;

    explicit RecordingAlg(std::function<void(int)> its = [](int) {}) : work(std::move(its)) {}

    void initialize(int numThreads) override { runners.resize(numThreads); }

    void threadFunc(int thread, int) override {
        runners[thread] = std::this_thread::get_id();
        work(thread);
    }

    void finalize() override { finalized = true; }
};

struct CountingChunkAlg : qvUtil::ThreadedChunkAlg {
    std::vector<int> visits;

    explicit CountingChunkAlg(int chunks) : ThreadedChunkAlg(chunks), visits(chunks) {}

    void threadFunc(int chunk, int thread, int chunks) override {
        EXPECT_EQ(chunks, getNumChunks());
        ++visits[chunk];
        updateProgress(thread, 1.0);
    }
};

} // namespace

TEST(ThreadPool, runsEveryIndexOnAThreadOfItsOwn) {
    for (const int threads : {-1, 1, 2, 3, 8}) {
        ThreadPool pool(threads);
        EXPECT_EQ(pool.getNumThreads(), std::max(threads, 1));
        for (int repeat = 0; repeat < 50; ++repeat) {
            // Nobody leaves before all have come, which one thread for two could not do.
            std::atomic<int> arrived{0};
            RecordingAlg alg([&](int) {
                ++arrived;
                while (arrived < pool.getNumThreads())
                    std::this_thread::yield();
            });
            pool.run(alg);
            EXPECT_TRUE(alg.finalized);
            EXPECT_EQ(alg.runners[0], std::this_thread::get_id());
            const std::set<std::thread::id> distinct(alg.runners.begin(), alg.runners.end());
            EXPECT_EQ(distinct.size(), alg.runners.size());
        }
    }
}

TEST(ThreadPool, runsEveryChunkOnce) {
    for (const int threads : {1, 2, 3, 8}) {
        ThreadPool pool(threads);
        for (const int chunks : {0, 1, 2, 7, 1000}) {
            test::CancelAfter never(-1);
            CountingChunkAlg alg(chunks);
            alg.setProgress(&never.progress());
            pool.run(alg);
            EXPECT_EQ(alg.visits, std::vector<int>(chunks, 1));
            if (threads == 1 && chunks > 0) {
                EXPECT_EQ(never.fractions().front(), 1.0 / chunks);
                EXPECT_EQ(never.fractions().back(), 1.0);
            }
        }
    }
}

TEST(ThreadPool, runsNestedAlgorithmsInline) {
    ThreadPool pool(2), otherPool(3);
    std::atomic<int> innerCalls{0};
    RecordingAlg outer([&](int) {
        for (ThreadPool* const inner : {&pool, &otherPool}) {
            RecordingAlg alg([&](int) { ++innerCalls; });
            inner->run(alg);
            for (const std::thread::id runner : alg.runners)
                EXPECT_EQ(runner, std::this_thread::get_id());
        }
    });
    pool.run(outer);
    EXPECT_EQ(innerCalls, 2 * (2 + 3));
}

TEST(ThreadPool, rethrowsTheFirstExceptionAfterAllHaveFinished) {
    for (const int threads : {1, 2, 8}) {
        ThreadPool pool(threads);
        std::atomic<int> finished{0};
        RecordingAlg alg([&](int thread) {
            ++finished;
            if (thread == std::max(threads - 2, 0))
                throw std::bad_alloc();
            if (thread == threads - 1)
                throw 1;
        });
        EXPECT_THROW(pool.run(alg), std::bad_alloc);
        EXPECT_EQ(finished, threads);
        EXPECT_FALSE(alg.finalized);

        RecordingAlg next;
        pool.run(next); // nothing is left over from the failed run
        EXPECT_TRUE(next.finalized);
    }
}

TEST(ThreadPool, serialisesItsCallers) {
    ThreadPool pool(2);
    std::atomic<int> running{0};
    const auto call = [&] {
        for (int repeat = 0; repeat < 200; ++repeat) {
            RecordingAlg alg([&](int thread) {
                if (thread != 0)
                    return;
                EXPECT_EQ(++running, 1);
                --running;
            });
            pool.run(alg);
        }
    };
    std::thread other(call);
    call();
    other.join();
}

TEST(ThreadPool, worksInAForkedChild) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer allows no threads after a fork";
#endif
    RecordingAlg before;
    const test::ScopedThreadCount scoped(2);
    ThreadPool::get().run(before);
    const pid_t child = fork();
    if (child == 0) {
        RecordingAlg alg;
        ThreadPool::get().run(alg);
        _exit(alg.finalized ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(Checkpoint, reportsEvery200thItemAndLeavesTheLoopOnceCancelled) {
    const int numItems = 4000;
    for (const int threads : {1, 3}) {
        std::vector<int> done(threads);
        RecordingAlg alg([&](int thread) {
            done[thread] = 0;
            const qvUtil::IndexRange slice = qvUtil::sliceOf(numItems, thread, threads);
            for (auto i = slice.begin(); i != slice.end() && alg.checkpoint(thread, slice, *i); ++i)
                ++done[thread];
        });
        ThreadPool pool(threads);
        pool.run(alg); // without a progress it just runs
        EXPECT_EQ(std::accumulate(done.begin(), done.end(), 0), numItems);
        for (const int reports : {0, 1, 5}) {
            test::CancelAfter cancel(reports);
            alg.setProgress(&cancel.progress());
            pool.run(alg);
            EXPECT_EQ(done[0], 200 * reports);
            ASSERT_EQ(cancel.fractions().size(), static_cast<std::size_t>(reports));
            // Thread 0 alone reports, the mean of all, and its share comes first.
            for (int i = 0; i < reports; ++i) {
                const double own = i * 200.0 / (numItems / threads + 1) / threads;
                EXPECT_GE(cancel.fractions()[i], own);
                EXPECT_LE(cancel.fractions()[i], threads == 1 ? own + 1e-3 : 1);
                EXPECT_TRUE(i == 0 || cancel.fractions()[i] >= cancel.fractions()[i - 1]);
            }
        }
    }
}

#include "qvGeom/foundation/base/ThreadPool.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <numeric>
#include <set>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "qvGeom/foundation/base/ThreadedAlg.h"

#include "support/CancelAfter.h"
#include "support/ScopedThreadCount.h"

using qvUtil::ThreadPool;

namespace {

/// Runs `work` on every thread index, and notes what the frame calls and where.
class RecordingAlg : public qvUtil::ThreadedAlg {
public:
    explicit RecordingAlg(std::function<void(int)> work) : work_(std::move(work)) {}

    void initialize(int numThreads) override { runners.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        EXPECT_EQ(numThreads, static_cast<int>(runners.size()));
        runners[thread] = std::this_thread::get_id();
        work_(thread);
    }

    void finalize() override { finalized = true; }

    std::vector<std::thread::id> runners;
    bool finalized = false;

private:
    std::function<void(int)> work_;
};

class CountingChunkAlg : public qvUtil::ThreadedChunkAlg {
public:
    explicit CountingChunkAlg(int chunks) : ThreadedChunkAlg(chunks), visits(chunks) {}

    void initialize(int numThreads) override { numThreads_ = numThreads; }

    void threadFunc(int chunk, int thread, int chunks) override {
        EXPECT_EQ(chunks, getNumChunks());
        EXPECT_LT(thread, numThreads_);
        ++visits[chunk];
        updateProgress(thread, 1.0);
    }

    std::vector<int> visits;

private:
    int numThreads_ = 0;
};

} // namespace

TEST(SliceOf, givesTheFirstPartsOneItemMore) {
    for (const int n : {0, 1, 2, 7, 8, 1000, 2147483647}) {
        for (const int parts : {1, 2, 3, 8, 64}) {
            SCOPED_TRACE(testing::Message() << n << " items in " << parts << " parts");
            int next = 0;
            for (int part = 0; part < parts; ++part) {
                const qvUtil::IndexRange slice = qvUtil::sliceOf(n, part, parts);
                EXPECT_EQ(slice.first, next);
                EXPECT_EQ(slice.size(), n / parts + (part < n % parts ? 1 : 0));
                next = slice.last;
            }
            EXPECT_EQ(next, n);
        }
    }
}

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
            EXPECT_TRUE(std::is_sorted(never.fractions().begin(), never.fractions().end()));
            EXPECT_TRUE(never.fractions().empty() || never.fractions().back() <= 1.0);
        }
    }
}

TEST(ThreadPool, runsNestedAlgorithmsInline) {
    ThreadPool pool(2);
    ThreadPool otherPool(3);
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
            if (thread == threads - 1)
                throw std::bad_alloc();
            if (thread == threads - 2)
                throw std::string("first");
        });
        if (threads == 1)
            EXPECT_THROW(pool.run(alg), std::bad_alloc);
        else
            EXPECT_THROW(pool.run(alg), std::string);
        EXPECT_EQ(finished, threads);
        EXPECT_FALSE(alg.finalized);

        RecordingAlg next([](int) {});
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
    std::thread first(call);
    std::thread second(call);
    first.join();
    second.join();
}

TEST(ThreadPool, worksInAForkedChild) {
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the thread sanitizer allows no threads after a fork";
#endif
    RecordingAlg before([](int) {});
    const test::ScopedThreadCount scoped(2);
    ThreadPool::get().run(before);
    const pid_t child = fork();
    if (child == 0) {
        RecordingAlg alg([](int) {});
        ThreadPool::get().run(alg);
        _exit(alg.finalized ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(ThreadPool, canBeReplacedByTheHost) {
    ThreadPool& ours = ThreadPool::get();
    ThreadPool host(5);
    EXPECT_EQ(ThreadPool::setShared(&host), &ours);
    EXPECT_EQ(&ThreadPool::get(), &host);
    EXPECT_EQ(ThreadPool::setShared(nullptr), &host);
    EXPECT_EQ(&ThreadPool::get(), &ours);
    EXPECT_EQ(ThreadPool::getSingleThreadedPool().getNumThreads(), 1);
}

namespace {

class LongLoopAlg : public qvUtil::ThreadedAlg {
public:
    void initialize(int numThreads) override { done.assign(numThreads, 0); }

    void threadFunc(int thread, int numThreads) override {
        const qvUtil::IndexRange slice = qvUtil::sliceOf(kNumItems, thread, numThreads);
        for (const int i : slice) {
            if (!checkpoint(thread, slice, i))
                break;
            ++done[thread];
        }
    }

    static constexpr int kNumItems = 4000;
    std::vector<int> done;
};

} // namespace

TEST(Checkpoint, reportsEvery200thItemOfTheSlice) {
    test::CancelAfter never(-1);
    LongLoopAlg alg;
    ThreadPool::getSingleThreadedPool().run(alg); // without a progress it just runs
    EXPECT_EQ(alg.done[0], LongLoopAlg::kNumItems);

    alg.setProgress(&never.progress());
    ThreadPool::getSingleThreadedPool().run(alg);
    ASSERT_EQ(never.fractions().size(), 20U);
    for (int i = 0; i < 20; ++i)
        EXPECT_DOUBLE_EQ(never.fractions()[i], i / 20.0);
}

TEST(Checkpoint, leavesTheLoopAtTheNextStrideAfterCancelling) {
    for (const int reports : {0, 1, 5}) {
        test::CancelAfter cancel(reports);
        LongLoopAlg alg;
        alg.setProgress(&cancel.progress());
        ThreadPool::getSingleThreadedPool().run(alg);
        EXPECT_EQ(alg.done[0], 200 * reports);
    }
    ThreadPool pool(3);
    test::CancelAfter cancel(2);
    LongLoopAlg alg;
    alg.setProgress(&cancel.progress());
    pool.run(alg);
    EXPECT_EQ(alg.done[0], 400);
    for (const int done : alg.done)
        EXPECT_TRUE(done % 200 == 0 || done >= LongLoopAlg::kNumItems / 3) << done;
}

TEST(UpdateProgress, setsTheMeanOnTheCallingThreadOnly) {
    ThreadPool pool(4);
    test::CancelAfter never(-1);
    const auto caller = std::this_thread::get_id();
    qvUtil::Progress parent;

    struct Heard {
        std::thread::id thread;
        bool elsewhere = false;
    } heard{caller};

    parent.setCallback(
        [](void* user, double, const char*) {
            auto* const h = static_cast<Heard*>(user);
            h->elsewhere |= std::this_thread::get_id() != h->thread;
        },
        &heard);
    parent.subPhase(1.0, never.progress());
    RecordingAlg alg([&](int thread) {
        for (const double fraction : {0.25, 0.5, 2.0})
            alg.updateProgress(thread, fraction);
    });
    alg.setProgress(&never.progress());
    pool.run(alg);
    EXPECT_FALSE(heard.elsewhere);
    EXPECT_EQ(never.fractions().size(), 3U);
    EXPECT_TRUE(std::is_sorted(never.fractions().begin(), never.fractions().end()));
    EXPECT_GE(never.fractions().back(), 0.25);
    EXPECT_LE(never.fractions().back(), 1.0);
}

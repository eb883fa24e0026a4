#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdint>
#include <numeric>
#include <random>
#include <thread>
#include <vector>

#include "qvGeom/foundation/base/SMPSort.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace {

using qvUtil::Ordering;

/// How the keys are drawn: all different, or many alike.
enum Keys { Distinct, FewValues };

template <class Key>
std::vector<Key> makeKeys(int n, int kind) {
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> distribution;
    std::vector<Key> keys(n);
    for (Key& key : keys) {
        const double drawn = distribution(random);
        key = static_cast<Key>(kind == Distinct ? drawn : static_cast<int>(500 * drawn));
    }
    return keys;
}

/// Sorts the identity by keys of type `Key`, again and again.
template <class Key, class Sort>
void sortIndices(benchmark::State& state, const Sort& sort) {
    const auto n = static_cast<int>(state.range(0));
    std::vector<Key> keys = makeKeys<Key>(n, static_cast<int>(state.range(1)));
    std::vector<int> indices(n);
    for (auto _ : state) {
        state.PauseTiming();
        std::iota(indices.begin(), indices.end(), 0);
        state.ResumeTiming();
        sort(indices, keys.data());
        benchmark::ClobberMemory();
    }

    // Sums the keys, not the indices: equal keys may stand in any order.
    double checksum = 0;
    for (int rank = 0; rank < n; ++rank)
        checksum += static_cast<double>(keys[indices[rank]]) * (rank % 1021);
    state.counters["checksum"] = checksum;
    state.SetItemsProcessed(state.iterations() * n);
}

void stdSort(benchmark::State& state) {
    sortIndices<double>(state, [](std::vector<int>& indices, double* keys) {
        std::sort(indices.begin(), indices.end(),
                  [keys](int a, int b) { return keys[a] < keys[b]; });
    });
}

void smpSortByComparing(benchmark::State& state) {
    sortIndices<double>(state, [](std::vector<int>& indices, double* keys) {
        qvUtil::SMPSort(indices.data(), indices.data() + indices.size(),
                        [keys](int a, int b) { return keys[a] < keys[b]; });
    });
}

template <class Key>
void smpSortByKey(benchmark::State& state) {
    sortIndices<Key>(state, [](std::vector<int>& indices, Key* keys) {
        qvUtil::SMPSort(indices.data(), indices.data() + indices.size(),
                        Ordering::IndexedLessThan<Key*>(keys));
    });
}

void sizesAndKeys(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"n", "fewValues"})->Unit(benchmark::kMillisecond)->UseRealTime();
    for (const int n : {1000, 100000, 1000000, 4000000}) {
        for (const int kind : {Distinct, FewValues})
            benchmark->Args({n, kind});
    }
}

BENCHMARK(stdSort)->Apply(sizesAndKeys);
BENCHMARK(smpSortByComparing)->Apply(sizesAndKeys);
BENCHMARK(smpSortByKey<double>)->Apply(sizesAndKeys);
BENCHMARK(smpSortByKey<float>)->Apply(sizesAndKeys);

/// Touches one slot per thread.
class EmptyAlg : public qvUtil::ThreadedAlg {
public:
    void initialize(int numThreads) override { calls_.resize(numThreads); }

    void threadFunc(int thread, int /*numThreads*/) override { ++calls_[thread]; }

    std::int64_t numCalls() const {
        return std::accumulate(calls_.begin(), calls_.end(), std::int64_t{0});
    }

private:
    std::vector<std::int64_t> calls_;
};

/// The time from the call of `run` to its return when there is nothing to do, with a
/// pause of so many microseconds between runs, in which the workers fall asleep.
void handOver(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const std::chrono::microseconds pause(state.range(1));
    qvUtil::ThreadPool pool(static_cast<int>(state.range(0)));
    EmptyAlg algorithm;
    for (auto _ : state) {
        const auto resumed = Clock::now() + pause;
        while (Clock::now() < resumed) {
        }
        const auto start = Clock::now();
        pool.run(algorithm);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.counters["callsPerRun"] =
        static_cast<double>(algorithm.numCalls()) / static_cast<double>(state.iterations());
}

BENCHMARK(handOver)
    ->ArgNames({"threads", "pauseMicroseconds"})
    ->ArgsProduct({{1, 2, 4}, {0, 1000}})
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(1000)
    ->UseManualTime();

} // namespace

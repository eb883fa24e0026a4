/// \file
/// What the benchmarks share: clocks, medians, checksums and the memory that a job takes.
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <bit>
#include <chrono>
#include <cstdint>
#include <fstream>
#include <malloc.h>
#include <string>
#include <vector>

namespace bench {

/// A sum that changes with every value given and with their order.
class Checksum {
public:
    void add(int value) { sum_ = sum_ * 31 + static_cast<std::uint64_t>(value); }

    void add(float value) { sum_ = sum_ * 31 + std::bit_cast<std::uint32_t>(value); }

    template <class T>
    void add(const T* values, int count) {
        std::for_each(values, values + count, [this](T value) { add(value); });
    }

    /// 32 bits of it: a counter is a double.
    double value() const { return static_cast<double>((sum_ ^ sum_ >> 32) & 0xffffffff); }

private:
    std::uint64_t sum_ = 1; // so that zeros count
};

/// Seconds of wall time that `work` takes.
template <class Work>
double secondsOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The middle one of the samples; of an even number, the lower of the two.
inline double medianOf(std::vector<double> samples) {
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>((samples.size() - 1) / 2);
    std::nth_element(samples.begin(), middle, samples.end());
    return *middle;
}

/// Runs our job and that of a peer in turns, so that both meet the same weather. Each returns the
/// seconds it wants counted. The time of the case is ours; "ratio" is the median of ours over the
/// median of theirs.
template <class Ours, class Theirs>
void runInTurns(benchmark::State& state, const Ours& ours, const Theirs& theirs) {
    std::vector<double> ourSeconds;
    std::vector<double> theirSeconds;
    for (auto _ : state) {
        ourSeconds.push_back(ours());
        theirSeconds.push_back(theirs());
        state.SetIterationTime(ourSeconds.back());
    }
    const double our = medianOf(ourSeconds);
    const double their = medianOf(theirSeconds);
    state.counters["ours_ms"] = 1e3 * our;
    state.counters["theirs_ms"] = 1e3 * their;
    state.counters["ratio"] = our / their;
}

/// Has a case run so many rounds of what sets its own time.
template <int Rounds>
void rounds(benchmark::internal::Benchmark* benchmark) {
    benchmark->Iterations(Rounds)->UseManualTime()->Unit(benchmark::kMillisecond);
}

/// Bytes by which the peak of resident memory during `work` exceeds what was resident before it,
/// or -1 where the system does not tell.
template <class Work>
double peakGrowthOf(const Work& work) {
    const auto kilobytes = [](const std::string& field) {
        std::ifstream status("/proc/self/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(field))
                return std::stod(line.substr(field.size()));
        }
        return -1.0;
    };
    malloc_trim(0); // memory kept by the allocator would hide what the job takes
    std::ofstream reset("/proc/self/clear_refs");
    reset << 5 << std::flush; // sets the peak to what is resident now
    const double before = kilobytes("VmRSS:");
    work();
    const double peak = kilobytes("VmHWM:");
    return reset && before >= 0 && peak >= 0 ? 1024 * (peak - before) : -1;
}

} // namespace bench

#include "qvGeom/foundation/geometry/ArrayOfSets.h"

#include <algorithm>
#include <vector>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"

namespace qvGeom {
namespace {

/// Counting sort of (set, member) pairs into `result`. `forEachPair` calls its argument with every
/// pair in order, and is itself called twice: to count, and to fill.
template <class ForEachPair>
void collect(ArrayOfSets& result, const ForEachPair& forEachPair) {
    const int numSets = result.numSets();
    int* const next = result.offsets();
    int* const list = result.list();

    forEachPair([next](int set, int) { ++next[set]; });
    int total = 0;
    for (int s = 0; s < numSets; ++s) {
        const int count = next[s];
        next[s] = total;
        total += count;
    }
    forEachPair([next, list](int set, int member) { list[next[set]++] = member; });

    // Every cursor now stands where the following set starts.
    for (int s = numSets - 1; s > 0; --s)
        next[s] = next[s - 1];
    if (numSets > 0)
        next[0] = 0;
}

// Fewer members than this are inverted before other threads have woken up.
constexpr int kSharedFrom = 1 << 16;

/// The same counting sort for an inverse, on several threads: each counts, and then places, the
/// members of its own slice of the sets. Threads beyond kMaxSlices rest, as each slice has a cursor
/// for every set of the inverse.
class InvertAlg final : public qvUtil::ThreadedAlg {
public:
    InvertAlg(ArrayOfSets& result, const ArrayOfSets& source) : result_(result), source_(source) {}

    void initialize(int numThreads) override {
        if (next_.empty())
            next_.resize(std::min(numThreads, kMaxSlices));
    }

    void threadFunc(int thread, int /*numThreads*/) override {
        const int slices = static_cast<int>(next_.size());
        if (thread >= slices)
            return;
        const bool isCounting = next_[thread].size() == 0;
        if (isCounting)
            next_[thread].resize(result_.numSets());
        int* const next = next_[thread].data();
        int* const list = result_.list();
        for (const int s : qvUtil::sliceOf(source_.numSets(), thread, slices)) {
            for (const int* member = source_.begin(s); member != source_.end(s); ++member) {
                const int place = next[*member]++;
                if (!isCounting)
                    list[place] = s;
            }
        }
    }

    /// Turns counts into where each slice starts in each set, after the first of two runs.
    void turnCountsIntoPlaces() {
        int* const offsets = result_.offsets();
        int total = 0;
        for (int set = 0; set < result_.numSets(); ++set) {
            offsets[set] = total;
            for (Array<int>& next : next_) {
                const int count = next[set];
                next[set] = total;
                total += count;
            }
        }
    }

private:
    static constexpr int kMaxSlices = 8;

    ArrayOfSets& result_;
    const ArrayOfSets& source_;
    std::vector<Array<int>> next_; // by slice, for each set of the result
};

} // namespace

ArrayOfSets::ArrayOfSets(int sets, int members) : offsets_(sets), list_(members) {}

void ArrayOfSets::assignFromPairs(int sets, int pairs, const int* setsAndMembers) {
    ArrayOfSets built(sets, pairs);
    collect(built, [=](const auto& take) {
        const int* pair = setsAndMembers;
        for (int p = 0; p < pairs; ++p, pair += 2)
            take(pair[0], pair[1]);
    });
    swap(built);
}

void ArrayOfSets::assignInverse(int sets, const ArrayOfSets& other) {
    ArrayOfSets built(sets, other.numMembers());
    if (other.numMembers() < kSharedFrom) {
        collect(built, [&other](const auto& take) {
            for (int s = 0; s < other.numSets(); ++s) {
                for (const int* member = other.begin(s); member != other.end(s); ++member)
                    take(*member, s);
            }
        });
    } else {
        InvertAlg alg(built, other);
        qvUtil::ThreadPool& pool = qvUtil::ThreadPool::get();
        pool.run(alg);
        alg.turnCountsIntoPlaces();
        pool.run(alg);
    }
    swap(built);
}

void ArrayOfSets::swap(ArrayOfSets& other) noexcept {
    offsets_.swap(other.offsets_);
    list_.swap(other.list_);
}

} // namespace qvGeom

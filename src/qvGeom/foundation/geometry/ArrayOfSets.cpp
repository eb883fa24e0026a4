#include "qvGeom/foundation/geometry/ArrayOfSets.h"

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
    collect(built, [&other](const auto& take) {
        for (int s = 0; s < other.numSets(); ++s) {
            for (const int* member = other.begin(s); member != other.end(s); ++member)
                take(*member, s);
        }
    });
    swap(built);
}

void ArrayOfSets::swap(ArrayOfSets& other) noexcept {
    offsets_.swap(other.offsets_);
    list_.swap(other.list_);
}

} // namespace qvGeom

#include "qvGeom/editing/detail/GroupNumbering.h"

#include <numeric>
#include <utility>

namespace qvGeom::detail {
namespace {

constexpr int kDigitBits = 11;
constexpr int kNumDigits = 6;
constexpr std::size_t kNumBuckets = std::size_t{1} << kDigitBits;

std::size_t digitOf(const GroupEntry& entry, int digit) {
    return entry.xy >> (digit * kDigitBits) & (kNumBuckets - 1);
}

} // namespace

void sortByXY(GroupEntry* entries, GroupEntry* scratch, int count) {
    if (count == 0)
        return;
    // Radix sort from the lowest digit up; all digits are counted in one go.
    std::vector<int> counts(kNumDigits * kNumBuckets);
    for (int i = 0; i < count; ++i) {
        for (int d = 0; d < kNumDigits; ++d)
            ++counts[d * kNumBuckets + digitOf(entries[i], d)];
    }

    GroupEntry* from = entries;
    GroupEntry* to = scratch;
    for (int d = 0; d < kNumDigits; ++d) {
        int* const next = &counts[d * kNumBuckets];
        if (next[digitOf(from[0], d)] == count)
            continue; // every entry has this digit
        std::exclusive_scan(next, next + kNumBuckets, next, 0);
        for (int i = 0; i < count; ++i)
            to[next[digitOf(from[i], d)]++] = from[i];
        std::swap(from, to);
    }
    if (from != entries)
        std::copy_n(from, count, entries);
}

} // namespace qvGeom::detail

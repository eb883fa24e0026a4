#include "qvGeom/foundation/base/SMPSort.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <set>

#include "support/ScopedThreadCount.h"

using qvUtil::Ordering;

namespace {

std::vector<int> shuffled(int n) {
    std::vector<int> indices(n);
    std::iota(indices.begin(), indices.end(), 0);
    std::shuffle(indices.begin(), indices.end(), std::mt19937(n));
    return indices;
}

template <class Compare>
std::vector<int> sorted(std::vector<int> indices, Compare compare) {
    qvUtil::SMPSort(indices.data(), indices.data() + indices.size(), compare);
    return indices;
}

/// Checks both ways of sorting, by key and by comparing, against the standard library. Half of
/// the keys lie before the one of index 0.
template <class Key>
void checkSorts(std::vector<Key> keys) {
    const auto n = static_cast<int>(keys.size());
    const Ordering::IndexedLessThan<Key*> byKey(keys.data() + n / 2);
    const auto byComparing = [byKey](int a, int b) { return byKey(a, b); };
    std::vector<int> indices = shuffled(n);
    for (int& index : indices)
        index -= n / 2;
    std::vector<int> expected = indices;
    std::stable_sort(expected.begin(), expected.end(), byComparing);
    EXPECT_TRUE(sorted(indices, byKey) == expected) << n << " of " << sizeof(Key);
    EXPECT_TRUE(sorted(indices, byComparing) == expected) << n << " of " << sizeof(Key);
}

template <class Draw>
std::vector<double> keys(int n, Draw draw) {
    std::mt19937_64 random(n);
    std::vector<double> values(n);
    std::generate(values.begin(), values.end(), [&] { return draw(random); });
    return values;
}

double uniform(std::mt19937_64& random) {
    return std::uniform_real_distribution<double>(-1, 1)(random);
}

/// Distributions that strain a sort by the bits of keys: ties, all equal, wide and
/// narrow exponents, keys that differ in their last bits only, signs and specials.
std::vector<std::vector<double>> hardKeys(int n) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double specials[] = {0.0,          -0.0,          infinity, -infinity,
                               std::nan(""), -std::nan(""), 1,        5e-324};
    return {keys(n, uniform),
            keys(n, [](auto& random) { return std::floor(8 * uniform(random)); }),
            keys(n, [](auto&) { return 3.5; }),
            keys(n, [](auto& random) { return std::exp(300 * uniform(random)); }),
            keys(n, [](auto& random) { return random() % 2 ? 0 : 1 + 1e-12 * uniform(random); }),
            keys(n, [](auto& random) { return random() % 64 ? uniform(random) : 1e300; }),
            keys(n, [&](auto& random) { return specials[random() % std::size(specials)]; }),
            keys(n, [i = 0](auto&) mutable { return i--; })};
}

} // namespace

TEST(SMPSort, sortsStablyWhateverTheThreadsAndKeys) {
    for (const int threads : {1, 2, 3, 8}) {
        const test::ScopedThreadCount pool(threads);
        for (int n = 0; n <= 20; ++n)
            checkSorts(keys(n, [](auto& random) { return static_cast<double>(random() % 7); }));
        for (const int n : {511, 513, 4095, 4097, 30001}) {
            for (const std::vector<double>& values : hardKeys(n)) {
                checkSorts(values);
                checkSorts(std::vector<float>(values.begin(), values.end()));
            }
            checkSorts<int>(shuffled(n));
        }
        checkSorts<int>({std::numeric_limits<int>::max(), 0, std::numeric_limits<int>::min()});
        if (threads <= 2)
            checkSorts(keys(1000001, uniform));
    }
}

// Comparators that break the rules must not lose an element, hang or leave the array.
TEST(SMPSort, keepsEveryElementWhateverTheComparator) {
    const test::ScopedThreadCount pool(2);
    for (const int n : {2, 3, 33, 1000, 5001, 20000}) {
        const std::vector<double> values =
            keys(n, [](auto& random) { return random() % 3 ? uniform(random) : std::nan(""); });
        const auto expectPermutation = [n](auto compare) {
            const std::vector<int> indices = sorted(shuffled(n), compare);
            const std::set<int> all(indices.begin(), indices.end());
            EXPECT_TRUE(std::ssize(all) == n && *all.begin() == 0 && *all.rbegin() == n - 1) << n;
        };
        expectPermutation([&](int a, int b) { return values[a] < values[b]; });
        expectPermutation([](int, int) { return true; });
        expectPermutation([](int a, int b) { return a <= b; });
        expectPermutation([](int a, int b) { return (a * 7919 ^ b * 104729) % 3 == 0; });
    }
}

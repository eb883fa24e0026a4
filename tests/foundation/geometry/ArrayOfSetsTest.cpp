#include "qvGeom/foundation/geometry/ArrayOfSets.h"

#include <gtest/gtest.h>
#include <vector>

#include "support/Random.h"
#include "support/ScopedThreadCount.h"

namespace qvGeom {
namespace {

using Sets = std::vector<std::vector<int>>;

Sets setsOf(const ArrayOfSets& sets) {
    Sets result;
    for (int s = 0; s < sets.numSets(); ++s) {
        result.emplace_back(sets.begin(s), sets.end(s));
        EXPECT_EQ(sets.setSize(s), static_cast<int>(result.back().size()));
    }
    return result;
}

// The largest are shared by the threads, with sets of one thread's slice alone and of all.
TEST(ArrayOfSets, collectsPairsInTheirOrder) {
    constexpr int kMembers = 1000;
    test::Random random;
    for (const auto& [numSets, numPairs] :
         {std::pair{1, 0}, {1, 40}, {2, 1}, {50, 0}, {50, 40}, {30000, 120000}}) {
        Sets expected(static_cast<std::size_t>(numSets)), inverse(kMembers);
        std::vector<int> pairs;
        for (int p = 0; p < numPairs; ++p) {
            const int set = random.below(numSets);
            const int member = random.below(2) ? random.below(kMembers) : set / 100;
            pairs.insert(pairs.end(), {set, member});
            expected[set].push_back(member);
        }
        for (int s = 0; s < numSets; ++s) {
            for (const int member : expected[s])
                inverse[member].push_back(s);
        }
        for (const int threads : {1, 2, 3, 16}) {
            SCOPED_TRACE(testing::Message() << numPairs << " pairs on " << threads << " threads");
            const test::ScopedThreadCount pool(threads);
            ArrayOfSets sets, inverted;
            sets.assignFromPairs(numSets, numPairs, pairs.data());
            EXPECT_TRUE(setsOf(sets) == expected);
            inverted.assignInverse(kMembers, sets);
            EXPECT_TRUE(setsOf(inverted) == inverse);
        }
    }
}

} // namespace
} // namespace qvGeom

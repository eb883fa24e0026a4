#include "qvGeom/foundation/geometry/ArrayOfSets.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"

namespace {

using qvGeom::ArrayOfSets;
using Sets = std::vector<std::vector<int>>;

Sets setsOf(const ArrayOfSets& sets) {
    Sets result;
    for (int s = 0; s < sets.numSets(); ++s) {
        result.emplace_back(sets.begin(s), sets.end(s));
        EXPECT_EQ(sets.setSize(s), static_cast<int>(result.back().size()));
    }
    return result;
}

TEST(ArrayOfSets, collectsPairsInTheirOrder) {
    std::mt19937 random(3);
    for (const int numSets : {1, 2, 50}) {
        for (const int numPairs : {0, 1, 40}) {
            SCOPED_TRACE(testing::Message() << numSets << " sets, " << numPairs << " pairs");
            Sets expected(static_cast<std::size_t>(numSets));
            Sets inverse(100);
            std::vector<int> pairs;
            for (int p = 0; p < numPairs; ++p) {
                const int set = static_cast<int>(random() % static_cast<unsigned>(numSets));
                const int member = static_cast<int>(random() % 100);
                pairs.insert(pairs.end(), {set, member});
                expected[set].push_back(member);
            }
            for (int s = 0; s < numSets; ++s) {
                for (const int member : expected[s])
                    inverse[member].push_back(s);
            }

            ArrayOfSets sets;
            sets.assignFromPairs(numSets, numPairs, pairs.data());
            EXPECT_EQ(setsOf(sets), expected);
            ArrayOfSets inverted;
            inverted.assignInverse(100, sets);
            EXPECT_EQ(setsOf(inverted), inverse);
        }
    }
}

TEST(ArrayOfSets, endsTheLastSetWithTheList) {
    ArrayOfSets sets(3, 4);
    sets.offsets()[1] = 1;
    sets.offsets()[2] = 4; // an empty last set: there is no offset after it
    EXPECT_EQ(sets.setSize(1), 3);
    EXPECT_EQ(sets.setSize(2), 0);
    EXPECT_EQ(sets.end(2), sets.list() + 4);
    EXPECT_EQ(ArrayOfSets(2, 0).setSize(1), 0);
}

TEST(MeshAdjTris, takesOverAndCopiesThroughAMap) {
    ArrayOfSets sets;
    const int pairs[] = {0, 2, 1, 0, 1, 2};
    sets.assignFromPairs(2, 3, pairs);
    const qvGeom::MeshAdjTris adjTris(sets);
    EXPECT_EQ(sets.numSets(), 0);
    const int map[] = {70, 71, 72};
    int copied[2];
    adjTris.copyTriangles(1, copied, nullptr);
    EXPECT_EQ(copied[0], 0);
    EXPECT_EQ(copied[1], 2);
    adjTris.copyTriangles(1, copied, map);
    EXPECT_EQ(copied[1], 72);
}

TEST(MeshAdjVertices, copiesAndSwapsWithoutTouchingReferences) {
    using qvGeom::MeshAdjVertices;
    const qv::Reference<MeshAdjVertices> held(
        new MeshAdjVertices(2, 2, new int[2]{2, 0}, new int[5]{1, 0, 2, 1, 5}));
    MeshAdjVertices copy = *held;
    MeshAdjVertices other;
    other.swap(copy);
    other = *held;
    EXPECT_EQ(held->getReferenceCount(), 1);
    EXPECT_EQ(other.numVertices(), 2);
    EXPECT_EQ(other.getMaxValence(), 2);
    EXPECT_EQ(other.getCount(0), 2);
    EXPECT_EQ(other.getVertices(0)[1], 5);
    EXPECT_EQ(other.getVertices(1)[0], 0);
    EXPECT_EQ(copy.numVertices(), 0);
}

TEST(MeshBoundaries, bracketsItsLoops) {
    qvGeom::Array<int> vertices(5);
    for (int i = 0; i < 5; ++i)
        vertices[i] = 10 + i;
    qvGeom::Array<int> lengths(2);
    lengths[0] = 3;
    lengths[1] = 2;
    qvGeom::MeshBoundaries boundaries(vertices, lengths);
    ASSERT_EQ(boundaries.size(), 2);
    EXPECT_EQ(boundaries.getLength(1), 2);
    EXPECT_EQ(*boundaries.getStart(1), 13);
    EXPECT_EQ(boundaries.getEnd(0), boundaries.getStart(1));
    EXPECT_EQ(qvGeom::MeshBoundaries().size(), 0);
}

} // namespace

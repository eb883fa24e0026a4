#include "qvGeom/foundation/geometry/BitVector.h"

#include <gtest/gtest.h>

#include "qvGeom/foundation/geometry/Remap.h"

#include "support/MeshBuilders.h"
#include "support/Random.h"

namespace {

using qvGeom::BitVector;

void expectBits(const BitVector& bits, const std::vector<bool>& expected) {
    ASSERT_EQ(bits.size(), static_cast<int>(expected.size()));
    int count = 0;
    for (int i = 0; i < bits.size(); ++i) {
        ASSERT_EQ(bits.test(i), expected[i]) << "bit " << i;
        count += expected[i];
    }
    EXPECT_EQ(bits.numSetBits(), count);
}

// A long random life beside a plain vector of flags: catches counts that drift, and bits past the
// end that come back when the vector grows.
TEST(BitVector, agreesWithAVectorOfFlags) {
    test::Random random(5);
    BitVector bits;
    std::vector<bool> flags;
    for (int step = 0; step < 4000; ++step) {
        switch (random.below(7)) {
        case 0: {
            const int size = random.below(100);
            bits.resize(size);
            flags.resize(static_cast<std::size_t>(size));
            break;
        }
        case 1: {
            BitVector other(random.below(100));
            for (int i = 0; i < other.size(); i += 3) {
                other.set(i);
                if (i < bits.size())
                    flags[i] = true;
            }
            bits |= other;
            break;
        }
        case 2: {
            const bool on = random.below(2) == 1;
            on ? bits.setAllBits() : bits.clearBits();
            flags.assign(flags.size(), on);
            break;
        }
        default:
            if (!flags.empty()) {
                const int i = random.below(bits.size());
                const bool on = random.below(2) == 1;
                bits.set(i, on);
                flags[i] = on;
            }
        }
        expectBits(bits, flags);
    }
}

TEST(BitVector, countsRepeatedIndicesOnceAndSelectsEverythingWhenEmpty) {
    BitVector bits(70);
    const int indices[] = {3, 69, 3, 32, 69};
    bits.setBits(5, indices);
    EXPECT_EQ(bits, test::selectionOf(70, {3, 32, 69}));
    EXPECT_EQ(bits.numSetBits(), 3);
    EXPECT_TRUE(isSelected(BitVector(), 12));
    EXPECT_FALSE(isSelected(BitVector(13), 12));
    EXPECT_TRUE(isSelected(test::selectionOf(13, {12}), 12));
}

TEST(Remap, deleteMapNumbersWhatIsKeptInOldOrder) {
    qvGeom::Remap remap(6, 6);
    std::vector<int> indices{5, 4, 3, 2, 1, 0};
    remap.setDeleteMap(BitVector()); // nothing
    remap(indices.data(), 6);
    EXPECT_EQ(indices, (std::vector{5, 4, 3, 2, 1, 0}));
    remap.setDeleteMap(test::selectionOf(6, {0, 3, 4}));
    remap(indices.data(), 5);
    EXPECT_EQ(indices, (std::vector{2, -1, -1, 1, 0, 0}));
    EXPECT_EQ(remap.getNewCount(), 3);
}

} // namespace

#include "qvGeom/foundation/geometry/BitVector.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "support/MeshBuilders.h"

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
    std::mt19937 random(5);
    BitVector bits;
    std::vector<bool> flags;
    for (int step = 0; step < 4000; ++step) {
        const auto below = [&random](std::size_t n) { return static_cast<int>(random() % n); };
        switch (random() % 7) {
        case 0: {
            const int size = below(100);
            bits.resize(size);
            flags.resize(static_cast<std::size_t>(size));
            break;
        }
        case 1: {
            BitVector other(below(100));
            for (int i = 0; i < other.size(); i += 3)
                other.set(i);
            bits |= other;
            for (int i = 0; i < other.size() && i < bits.size(); i += 3)
                flags[i] = true;
            break;
        }
        case 2:
            random() % 2 ? bits.setAllBits() : bits.clearBits();
            flags.assign(flags.size(), bits.numSetBits() > 0);
            break;
        default:
            if (!flags.empty()) {
                const int i = below(flags.size());
                const bool on = random() % 2;
                bits.set(i, on);
                flags[i] = on;
            }
        }
        expectBits(bits, flags);
    }
}

TEST(BitVector, setBitsCountsRepeatedIndicesOnce) {
    BitVector bits(70);
    const int indices[] = {3, 69, 3, 32, 69};
    bits.setBits(5, indices);
    EXPECT_EQ(bits, test::selectionOf(70, {3, 32, 69}));
    EXPECT_EQ(bits.numSetBits(), 3);
}

TEST(BitVector, ofSizeZeroSelectsEverything) {
    EXPECT_TRUE(isSelected(BitVector(), 12));
    EXPECT_FALSE(isSelected(BitVector(13), 12));
    EXPECT_TRUE(isSelected(test::selectionOf(13, {12}), 12));
}

} // namespace

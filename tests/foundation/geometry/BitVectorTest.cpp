#include "qvGeom/foundation/geometry/BitVector.h"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>

#include "support/MeshBuilders.h"
#include "support/Random.h"

namespace {

using qvGeom::BitVector;

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
                const int i = random.below(bits.size()), j = random.below(bits.size());
                const bool on = random.below(2) == 1;
                bits.set(i, on);
                bits.setBits(3, std::array{j, i / 2, j}.data());
                flags[i] = on;
                flags[j] = flags[i / 2] = true;
            }
        }
        ASSERT_EQ(bits.size(), std::ssize(flags));
        for (int i = 0; i < bits.size(); ++i)
            ASSERT_EQ(bits.test(i), flags[i]) << "bit " << i;
        EXPECT_EQ(bits.numSetBits(), std::count(flags.begin(), flags.end(), true));
    }
}

TEST(BitVector, selectsEverythingWhenEmpty) {
    EXPECT_TRUE(isSelected(BitVector(), 12) && !isSelected(BitVector(13), 12));
    EXPECT_TRUE(isSelected(test::selectionOf(13, {12}), 12));
}

} // namespace

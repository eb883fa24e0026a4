#include "qvGeom/foundation/geometry/Remap.h"

#include <gtest/gtest.h>
#include <vector>

#include "support/MeshBuilders.h"

namespace {

using qvGeom::Remap;

std::vector<int> mapOf(const Remap& remap) {
    return {remap.getMap().begin(), remap.getMap().end()};
}

TEST(Remap, deleteMapNumbersWhatIsKeptInOldOrder) {
    Remap remap(6, 6);
    remap.setDeleteMap(test::selectionOf(6, {0, 3, 4}));
    EXPECT_EQ(mapOf(remap), (std::vector{-1, 0, 1, -1, -1, 2}));
    EXPECT_EQ(remap.getNewCount(), 3);

    for (const qvGeom::BitVector& nothing : {qvGeom::BitVector(6), qvGeom::BitVector()}) {
        remap.setDeleteMap(nothing);
        EXPECT_EQ(mapOf(remap), (std::vector{0, 1, 2, 3, 4, 5}));
        EXPECT_EQ(remap.getNewCount(), 6);
    }
}

TEST(Remap, setLeavesTheNewCountToTheCaller) {
    Remap remap;
    remap.resize(3, 2);
    remap.set(0, 1);
    remap.set(2, 1);
    EXPECT_EQ(remap.getNewCount(), 2);
    int indices[] = {2, 1, 0, 2};
    remap(indices, 3);
    EXPECT_EQ((std::vector<int>(indices, indices + 4)), (std::vector{1, 0, 1, 2}));
    remap.setNewCount(5);
    EXPECT_EQ(remap.getNewCount(), 5);
    EXPECT_EQ(remap.getOldCount(), 3);
}

} // namespace

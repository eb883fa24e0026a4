#include "qvGeom/foundation/geometry/Remap.h"

#include <gtest/gtest.h>
#include <vector>

#include "support/MeshBuilders.h"

namespace {

using qvGeom::Remap;

TEST(Remap, deleteMapNumbersWhatIsKeptInOldOrder) {
    Remap remap(6, 6);
    std::vector<int> indices{5, 4, 3, 2, 1, 0};
    remap.setDeleteMap(qvGeom::BitVector()); // nothing
    remap(indices.data(), 6);
    EXPECT_EQ(indices, (std::vector{5, 4, 3, 2, 1, 0}));
    remap.setDeleteMap(test::selectionOf(6, {0, 3, 4}));
    remap(indices.data(), 5);
    EXPECT_EQ(indices, (std::vector{2, -1, -1, 1, 0, 0}));
    EXPECT_EQ(remap.getNewCount(), 3);
}

} // namespace

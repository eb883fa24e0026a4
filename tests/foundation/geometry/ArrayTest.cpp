#include "qvGeom/foundation/geometry/Array.h"

#include <array>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/ArrayMap.h"

namespace {

using qvGeom::Array;

TEST(Array, resizeKeepsThePrefixAndZeroesTheRest) {
    for (const int from : {0, 1, 5, 100000}) {
        for (const int to : {-3, 0, 1, 4, 5, 3000000}) {
            Array<int> array(from);
            std::iota(array.begin(), array.end(), 1);
            const int* const block = array.data();
            array.resize(to);
            ASSERT_EQ(array.size(), std::max(to, 0)) << from;
            EXPECT_EQ(array.data() == nullptr, to < 1) << from;
            EXPECT_EQ(array.data() == block, array.size() == from); // pointers rest on that
            for (int i = 0; i < array.size(); ++i)
                ASSERT_EQ(array[i], i < from ? i + 1 : 0);
        }
    }
}

TEST(Array, holdsRecordsThatOwnMemory) {
    const std::string text(100, 'x'); // too long for the small string's own room
    Array<std::string> array(2);
    array[1] = text;
    array.resize(4);
    Array<std::string> copy = array;
    copy = *&copy; // itself
    array.resize(1);
    EXPECT_TRUE(copy[1] == text && copy[3].empty());
}

struct VectorStorage : qvGeom::ArrayStorage<int> {
    int* block() override { return elements.data(); }

    void resize(int size) override { elements.resize(static_cast<std::size_t>(size) + 2); }

    void release() override { ++numReleases; }

    std::vector<int> elements = std::vector<int>(4);
    int numReleases = 0;
};

TEST(Array, borrowsTheStorageOfAHost) {
    const qv::Reference<VectorStorage> storage(new VectorStorage);
    {
        Array<int> array(9);
        array.setStorage(storage, 2);
        array[1] = 7;
        array.resize(5);
        EXPECT_EQ(array.data(), storage->block() + 1);
        const Array<int> copy = array;
        EXPECT_TRUE(copy.data() != array.data() && copy[1] == 7);
    }
    EXPECT_EQ(storage->numReleases, 1);
}

TEST(ArrayMap, findsTheFirstOfEqualKeys) {
    qvGeom::ArrayMap<int, int> map(4);
    for (int i = 0; i < 4; ++i)
        map[i] = {std::array{7, 3, 7, 5}[i], i};
    map.sort();
    EXPECT_TRUE(*map.find(7) == 0 && *map.find(3) == 1 && !map.find(4));
}

} // namespace

#include "qvGeom/foundation/geometry/Array.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/ArrayMap.h"

namespace {

using qvGeom::Array;

Array<int> countingUp(int size) {
    Array<int> array(size);
    for (int i = 0; i < size; ++i)
        array[i] = i + 1;
    return array;
}

TEST(Array, resizeKeepsThePrefixAndZeroesTheRest) {
    for (const int from : {0, 1, 5, 100000}) {
        for (const int to : {-3, 0, 1, 4, 7, 3000000}) {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            Array<int> array = countingUp(from);
            array.resize(to);
            ASSERT_EQ(array.size(), std::max(to, 0));
            EXPECT_EQ(array.data() == nullptr, to < 1);
            for (int i = 0; i < array.size(); ++i)
                ASSERT_EQ(array[i], i < from ? i + 1 : 0);
        }
    }
}

// Pointers that callers hold rest on both halves of this.
TEST(Array, resizeMovesTheBlockOnlyWhenTheSizeChanges) {
    Array<int> array = countingUp(10);
    const int* const block = array.data();
    array.resize(10);
    EXPECT_EQ(array.data(), block);
    const Array<int> copy = array;
    array.resize(9);
    EXPECT_NE(array.data(), block);
    EXPECT_EQ(copy.size(), 10);
    EXPECT_EQ(copy[9], 10);
}

TEST(Array, hasAGuardOnEitherSide) {
    Array<double> array(3);
    array.data()[-1] = 1; // the sanitizers would tell
    array.data()[3] = 2;
    EXPECT_EQ(array[0] + array[1] + array[2], 0);
}

TEST(Array, holdsRecordsThatOwnMemory) {
    Array<std::string> array(2);
    array[1] = "a text too long for the small string's own room";
    array.resize(4);
    Array<std::string> copy = array;
    copy = copy;
    array.resize(1);
    EXPECT_EQ(copy[1], "a text too long for the small string's own room");
    EXPECT_EQ(copy[3], "");
}

class VectorStorage : public qvGeom::ArrayStorage<int> {
public:
    explicit VectorStorage(int& releases) : releases_(releases) { resize(2); }

    int* block() override { return block_.data(); }

    void resize(int size) override { block_.resize(static_cast<std::size_t>(size) + 2); }

    void release() override { ++releases_; }

private:
    int& releases_;
    std::vector<int> block_;
};

TEST(Array, borrowsTheStorageOfAHost) {
    int releases = 0;
    {
        const qv::Reference<qvGeom::ArrayStorage<int>> storage(new VectorStorage(releases));
        Array<int> array = countingUp(9);
        array.setStorage(storage, 2);
        array[1] = 7;
        array.resize(5);
        EXPECT_EQ(array[1], 7);
        EXPECT_EQ(array.data(), storage->block() + 1);
        const Array<int> copy = array;
        EXPECT_NE(copy.data(), array.data());
        EXPECT_EQ(copy[1], 7);
        EXPECT_EQ(releases, 0);
    }
    EXPECT_EQ(releases, 1);
}

TEST(ArrayMap, findsTheFirstOfEqualKeys) {
    qvGeom::ArrayMap<int, int> map(4);
    const int keys[] = {7, 3, 7, 5};
    for (int i = 0; i < 4; ++i)
        map[i] = {keys[i], i};
    map.sort();
    ASSERT_NE(map.find(7), nullptr);
    EXPECT_EQ(*map.find(7), 0);
    EXPECT_EQ(*map.find(3), 1);
    EXPECT_EQ(map.find(4), nullptr);
    EXPECT_EQ(map.find(8), nullptr);
}

} // namespace

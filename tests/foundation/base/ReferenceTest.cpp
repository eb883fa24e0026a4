#include "qvGeom/foundation/base/Reference.h"

#include <gtest/gtest.h>
#include <memory>

using qv::Reference;

namespace {

struct Counted : qv::ReferenceCount {
    explicit Counted(std::shared_ptr<int> its) : life(std::move(its)) {}

    std::shared_ptr<int> life; // shared by those that are not deleted
};

struct Derived : Counted {
    using Counted::Counted;
};

} // namespace

TEST(Reference, deletesWithTheLastHandle) {
    const auto life = std::make_shared<int>();
    Reference<Counted> first;
    {
        const Reference<Derived> derived = new Derived(life);
        first = derived;
        Reference<Counted> second = first;
        const Reference<Counted> third = std::move(second);
        EXPECT_FALSE(second);
        EXPECT_EQ(third, derived);
        second = third;
        second = *&second; // itself
        EXPECT_EQ(first->getReferenceCount(), 4);
    }
    EXPECT_EQ(first->getReferenceCount(), 1);
    first = new Counted(life);
    EXPECT_EQ(life.use_count(), 2);
    Counted copy = *first; // the count stays with its object
    EXPECT_EQ(copy.getReferenceCount(), 0);
    *first = copy;
    EXPECT_EQ(first->getReferenceCount(), 1);
    first = nullptr;
    EXPECT_EQ(life.use_count(), 2); // the copy still lives
}

#include "qvGeom/foundation/base/Reference.h"

#include <gtest/gtest.h>
#include <utility>

#include "qvGeom/foundation/base/Strings.h"

using qv::Reference;

namespace {

struct Counted : qv::ReferenceCount {
    explicit Counted(int& count) : deletions(&count) {}

    Counted(const Counted&) = default;
    Counted& operator=(const Counted&) = default;

    ~Counted() override { ++*deletions; }

    int* deletions;
};

struct Derived : Counted {
    using Counted::Counted;
};

} // namespace

TEST(Reference, deletesWithTheLastHandle) {
    int deletions = 0;
    Reference<Counted> first;
    {
        const Reference<Derived> derived = new Derived(deletions);
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
    first = new Counted(deletions);
    EXPECT_EQ(deletions, 1);
    Counted copy = *first; // the count stays with its object
    EXPECT_EQ(copy.getReferenceCount(), 0);
    *first = copy;
    EXPECT_EQ(first->getReferenceCount(), 1);
    first = nullptr;
    EXPECT_EQ(deletions, 2);
}

TEST(Strings, convertToFilenames) {
    const qvOS::Filename fromUnicode = qvString::IString("mesh.txt");
    EXPECT_EQ(fromUnicode, qvOS::Filename("mesh.txt"));
    EXPECT_STREQ(fromUnicode.asMultibyte().c_str(), "mesh.txt");
    EXPECT_TRUE(qvOS::Filename(static_cast<const char*>(nullptr)).empty());
}

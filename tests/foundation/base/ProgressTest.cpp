#include "qvGeom/foundation/base/Progress.h"

#include <cmath>
#include <gtest/gtest.h>
#include <thread>

#include "support/CancelAfter.h"

using qvUtil::Progress;

TEST(Progress, handsOutSuccessiveShares) {
    test::CancelAfter never(-1);
    Progress child, grandchild;
    Progress& parent = never.progress();
    parent.subPhase(0.8, child);
    child.subPhase(0.5, grandchild);
    grandchild.set(0.5);
    EXPECT_DOUBLE_EQ(child.getFraction(), 0.25);
    EXPECT_DOUBLE_EQ(parent.getFraction(), 0.2);

    parent.subPhase(0.2, child); // the same child starts again, its whole range free
    EXPECT_EQ(child.getFraction(), 0);
    EXPECT_DOUBLE_EQ(parent.getFraction(), 0.8); // although the first share was not used up
    child.subPhase(1.0, grandchild);
    grandchild.set(0.5);
    EXPECT_DOUBLE_EQ(parent.getFraction(), 0.9);
    grandchild.set(1);
    EXPECT_EQ(parent.getFraction(), 1);

    parent.set(0.3); // absolute, whatever was handed out
    EXPECT_EQ(parent.getFraction(), 0.3);
    EXPECT_EQ(never.fractions().size(), 4U); // every set, and no subPhase
}

TEST(Progress, keepsImpossibleValuesInRange) {
    Progress parent, child;
    for (const double share : {std::nan(""), -1.0, 0.6, 0.6, 3.0}) {
        parent.subPhase(share, child);
        child.set(1);
    }
    EXPECT_EQ(parent.getFraction(), 1);
    for (const auto& [value, kept] :
         {std::pair{0.5, 0.5}, {std::nan(""), 0.5}, {1.0000001, 1.0}, {-3.0, 0.0}}) {
        parent.set(value);
        EXPECT_EQ(parent.getFraction(), kept) << value;
    }
}

TEST(Progress, callsBackForItselfAndItsChildren) {
    using Reports = std::vector<std::pair<double, std::string>>;
    const auto collect = [](void* user, double fraction, const char* caption) {
        static_cast<Reports*>(user)->emplace_back(fraction, caption);
    };
    Progress parent, child;
    Reports heardByParent, heardByChild;
    parent.setCallback(collect, &heardByParent);
    child.setCallback(collect, &heardByChild);
    parent.setCaption("Weld");
    parent.subPhase(0.5, child);
    child.setCaption("Sort");
    child.set(0.5);
    child.set(0.5);
    parent.setCaption(nullptr);
    EXPECT_EQ(heardByParent,
              (Reports{{0, "Weld"}, {0, "Sort"}, {0.25, "Sort"}, {0.25, "Sort"}, {0.25, ""}}));
    EXPECT_EQ(heardByChild, (Reports{{0, "Sort"}, {0.5, "Sort"}, {0.5, "Sort"}}));
}

TEST(Progress, isCancelledFromAboveAndFromAnyThread) {
    Progress root, child, grandchild, other;
    root.subPhase(1, child);
    child.subPhase(1, grandchild);
    EXPECT_FALSE(grandchild.cancelled());
    std::thread([&] { root.cancel(); }).join();
    EXPECT_TRUE(grandchild.cancelled());

    other.subPhase(1, grandchild); // leaves its former parent
    EXPECT_FALSE(grandchild.cancelled());
    grandchild.cancel();
    EXPECT_FALSE(other.cancelled());
}

TEST(Progress, outlivesItsParentAndItsChild) {
    Progress survivor, next;
    {
        Progress parent, child;
        parent.subPhase(1, survivor);
        survivor.subPhase(0.5, child);
    }
    survivor.set(0.5);
    EXPECT_FALSE(survivor.cancelled());
    survivor.subPhase(0.5, next);
    next.set(1);
    EXPECT_EQ(survivor.getFraction(), 1);
}

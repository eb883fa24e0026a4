#include "qvGeom/foundation/base/Progress.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using qvUtil::Progress;

namespace {

/// Everything that a progress tells its callback.
class Heard {
public:
    explicit Heard(Progress& progress) {
        progress.setCallback(
            [](void* user, double fraction, const char* caption) {
                static_cast<Heard*>(user)->reports.emplace_back(fraction, caption);
            },
            this);
    }

    std::vector<std::pair<double, std::string>> reports;
};

} // namespace

TEST(Progress, handsOutSuccessiveShares) {
    Progress parent, child, grandchild;
    const Heard heard(parent);
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
    EXPECT_EQ(heard.reports.size(), 4U); // every set, and no subPhase
}

TEST(Progress, keepsImpossibleValuesInRange) {
    Progress parent, child;
    for (const double share : {std::nan(""), -1.0, 0.6, 0.6, 3.0}) {
        parent.subPhase(share, child);
        child.set(1);
    }
    EXPECT_EQ(parent.getFraction(), 1);
    child.subPhase(0.5, parent); // a circle
    parent.subPhase(0.5, parent);
    parent.set(0.5);
    EXPECT_EQ(parent.getFraction(), 0.5);
    parent.set(std::nan("")); // changes nothing
    EXPECT_EQ(parent.getFraction(), 0.5);
    parent.set(1.0000001);
    EXPECT_EQ(parent.getFraction(), 1);
    parent.set(-3);
    EXPECT_EQ(parent.getFraction(), 0);
}

TEST(Progress, callsBackForItselfAndItsChildren) {
    Progress parent, child;
    const Heard heardByParent(parent), heardByChild(child);
    parent.setCaption("Weld");
    parent.subPhase(0.5, child);
    child.setCaption("Sort");
    child.set(0.5);
    child.set(0.5);
    parent.setCaption(nullptr);
    using Reports = decltype(Heard::reports);
    EXPECT_EQ(heardByParent.reports,
              (Reports{{0, "Weld"}, {0, "Sort"}, {0.25, "Sort"}, {0.25, "Sort"}, {0.25, ""}}));
    EXPECT_EQ(heardByChild.reports, (Reports{{0, "Sort"}, {0.5, "Sort"}, {0.5, "Sort"}}));
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
    Progress survivor;
    auto parent = std::make_unique<Progress>();
    parent->subPhase(1, survivor);
    parent.reset();
    survivor.set(0.5);
    EXPECT_FALSE(survivor.cancelled());
    {
        Progress child;
        survivor.subPhase(0.5, child);
    }
    Progress next;
    survivor.subPhase(0.5, next);
    next.set(1);
    EXPECT_EQ(survivor.getFraction(), 1);
}

/// \file
/// Sets that grow together.
#pragma once

#include <algorithm>
#include <numeric>

#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// The numbers from 0 to `count` - 1 in disjoint sets, each a tree with its lowest member as root.
/// A parent is never above its child.
class DisjointSets {
public:
    explicit DisjointSets(int count) { reset(count); }

    DisjointSets(const DisjointSets&) = delete;
    DisjointSets& operator=(const DisjointSets&) = delete;
    ~DisjointSets() = default;

    /// Makes each number a set of its own.
    void reset(int count) {
        if (array_.size() < count)
            array_.resize(count);
        count_ = count;
        parent_ = array_.data();
        std::iota(parent_, parent_ + count_, 0);
    }

    /// Joins the sets of both; false when they are together already.
    bool unite(int a, int b) {
        a = rootOf(a);
        b = rootOf(b);
        parent_[std::max(a, b)] = std::min(a, b);
        return a != b;
    }

    /// Joins the sets of all three.
    void unite(int a, int b, int c) {
        a = parent_[a];
        b = parent_[b];
        c = parent_[c];
        if (a == b && b == c) // which holds most of the time, and costs no search
            return;
        a = rootOf(a);
        b = rootOf(b);
        c = rootOf(c);
        parent_[a] = parent_[b] = parent_[c] = std::min({a, b, c});
    }

    /// The lowest number of its set.
    int rootOf(int a) {
        while (parent_[a] != a)
            a = parent_[a] = parent_[parent_[a]];
        return a;
    }

    bool isRoot(int a) const { return parent_[a] == a; }

    /// Makes every number its root's child, or a root.
    void flatten() {
        for (int a = 0; a < count_; ++a)
            parent_[a] = parent_[parent_[a]];
    }

    /// The root, after flatten().
    int parentOf(int a) const { return parent_[a]; }

private:
    Array<int> array_;
    int* parent_ = nullptr; // into it
    int count_ = 0;
};

} // namespace qvGeom

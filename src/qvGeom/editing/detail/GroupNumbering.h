/// \file
/// Numbers groups of vertices in the order of their keys.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "qvGeom/editing/detail/VertexGroups.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom::detail {

/// A group on its way to its place: the position part of its key, and its name in the form that
/// GroupVerticesAlg gives out.
struct GroupEntry {
    std::uint64_t xy;
    std::uint32_t z;
    std::uint32_t group;
};

/// Sorts by `xy`, stably; `scratch` has room for as many. The result stands in `entries`.
void sortByXY(GroupEntry* entries, GroupEntry* scratch, int count);

/// The order of groups by their keys.
template <int Width>
class GroupOrder {
public:
    explicit GroupOrder(const std::vector<GroupTable<Width>>& tables)
        : tables_(tables),
          names_(static_cast<int>(tables.size())) {}

    /// Where keys are equal, which only those with NaN and missed twins are, old indices decide.
    bool operator()(const GroupEntry& a, const GroupEntry& b) const {
        if (a.xy != b.xy)
            return a.xy < b.xy;
        if (a.z != b.z)
            return a.z < b.z;
        const VertexGroup<Width>& groupA = groupOf(a);
        const VertexGroup<Width>& groupB = groupOf(b);
        for (std::size_t i = 3; i < Width; ++i) {
            if (groupA.key[i] != groupB.key[i])
                return groupA.key[i] < groupB.key[i];
        }
        return groupA.last < groupB.last;
    }

    bool areTwins(const GroupEntry& a, const GroupEntry& b) const {
        if (a.xy != b.xy || a.z != b.z)
            return false;
        const VertexKey<Width>& key = groupOf(a).key;
        return areEqual<Width>(key, groupOf(b).key) && !hasNaN<Width>(key);
    }

    const VertexGroup<Width>& groupOf(const GroupEntry& entry) const {
        return tables_[names_.ownerOf(entry.group)][names_.groupOf(entry.group)];
    }

private:
    const std::vector<GroupTable<Width>>& tables_;
    GroupNames names_;
};

/// Sorts the groups of every owner, each on its own thread.
template <int Width>
class SortGroupsAlg final : public qvUtil::ThreadedAlg {
public:
    /// `starts[t]` is where the groups of owner t go in both arrays.
    SortGroupsAlg(const std::vector<GroupTable<Width>>& tables, const std::vector<int>& starts,
                  GroupEntry* entries, GroupEntry* scratch)
        : tables_(tables),
          starts_(starts),
          entries_(entries),
          scratch_(scratch) {}

    void threadFunc(int thread, int numThreads) override {
        const GroupTable<Width>& table = tables_[thread];
        const GroupNames names(numThreads);
        const int count = table.numGroups();
        GroupEntry* const entries = entries_ + starts_[thread];
        for (int g = 0; g < count; ++g) {
            const VertexKey<Width>& key = table[g].key;
            entries[g] = {static_cast<std::uint64_t>(key[0]) << 32 | key[1], key[2],
                          names.name(g, thread)};
        }
        sortByXY(entries, scratch_ + starts_[thread], count);
        sortRuns(entries, entries + count);
    }

private:
    /// Orders what lies between entries of different x or y.
    void sortRuns(GroupEntry* first, GroupEntry* last) const {
        while (first != last) {
            GroupEntry* end = first + 1;
            while (end != last && end->xy == first->xy)
                ++end;
            if (end - first > 1)
                std::sort(first, end, GroupOrder<Width>(tables_));
            first = end;
        }
    }

    const std::vector<GroupTable<Width>>& tables_;
    const std::vector<int>& starts_;
    GroupEntry* entries_;
    GroupEntry* scratch_;
};

/// Where the groups of each owner start when those of all stand in a row, and where they end.
template <int Width>
std::vector<int> startsOf(const std::vector<GroupTable<Width>>& tables) {
    std::vector<int> starts{0};
    for (const GroupTable<Width>& table : tables)
        starts.push_back(starts.back() + table.numGroups());
    return starts;
}

/// All groups in key order.
template <int Width>
Array<GroupEntry> sortGroups(const std::vector<GroupTable<Width>>& tables,
                             qvUtil::ThreadPool& pool) {
    std::vector<int> starts = startsOf(tables);
    Array<GroupEntry> entries(starts.back());
    Array<GroupEntry> scratch(starts.back());
    SortGroupsAlg<Width> sort(tables, starts, entries.data(), scratch.data());
    pool.run(sort);

    // Runs are merged in pairs until one is left.
    while (starts.size() > 2) {
        std::vector<int> joined{0};
        for (std::size_t run = 0; run + 1 < starts.size(); run += 2) {
            const GroupEntry* const left = entries.data() + starts[run];
            const GroupEntry* const right = entries.data() + starts[run + 1];
            const bool isPair = run + 2 < starts.size();
            const GroupEntry* const end = isPair ? entries.data() + starts[run + 2] : right;
            std::merge(left, right, right, end, scratch.data() + starts[run],
                       GroupOrder<Width>(tables));
            joined.push_back(static_cast<int>(end - entries.data()));
        }
        entries.swap(scratch);
        starts.swap(joined);
    }
    return entries;
}

/// What the sorted groups say: the new index of every group, and for each new index the vertex
/// that stands for it.
class GroupNumbers {
public:
    template <int Width>
    GroupNumbers(const std::vector<GroupTable<Width>>& tables, const Array<GroupEntry>& sorted)
        : names_(static_cast<int>(tables.size())),
          starts_(startsOf(tables)),
          newIndices_(sorted.size()),
          survivors_(sorted.size()) {
        constexpr int kAhead = 16; // entries by which memory is asked for in advance
        const GroupOrder<Width> order(tables);
        int count = 0;
        for (int i = 0; i < sorted.size(); ++i) {
            const GroupEntry& ahead = sorted[std::min(i + kAhead, sorted.size() - 1)];
            __builtin_prefetch(&order.groupOf(ahead));
            __builtin_prefetch(&newIndices_[placeOf(ahead.group)], 1);

            const int last = order.groupOf(sorted[i]).last;
            if (i > 0 && order.areTwins(sorted[i - 1], sorted[i]))
                survivors_[count - 1] = std::max(survivors_[count - 1], last);
            else
                survivors_[count++] = last;
            newIndices_[placeOf(sorted[i].group)] = count - 1;
        }
        survivors_.resize(count);
    }

    int newIndexOf(std::uint32_t name) const { return newIndices_[placeOf(name)]; }

    Array<int>& survivors() { return survivors_; }

private:
    int placeOf(std::uint32_t name) const {
        return starts_[names_.ownerOf(name)] + names_.groupOf(name);
    }

    GroupNames names_;
    std::vector<int> starts_; // by owner
    Array<int> newIndices_;
    Array<int> survivors_;
};

} // namespace qvGeom::detail

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
    explicit GroupOrder(const std::vector<GroupTable<Width>>& tables) : tables_(tables) {}

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
        const auto owners = static_cast<std::uint32_t>(tables_.size());
        return tables_[entry.group % owners][entry.group / owners];
    }

private:
    const std::vector<GroupTable<Width>>& tables_;
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
        const int count = table.numGroups();
        GroupEntry* const entries = entries_ + starts_[thread];
        for (int g = 0; g < count; ++g) {
            const VertexKey<Width>& key = table[g].key;
            entries[g] = {static_cast<std::uint64_t>(key[0]) << 32 | key[1], key[2],
                          nameOfGroup(g, thread, numThreads)};
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

/// All groups in key order.
template <int Width>
Array<GroupEntry> sortGroups(const std::vector<GroupTable<Width>>& tables,
                             qvUtil::ThreadPool& pool) {
    std::vector<int> starts{0};
    for (const GroupTable<Width>& table : tables)
        starts.push_back(starts.back() + table.numGroups());
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

/// What the sorted groups say: the new index of each group by name, and for each new index the
/// vertex that stands for it.
struct GroupNumbers {
    Array<int> newIndexOfGroup;
    Array<int> survivors;
};

template <int Width>
GroupNumbers numberGroups(const std::vector<GroupTable<Width>>& tables,
                          const Array<GroupEntry>& sorted) {
    const GroupOrder<Width> order(tables);
    const int owners = static_cast<int>(tables.size());
    int largest = 0;
    for (const GroupTable<Width>& table : tables)
        largest = std::max(largest, table.numGroups());

    GroupNumbers numbers{Array<int>(largest * owners), Array<int>(sorted.size())};
    int count = 0;
    for (int i = 0; i < sorted.size(); ++i) {
        const int last = order.groupOf(sorted[i]).last;
        if (i > 0 && order.areTwins(sorted[i - 1], sorted[i]))
            numbers.survivors[count - 1] = std::max(numbers.survivors[count - 1], last);
        else
            numbers.survivors[count++] = last;
        numbers.newIndexOfGroup.data()[sorted[i].group] = count - 1;
    }
    numbers.survivors.resize(count);
    return numbers;
}

} // namespace qvGeom::detail

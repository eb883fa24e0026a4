/// \file
/// Groups vertices by equal keys and numbers the groups in key order.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include "qvGeom/editing/detail/VertexKeys.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom::detail {

/// The vertices of one group share a key; the one with the highest index stands for them.
template <int Width>
struct VertexGroup {
    VertexKey<Width> key;
    int last;
};

/// The groups whose hash falls to one owner, found through a hash table. The table only has to
/// find nearly all equal keys: what it misses in a crowded stretch becomes a second group of the
/// same key, and those are joined once the groups are sorted.
template <int Width>
class GroupTable {
public:
    /// `expected` is a guess at the number of groups; any value works.
    void reset(int expected) {
        groups_.resize(0);
        groups_.resize(expected);
        slots_.resize(0);
        slots_.resize(slotsFor(expected) + kLongestProbe);
        numGroups_ = 0;
    }

    void prefetchSlot(std::uint32_t hash) const {
        __builtin_prefetch(slots_.data() + homeOf(hash));
    }

    void prefetchGroup(std::uint32_t hash) const {
        const Slot& home = slots_.data()[homeOf(hash)];
        if (home.hash == hash && home.groupPlusOne != 0)
            __builtin_prefetch(groups_.data() + home.groupPlusOne - 1);
    }

    /// The group of `key`, made where there is none. A key with NaN always makes its own.
    int groupOf(const VertexKey<Width>& key, std::uint32_t hash, int vertex) {
        if (hasNaN<Width>(key))
            return addGroup(key, vertex);
        const Slot* const slots = slots_.data();
        const std::size_t home = homeOf(hash);
        for (std::size_t s = home; s < home + kLongestProbe; ++s) {
            if (slots[s].groupPlusOne == 0)
                return addGroupAt(s, key, hash, vertex);
            if (slots[s].hash != hash)
                continue;
            VertexGroup<Width>& group = groups_.data()[slots[s].groupPlusOne - 1];
            if (areEqual<Width>(group.key, key)) {
                group.last = std::max(group.last, vertex);
                return static_cast<int>(slots[s].groupPlusOne) - 1;
            }
        }
        return addGroup(key, vertex);
    }

    void freeSlots() { slots_.resize(0); }

    int numGroups() const { return numGroups_; }

    const VertexGroup<Width>& operator[](std::size_t group) const { return groups_.data()[group]; }

private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t groupPlusOne; // 0: free
    };

    static constexpr int kLongestProbe = 64;

    // At 2.4 slots a group, growing again at 1.6, a probe is short and memory small.
    static int slotsFor(int groups) { return static_cast<int>(std::min(2.4 * groups + 64, 2.0e9)); }

    /// Slots stand in the order of their hashes, so that a larger table is filled front to back.
    std::size_t homeOf(std::uint32_t hash) const {
        const auto homes = static_cast<std::uint64_t>(slots_.size() - kLongestProbe);
        return static_cast<std::size_t>(hash * homes >> 32);
    }

    int addGroup(const VertexKey<Width>& key, int vertex) {
        if (numGroups_ == groups_.size())
            groups_.resize(static_cast<int>(
                std::min<std::int64_t>(std::int64_t{3} * numGroups_ / 2 + 64, 2147483000)));
        groups_.data()[numGroups_] = {key, vertex};
        return numGroups_++;
    }

    int addGroupAt(std::size_t slot, const VertexKey<Width>& key, std::uint32_t hash, int vertex) {
        const int group = addGroup(key, vertex);
        slots_.data()[slot] = {hash, static_cast<std::uint32_t>(group) + 1};
        if (1.6 * numGroups_ + 64 > slots_.size())
            growSlots();
        return group;
    }

    void growSlots() {
        Array<Slot> old(slotsFor(static_cast<int>(std::min(1.5 * numGroups_, 1.2e9))) +
                        kLongestProbe);
        old.swap(slots_);
        Slot* const slots = slots_.data();
        for (const Slot& slot : old) {
            if (slot.groupPlusOne == 0)
                continue;
            std::size_t s = homeOf(slot.hash);
            const std::size_t end = s + kLongestProbe;
            while (s < end && slots[s].groupPlusOne != 0)
                ++s;
            if (s < end)
                slots[s] = slot;
        }
    }

    Array<VertexGroup<Width>> groups_;
    Array<Slot> slots_;
    int numGroups_ = 0;
};

/// What a group of one owner is called among those of all.
inline std::uint32_t nameOfGroup(int group, int owner, int owners) {
    return static_cast<std::uint32_t>(group) * static_cast<std::uint32_t>(owners) +
           static_cast<std::uint32_t>(owner);
}

/// Puts every vertex into its group. Each thread owns the keys of one range of hashes and reads
/// all vertices, so that no two threads ever look for the same key.
template <int Width>
class GroupVerticesAlg final : public qvUtil::ThreadedAlg {
public:
    /// Writes the name of each vertex's group to `groupOfVertex`.
    GroupVerticesAlg(const PointMesh& mesh, int* groupOfVertex)
        : keys_(mesh),
          numVertices_(mesh.getNumVertices()),
          groupOfVertex_(groupOfVertex) {}

    void initialize(int numThreads) override {
        tables_.resize(static_cast<std::size_t>(numThreads));
    }

    void threadFunc(int thread, int numThreads) override {
        tables_[thread].reset(std::max(64, numVertices_ / 8 / numThreads));
        // Threads start apart from each other, so that they do not write to the same cache lines.
        const int start = qvUtil::sliceOf(numVertices_, thread, numThreads).first;
        groupRange(start, numVertices_, thread, numThreads);
        groupRange(0, start, thread, numThreads);
        tables_[thread].freeSlots();
    }

    const std::vector<GroupTable<Width>>& tables() const { return tables_; }

private:
    static constexpr int kBatch = 64;

    /// The keys of a row of vertices that are this thread's.
    struct Batch {
        VertexKey<Width> keys[kBatch];
        std::uint32_t hashes[kBatch];
        int vertices[kBatch];
        int count = 0;
    };

    /// Batches pass three stations, so that what each look-up needs of memory has been asked for
    /// while the batches before it were worked on.
    void groupRange(int first, int last, int thread, int numThreads) {
        Batch batches[3];
        GroupTable<Width>& table = tables_[thread];
        for (int begin = first, turn = 0; begin < last + 2 * kBatch; begin += kBatch, ++turn) {
            Batch& entering = batches[turn % 3];
            Batch& leaving = batches[(turn + 1) % 3];
            const Batch& between = batches[(turn + 2) % 3];
            readBatch(begin, std::clamp(last - begin, 0, kBatch), thread, numThreads, entering);
            for (int i = 0; i < entering.count; ++i)
                table.prefetchSlot(entering.hashes[i]);
            for (int i = 0; i < between.count; ++i)
                table.prefetchGroup(between.hashes[i]);
            lookUp(leaving, thread, numThreads);
        }
    }

    void readBatch(int first, int count, int thread, int numThreads, Batch& batch) {
        VertexKey<Width> keys[kBatch];
        keys_.read(first, count, keys);
        batch.count = 0;
        for (int i = 0; i < count; ++i) {
            const std::uint64_t scaled = static_cast<std::uint64_t>(hashOf<Width>(keys[i])) *
                                         static_cast<std::uint32_t>(numThreads);
            batch.keys[batch.count] = keys[i];
            batch.hashes[batch.count] = static_cast<std::uint32_t>(scaled);
            batch.vertices[batch.count] = first + i;
            batch.count += static_cast<int>(scaled >> 32) == thread;
        }
    }

    void lookUp(const Batch& batch, int thread, int numThreads) {
        GroupTable<Width>& table = tables_[thread];
        for (int i = 0; i < batch.count; ++i) {
            const int group = table.groupOf(batch.keys[i], batch.hashes[i], batch.vertices[i]);
            groupOfVertex_[batch.vertices[i]] =
                static_cast<int>(nameOfGroup(group, thread, numThreads));
        }
    }

    VertexKeys<Width> keys_;
    int numVertices_;
    int* groupOfVertex_;
    std::vector<GroupTable<Width>> tables_;
};

} // namespace qvGeom::detail

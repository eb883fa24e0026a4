/// \file
/// Groups vertices by equal keys.
#pragma once

#include <algorithm>
#include <bit>
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
        numGroups_ = 0;
        groups_.resize(0);
        resizeGroups(expected);
        Array<Slot>().swap(slots_);
        growSlots(expected);
    }

    void prefetchSlot(std::uint32_t hash) const { __builtin_prefetch(slotAt_ + homeOf(hash)); }

    void prefetchGroup(std::uint32_t hash) const {
        const Slot& home = slotAt_[homeOf(hash)];
        if (home.hash == hash && home.groupPlusOne != 0)
            __builtin_prefetch(groupAt_ + home.groupPlusOne - 1);
    }

    /// The group of `key`, made where there is none. A key with NaN always makes its own.
    int groupOf(const VertexKey<Width>& key, std::uint32_t hash, int vertex) {
        Slot* slot = slotAt_ + homeOf(hash);
        for (const Slot* const end = slot + kLongestProbe; slot != end; ++slot) {
            if (slot->groupPlusOne == 0)
                return addGroupAt(*slot, key, hash, vertex);
            if (slot->hash != hash)
                continue;
            VertexGroup<Width>& group = groupAt_[slot->groupPlusOne - 1];
            if (areEqual<Width>(group.key, key)) {
                group.last = std::max(group.last, vertex);
                return static_cast<int>(slot->groupPlusOne) - 1;
            }
        }
        return addGroup(key, vertex);
    }

    void freeSlots() { slots_.resize(0); }

    int numGroups() const { return numGroups_; }

    const VertexGroup<Width>& operator[](int group) const { return groupAt_[group]; }

private:
    struct Slot {
        std::uint32_t hash;
        std::uint32_t groupPlusOne; // 0: free
    };

    static constexpr int kLongestProbe = 64;
    static constexpr double kMostElements = 2.0e9;

    static int limited(double size) { return static_cast<int>(std::min(size, kMostElements)); }

    /// Slots stand in the order of their hashes, so that a larger table is filled front to back.
    std::size_t homeOf(std::uint32_t hash) const {
        return static_cast<std::size_t>(hash * numHomes_ >> 32);
    }

    int addGroup(const VertexKey<Width>& key, int vertex) {
        if (numGroups_ == groups_.size())
            resizeGroups(limited(1.5 * numGroups_ + 64));
        groupAt_[numGroups_] = {key, vertex};
        return numGroups_++;
    }

    /// Makes a group that look-ups find, unless its key has NaN: that one equals nothing.
    int addGroupAt(Slot& slot, const VertexKey<Width>& key, std::uint32_t hash, int vertex) {
        const int group = addGroup(key, vertex);
        if (hasNaN<Width>(key))
            return group;
        slot = {hash, static_cast<std::uint32_t>(group) + 1};
        if (numGroups_ > mostGroups_)
            growSlots(limited(1.5 * numGroups_));
        return group;
    }

    void resizeGroups(int size) {
        groups_.resize(size);
        groupAt_ = groups_.data();
    }

    /// Makes room for `numGroups` groups, 2.4 slots for each; at 1.6 it is time to grow again.
    /// Short probes are bought with memory here.
    void growSlots(int numGroups) {
        const int numHomes = limited(2.4 * numGroups + 64);
        Array<Slot> old(numHomes + kLongestProbe);
        old.swap(slots_);
        slotAt_ = slots_.data();
        numHomes_ = static_cast<std::uint64_t>(numHomes);
        mostGroups_ = static_cast<int>(numHomes / 1.6);
        for (const Slot& slot : old) {
            if (slot.groupPlusOne != 0)
                moveIn(slot);
        }
    }

    void moveIn(const Slot& slot) {
        Slot* free = slotAt_ + homeOf(slot.hash);
        const Slot* const end = free + kLongestProbe;
        while (free != end && free->groupPlusOne != 0)
            ++free;
        if (free != end)
            *free = slot;
    }

    Array<VertexGroup<Width>> groups_;
    Array<Slot> slots_;
    int numGroups_ = 0;
    int mostGroups_ = 0; // that the slots are meant for
    // What look-ups read, beside the arrays it belongs to: they are too many to ask an array.
    VertexGroup<Width>* groupAt_ = nullptr;
    Slot* slotAt_ = nullptr;
    std::uint64_t numHomes_ = 0;
};

/// How the groups of several owners are named: owner and number in one word.
class GroupNames {
public:
    explicit GroupNames(int owners)
        : ownerBits_(std::bit_width(static_cast<unsigned>(owners - 1))) {}

    /// Whether every group of `numVertices` vertices can have a name.
    bool suffice(int numVertices) const {
        return static_cast<std::uint64_t>(numVertices) << ownerBits_ <= std::uint64_t{1} << 32;
    }

    std::uint32_t name(int group, int owner) const {
        return static_cast<std::uint32_t>(group) << ownerBits_ | static_cast<std::uint32_t>(owner);
    }

    int ownerOf(std::uint32_t name) const {
        return static_cast<int>(name & ((1U << ownerBits_) - 1));
    }

    int groupOf(std::uint32_t name) const { return static_cast<int>(name >> ownerBits_); }

private:
    int ownerBits_;
};

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
        const GroupNames names(numThreads);
        GroupTable<Width>& table = tables_[thread];
        for (int i = 0; i < batch.count; ++i) {
            const int group = table.groupOf(batch.keys[i], batch.hashes[i], batch.vertices[i]);
            groupOfVertex_[batch.vertices[i]] = static_cast<int>(names.name(group, thread));
        }
    }

    VertexKeys<Width> keys_;
    int numVertices_;
    int* groupOfVertex_;
    std::vector<GroupTable<Width>> tables_;
};

} // namespace qvGeom::detail

#include "qvGeom/topology/GeomAdjacency.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <sys/mman.h>
#include <utility>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/internal/SliceAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"

namespace qvGeom {
namespace {

/// The parts that the work over `items` is split into. Both tables keep some memory per part, and
/// are bound by memory rather than by arithmetic, so that more than a few gain nothing.
class Parts {
public:
    explicit Parts(int items)
        : pool_(qvUtil::ThreadPool::getFor(items)),
          items_(items),
          count_(std::min(pool_.getNumThreads(), kMost)) {}

    int count() const { return count_; }

    /// The items of one part.
    qvUtil::IndexRange operator[](int part) const { return qvUtil::sliceOf(items_, part, count_); }

    /// Runs `work(part)` for every part; they must not depend on each other.
    template <class Work>
    void forEach(const Work& work) const {
        qvUtil::onSlices(pool_, count_, [&work](const qvUtil::IndexRange& parts) {
            for (const int part : parts)
                work(part);
        });
    }

private:
    static constexpr int kMost = 8;

    qvUtil::ThreadPool& pool_;
    int items_;
    int count_;
};

/// Fills `sets` by a counting sort in which every part of the triangles has cursors of its own.
/// Those of the last part stand in the offsets: when it is done, each has come to the end of its
/// set, which is where the next set starts.
void fillAdjTris(const CompactMesh& mesh, ArrayOfSets& sets) {
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();
    const MeshTriangle* const triangles = mesh.getTriangles();
    if (numTriangles == 0)
        return;

    const Parts parts(numTriangles);
    std::vector<Array<int>> ownCursors(static_cast<std::size_t>(parts.count() - 1));
    std::vector<int*> cursors(static_cast<std::size_t>(parts.count()), sets.offsets());
    parts.forEach([&](int part) {
        if (part < parts.count() - 1) {
            ownCursors[part].resize(numVertices);
            cursors[part] = ownCursors[part].data();
        }
        int* const counts = cursors[part];
        for (const int t : parts[part]) {
            for (const int corner : triangles[t].v)
                ++counts[corner];
        }
    });

    int total = 0;
    for (int v = 0; v < numVertices; ++v) {
        for (int* const counts : cursors)
            total += std::exchange(counts[v], total);
    }

    parts.forEach([&](int part) {
        int* const next = cursors[part];
        int* const list = sets.list();
        for (const int t : parts[part]) {
            for (const int corner : triangles[t].v)
                list[next[corner]++] = t;
        }
    });
    int* const offsets = sets.offsets();
    std::copy_backward(offsets, offsets + numVertices - 1, offsets + numVertices);
    offsets[0] = 0;
}

struct FreeZeroed {
    std::size_t bytes = 0;

    void operator()(int* memory) const { detail::freeZeroed(memory, bytes); }
};

/// The neighbour blocks of one slice of the vertices, in memory of their own until the length of
/// the whole table is known.
class NeighbourBlocks {
public:
    /// Collects the blocks of `slice` and writes where each starts among them to `offsets`.
    void collect(const MeshTriangle* triangles, const MeshAdjTris& adjTris,
                 const qvUtil::IndexRange& slice, int* offsets);

    int length() const { return length_; }

    int maxValence() const { return maxValence_; }

    void copyTo(int* data) const { std::copy_n(blocks_.get(), length_, data); }

private:
    std::unique_ptr<int[], FreeZeroed> blocks_;
    int length_ = 0;
    int maxValence_ = 0;
};

void NeighbourBlocks::collect(const MeshTriangle* triangles, const MeshAdjTris& adjTris,
                              const qvUtil::IndexRange& slice, int* offsets) {
    // In a mesh without order every triangle is a cache miss, which the list foretells.
    constexpr std::ptrdiff_t kLookAhead = 16;

    if (slice.empty())
        return;
    const int* tri = adjTris.begin(slice.first);
    const int* const listEnd = adjTris.end(slice.last - 1);

    // A vertex brings its count, and a triangle two neighbours at most.
    const auto bound = static_cast<std::size_t>(slice.size() + 2 * (listEnd - tri)) * sizeof(int);
    blocks_ = {static_cast<int*>(detail::allocateZeroed(bound)), FreeZeroed{bound}};

    // By vertex: one more than the last vertex that it was found to be a neighbour of.
    Array<int> markArray(adjTris.numSets());
    int* const marks = markArray.data();
    int* block = blocks_.get();
    for (const int v : slice) {
        const int mark = v + 1;
        marks[v] = mark;
        int count = 0;
        for (const int* const triEnd = adjTris.end(v); tri != triEnd; ++tri) {
            __builtin_prefetch(triangles + *std::min(tri + kLookAhead, listEnd - 1));
            const MeshTriangle& t = triangles[*tri];
            // The other two corners, in corner order; where v is at two of them, it is marked.
            for (const int c : {t[0] == v ? t[1] : t[0], t[2] == v ? t[1] : t[2]}) {
                if (std::exchange(marks[c], mark) != mark)
                    block[++count] = c;
            }
        }
        offsets[v] = static_cast<int>(block - blocks_.get());
        block[0] = count;
        block += count + 1;
        maxValence_ = std::max(maxValence_, count);
    }
    length_ = static_cast<int>(block - blocks_.get());
}

/// Memory of `count` ints, not set to anything, on huge pages where it is large: page by page, its
/// first touch would cost as much as all the work on it.
std::unique_ptr<int[]> makeInts(int count) {
    constexpr std::size_t kLargeFrom = std::size_t{4} << 20;
    constexpr std::size_t kPage = 4096;
    auto ints = std::make_unique_for_overwrite<int[]>(static_cast<std::size_t>(count));
    std::size_t bytes = static_cast<std::size_t>(count) * sizeof(int);
    void* start = ints.get();
    if (bytes >= kLargeFrom && std::align(kPage, kPage, start, bytes))
        static_cast<void>(
            madvise(start, bytes / kPage * kPage, MADV_HUGEPAGE)); // no harm if refused
    return ints;
}

} // namespace

void meshAdjTris(const CompactMesh& mesh, MeshAdjTris& result) {
    qvOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const int numTriangles = mesh.getNumTriangles();

    ArrayOfSets sets(numVertices, 3 * numTriangles);
    fillAdjTris(mesh, sets);
    MeshAdjTris built(sets);
    result.swap(built);

    debugChannel().print("MeshAdjTris: %d vertices %d triangles %f\n", numVertices, numTriangles,
                         watch.stop());
}

void meshAdjVertices(const CompactMesh& mesh, const MeshAdjTris& adjTris, MeshAdjVertices& result) {
    qvOS::StopWatch watch;
    watch.start();
    const int numVertices = mesh.getNumVertices();
    const Parts parts(numVertices);
    auto offsets = makeInts(numVertices);
    std::vector<NeighbourBlocks> blocks(static_cast<std::size_t>(parts.count()));
    parts.forEach([&](int part) {
        blocks[part].collect(mesh.getTriangles(), adjTris, parts[part], offsets.get());
    });

    std::vector<int> starts;
    int length = 0;
    int maxValence = 0;
    for (const NeighbourBlocks& b : blocks) {
        starts.push_back(length);
        length += b.length();
        maxValence = std::max(maxValence, b.maxValence());
    }

    auto data = makeInts(length);
    parts.forEach([&](int part) {
        blocks[part].copyTo(data.get() + starts[part]);
        for (const int v : parts[part])
            offsets[v] += starts[part];
    });
    MeshAdjVertices built(numVertices, maxValence, offsets.release(), data.release());
    result.swap(built);

    debugChannel().print("MeshAdjVertices: %d vertices, %d triangles: %f s\n", numVertices,
                         mesh.getNumTriangles(), watch.stop());
}

void sortAdjTris(int vertex, int count, const int* tris, const MeshTriangle* triangles,
                 std::vector<int>& sorted) {
    std::vector<int> fan(tris, tris + count);
    for (auto current = fan.begin(); current != fan.end(); ++current) {
        const MeshTriangle& t = triangles[*current];
        const int before = t[(t.cornerAt(vertex) + 2) % 3];
        const auto next = std::find_if(current + 1, fan.end(), [&](int candidate) {
            return triangles[candidate].hasEdge(vertex, before);
        });
        if (next != fan.end())
            std::iter_swap(current + 1, next);
    }
    sorted.swap(fan);
}

bool getSharedEdgeAdjacentTriangle(const int& tri, int edge, const MeshTriangle* triangles,
                                   const MeshAdjTris& adjTris, int& otherTri, int& otherCorner) {
    // From this size on, the set of the edge's other end is searched instead when it is smaller:
    // both lead to the same lowest triangle, and around a hub only one of them is short.
    constexpr int kHub = 32;

    const int self = tri; // which the caller may let otherTri overwrite
    const int a = triangles[self][edge];
    const int b = triangles[self][(edge + 1) % 3];
    const bool aIsHub = adjTris.setSize(a) > std::max(kHub, adjTris.setSize(b));
    const int searched = aIsHub ? b : a;

    otherCorner = -1;
    for (const int* other = adjTris.begin(searched); other != adjTris.end(searched); ++other) {
        const int corner = triangles[*other].cornerAt(b);
        if (*other == self || corner < 0 || (aIsHub && triangles[*other].cornerAt(a) < 0))
            continue;
        otherCorner = corner;
        otherTri = *other;
        return true;
    }
    return false;
}

} // namespace qvGeom

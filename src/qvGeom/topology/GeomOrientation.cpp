#include "qvGeom/topology/GeomOrientation.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "qvGeom/editing/GeomSelection.h"
#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/internal/SliceAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshPlacement.h"

namespace qvGeom {
namespace {

/// Looks for two triangles that run an edge in the same direction. Both have it among those that
/// leave the vertex where it starts, so that each vertex can be looked at by itself.
class OrientedAlg final : public qvUtil::ThreadedAlg {
public:
    OrientedAlg(const CompactMesh& mesh, const MeshAdjTris& adjTris)
        : numVertices_(mesh.getNumVertices()),
          triangles_(mesh.getTriangles()),
          adjTris_(adjTris) {}

    void initialize(int numThreads) override { oriented_.assign(numThreads, 1); }

    void threadFunc(int thread, int numThreads) override {
        std::vector<OutgoingEdge> edges;
        for (const int v : qvUtil::sliceOf(numVertices_, thread, numThreads)) {
            collectEdges(v, edges);
            if (hasConflict(edges)) {
                oriented_[thread] = 0;
                return;
            }
        }
    }

    bool result() const {
        return std::find(oriented_.begin(), oriented_.end(), 0) == oriented_.end();
    }

private:
    struct OutgoingEdge {
        int end;
        int triangle;

        // NOLINTNEXTLINE(modernize-use-nullptr): it sees the comparison with 0 inside
        auto operator<=>(const OutgoingEdge&) const = default;
    };

    static bool areInConflict(const OutgoingEdge& a, const OutgoingEdge& b) {
        return a.end == b.end && a.triangle != b.triangle;
    }

    void collectEdges(int v, std::vector<OutgoingEdge>& edges) const {
        // In a mesh without order every triangle is a cache miss, which the list foretells.
        constexpr std::ptrdiff_t kLookAhead = 16;
        const int* const lastOfAll = adjTris_.list() + adjTris_.numMembers() - 1;
        edges.clear();
        for (const int* t = adjTris_.begin(v); t != adjTris_.end(v); ++t) {
            __builtin_prefetch(triangles_ + t[std::min(kLookAhead, lastOfAll - t)]);
            const MeshTriangle& triangle = triangles_[*t];
            for (int k = 0; k < 3; ++k) {
                if (triangle[k] == v)
                    edges.push_back({triangle[k == 2 ? 0 : k + 1], *t});
            }
        }
    }

    static bool hasConflict(std::vector<OutgoingEdge>& edges) {
        constexpr std::size_t kFewEdges = 24;
        if (edges.size() > kFewEdges) {
            std::sort(edges.begin(), edges.end());
            return std::adjacent_find(edges.begin(), edges.end(), areInConflict) != edges.end();
        }
        for (std::size_t i = 1; i < edges.size(); ++i) {
            for (std::size_t j = 0; j < i; ++j) {
                if (areInConflict(edges[i], edges[j]))
                    return true;
            }
        }
        return false;
    }

    int numVertices_;
    const MeshTriangle* triangles_;
    const MeshAdjTris& adjTris_;
    std::vector<char> oriented_; // by thread; not bits, which threads would share
};

/// Runs `work` on every element of an array.
template <class T, class Work>
void forEach(T* elements, int count, const Work& work) {
    qvUtil::onSlices(qvUtil::ThreadPool::getFor(count), count,
                     [elements, &work](const qvUtil::IndexRange& slice) {
                         std::for_each(elements + slice.first, elements + slice.last, work);
                     });
}

void reverse(MeshTriangle& triangle) { std::swap(triangle[0], triangle[1]); }

/// Turns signs over, that of a zero too.
void negate(MeshNormal& normal) { normal = {-normal.x, -normal.y, -normal.z}; }

/// Whether the strip must be cut to be reversed. An odd one runs backwards instead, and one of 4
/// points exchanges the inner two; below 3 there is no triangle.
bool mustBeCut(int length) { return length > 4 && length % 2 == 0; }

void reverseStrips(CompactMesh& mesh) {
    const int numStrips = mesh.getNumTriStrips();
    const int numPoints = mesh.getNumTriStripPoints();
    const std::vector<int> lengths(mesh.getTriStripLengths(),
                                   mesh.getTriStripLengths() + numStrips);
    const std::vector<int> points(mesh.getTriStripPoints(), mesh.getTriStripPoints() + numPoints);
    const auto numCuts = static_cast<int>(std::count_if(lengths.begin(), lengths.end(), mustBeCut));
    mesh.resizeTriStripArrays(numStrips + numCuts, numPoints + 2 * numCuts);

    const int* strip = points.data();
    int* out = mesh.getTriStripPoints();
    int* outLength = mesh.getTriStripLengths();
    for (const int length : lengths) {
        const int* const end = strip + length;
        if (mustBeCut(length)) { // one point later, all but the first triangle change sides
            out = std::reverse_copy(strip, strip + 3, out);
            out = std::copy(strip + 1, end, out);
            *outLength++ = 3;
            *outLength++ = length - 1;
        } else {
            out = length > 4 || length == 3 ? std::reverse_copy(strip, end, out)
                                            : std::copy(strip, end, out);
            if (length == 4)
                std::swap(out[-3], out[-2]);
            *outLength++ = length;
        }
        strip = end;
    }
}

void reverseFans(CompactMesh& mesh) {
    int* fan = mesh.getTriFanPoints();
    for (int i = 0; i < mesh.getNumTriFans(); ++i) {
        const int length = mesh.getTriFanLengths()[i];
        if (length > 1)
            std::reverse(fan + 1, fan + length);
        fan += length;
    }
}

} // namespace

bool meshOriented(const CompactMesh& mesh, const MeshAdjTris& adjTris) {
    if (mesh.getNumTriangles() == 0)
        return true;
    OrientedAlg alg(mesh, adjTris);
    qvUtil::ThreadPool::getFor(mesh.getNumVertices()).run(alg);
    return alg.result();
}

bool meshMakeOriented(CompactMesh& mesh, const MeshAdjTris& adjTris) {
    MeshOrient orient(mesh, adjTris);
    orient.orient();
    return orient.isOriented();
}

void meshReverseWinding(CompactMesh& mesh, bool flipNormals) {
    debugChannel().print("meshReverseWinding: %d triangles\n", mesh.getNumTriangles());
    qvOS::StopWatch watch;
    watch.start();

    reverseStrips(mesh); // first, as it needs memory, without which nothing is to be changed
    const auto negateEach = [](MeshNormal& normal) { negate(normal); };
    forEach(mesh.getTriangles(), mesh.getNumTriangles(), [](MeshTriangle& t) { reverse(t); });
    reverseFans(mesh);
    if (flipNormals && mesh.getNormals())
        forEach(mesh.getNormals(), mesh.getNumVertices(), negateEach);
    if (mesh.getTriangleNormals())
        forEach(mesh.getTriangleNormals(), mesh.getNumTriangles(), negateEach);

    MeshModification notice(&mesh, MeshModification::Topology);
    if (flipNormals)
        notice.normalsModified();
    else
        notice.normalsValid();
    notice.triangleNormalsModified();
    notice.uvsValid();
    notice.stripsAndFansModified();
    mesh.modified(notice);
    debugChannel().print("  remapped triangle indices: %f s\n", watch.clear());
}

void meshReverseSelectedWinding(CompactMesh& mesh) {
    const BitVector& selected = mesh.getSelectedTriangles();
    debugChannel().print("meshReverseSelectedWinding: %d triangles\n", selected.size());
    qvOS::StopWatch watch;
    watch.start();

    MeshNormal* const normals = mesh.getNormals();
    MeshNormal* const triangleNormals = mesh.getTriangleNormals();
    BitVector negated(mesh.getNumVertices());
    const int end = std::min(selected.size(), mesh.getNumTriangles());
    for (int t = 0; t < end; ++t) {
        if (!selected.test(t))
            continue;
        MeshTriangle& triangle = mesh.getTriangles()[t];
        reverse(triangle);
        for (const int v : triangle.v) {
            if (normals && !negated.test(v)) {
                negate(normals[v]);
                negated.set(v);
            }
        }
        if (triangleNormals)
            negate(triangleNormals[t]);
    }

    MeshModification notice(&mesh, MeshModification::Topology);
    notice.normalsModified();
    notice.triangleNormalsModified();
    notice.uvsValid();
    mesh.modified(notice);
    debugChannel().print("  mesh reverse selected winding: %f s\n", watch.clear());
}

void meshReverseWinding(CompactMesh& mesh, const MeshAdjTris& adjTris, int triangle) {
    MeshSelect select(mesh, adjTris, mesh.getSelectedTriangles(), mesh.getSelectedVertices());
    select.getSelectedTriangles().set(triangle);
    select.selectTrianglesRecursive(false);
    meshReverseSelectedWinding(mesh);
}

void testDeterminants(const std::list<MeshPlacement>& placements, std::vector<bool>& mirrored) {
    std::vector<bool> result;
    result.reserve(placements.size());
    for (const MeshPlacement& placement : placements)
        result.push_back(qvLinear::AffineMatrix(placement.transform).det3x3() < 0.0);
    mirrored.swap(result);
}

MeshOrient::MeshOrient(CompactMesh& mesh, const MeshAdjTris& adjTris)
    : mesh_(&mesh),
      adjTris_(&adjTris) {
    compute();
}

bool MeshOrient::compute() {
    oriented_ = computeOriented();
    computed_ |= oriented_;
    return oriented_;
}

bool MeshOrient::computeOriented() const { return meshOriented(*mesh_, *adjTris_); }

void MeshOrient::orient() {
    if (oriented_)
        return;
    bool flipped = false;
    oriented_ = computeOrientation(flipped);
    computed_ |= oriented_;
    if (!flipped)
        return;
    MeshModification notice(mesh_, MeshModification::Topology);
    notice.uvsValid();
    notice.stsValid();
    notice.coloursValid();
    mesh_->modified(notice);
}

bool MeshOrient::computeOrientation(bool& flipped) {
    const int numTriangles = mesh_->getNumTriangles();
    visited_.resize(numTriangles);
    visited_.clearBits(); // of an earlier call, whose pieces would be passed over
    conflict_ = -1;
    flipped = false;
    for (int t = 0; t < numTriangles; ++t) {
        if (visited_.test(t) || search(flipped, t))
            continue;
        visited_.clearBits();
        search(flipped, conflict_);
        return false;
    }
    return true;
}

// NOLINTNEXTLINE(readability-function-cognitive-complexity): one walk, whose parts share the queue
bool MeshOrient::search(bool& flipped, int seed) {
    constexpr std::ptrdiff_t kLookAhead = 8;
    visited_.resize(mesh_->getNumTriangles());
    queue_.resize(mesh_->getNumTriangles());
    MeshTriangle* const triangles = mesh_->getTriangles();
    int* tail = queue_.data();
    const auto visit = [&](int t) {
        visited_.set(t);
        *tail++ = t;
    };

    // The queue foretells whose triangles will be asked for, which may be anywhere in memory.
    const auto ahead = [&tail](const int* head, std::ptrdiff_t steps) {
        return head[std::min(steps, tail - 1 - head)];
    };
    visit(seed);
    for (const int* head = queue_.data(); head != tail; ++head) {
        for (const int v : triangles[ahead(head, 2 * kLookAhead)].v)
            __builtin_prefetch(adjTris_->offsets() + v);
        for (const int v : triangles[ahead(head, kLookAhead)].v)
            __builtin_prefetch(adjTris_->begin(v));
        const MeshTriangle triangle = triangles[*head];
        for (int k = 0; k < 3; ++k) {
            const int a = triangle[k];
            const int b = triangle[k == 2 ? 0 : k + 1];
            // Both ends have the triangles of the edge, in the same order; and a hub has many more.
            const int end = adjTris_->setSize(a) <= adjTris_->setSize(b) ? a : b;
            for (const int* s = adjTris_->begin(end); s != adjTris_->end(end); ++s) {
                if (*s == *head)
                    continue;
                if (triangles[*s].hasEdge(b, a)) {
                    if (!visited_.test(*s))
                        visit(*s);
                } else if (triangles[*s].hasEdge(a, b)) {
                    if (visited_.test(*s)) {
                        conflict_ = *s;
                        return false;
                    }
                    std::swap(triangles[*s][1], triangles[*s][2]);
                    flipped = true;
                    visit(*s);
                }
            }
        }
    }
    return true;
}

} // namespace qvGeom

#include "qvmesh/MeshFacts.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <span>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/DisjointSets.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomBoundingBox.h"
#include "qvGeom/topology/GeomComponents.h"

#include "qvmesh/Corners.h"
#include "qvmesh/Job.h"

namespace qvmesh {
namespace {

using qvGeom::CompactMesh;
using qvGeom::MeshTriangle;

/// Counts the edges of a mesh and what is wrong with them, by going round every vertex.
class EdgeCounter {
public:
    EdgeCounter(const CompactMesh& mesh, const qvGeom::MeshAdjTris& adjTris)
        : triangles_(mesh.getTriangles()),
          adjTris_(adjTris) {}

    SurfaceFacts count() {
        int numVertices = 0;
        int numCorners = 0;
        for (int v = 0; v < adjTris_.numSets(); ++v) {
            const int numWedges = gatherSpokes(v);
            if (numWedges == 0)
                continue;
            ++numVertices;
            numCorners += numWedges;
            if (joinWedges(v) > 1)
                ++facts_.numPinchedVertices;
        }
        facts_.eulerCharacteristic = numVertices - facts_.numEdges + numCorners / 3;
        return facts_;
    }

private:
    /// One side of a wedge, as the corner of a triangle at a vertex is called here.
    struct Spoke {
        int end; // the vertex at its other end
        int wedge;
        bool outgoing; // whether the triangle runs along it away from the vertex

        bool operator<(const Spoke& other) const { return end < other.end; }
    };

    /// Returns the number of wedges at `v`.
    int gatherSpokes(int v) {
        spokes_.clear();
        int wedge = 0;
        for (const int* t = adjTris_.begin(v); t != adjTris_.end(v); ++t) {
            const MeshTriangle& triangle = triangles_[*t];
            if (!hasDistinctCorners(triangle))
                continue;
            const int corner = triangle.cornerAt(v);
            spokes_.push_back({triangle[(corner + 1) % 3], wedge, true});
            spokes_.push_back({triangle[(corner + 2) % 3], wedge, false});
            ++wedge;
        }
        return wedge;
    }

    /// Joins wedges that share an edge, and counts each edge at its lower vertex. Returns how many
    /// groups of wedges there are.
    int joinWedges(int v) {
        std::sort(spokes_.begin(), spokes_.end());
        const int numWedges = static_cast<int>(spokes_.size()) / 2;
        groups_.reset(numWedges);

        int numGroups = numWedges;
        for (auto first = spokes_.begin(); first != spokes_.end();) {
            const auto last = std::upper_bound(first, spokes_.end(), *first);
            for (auto spoke = first + 1; spoke != last; ++spoke)
                numGroups -= groups_.unite(first->wedge, spoke->wedge);
            if (v < first->end)
                countEdge({first, last});
            first = last;
        }
        return numGroups;
    }

    void countEdge(std::span<const Spoke> uses) {
        ++facts_.numEdges;
        facts_.numBoundaryEdges += uses.size() == 1;
        facts_.numNonManifoldEdges += uses.size() > 2;
        facts_.numInconsistentEdges += uses.size() == 2 && uses[0].outgoing == uses[1].outgoing;
    }

    const MeshTriangle* triangles_;
    const qvGeom::MeshAdjTris& adjTris_;
    SurfaceFacts facts_;
    std::vector<Spoke> spokes_;      // of the vertex at hand; kept for their memory
    qvGeom::DisjointSets groups_{0}; // of its wedges, likewise
};

std::vector<int> lengthsLongestFirst(const qvGeom::MeshBoundaries& loops) {
    std::vector<int> lengths(static_cast<std::size_t>(loops.size()));
    for (int i = 0; i < loops.size(); ++i)
        lengths[static_cast<std::size_t>(i)] = loops.getLength(i);
    std::sort(lengths.begin(), lengths.end(), std::greater());
    return lengths;
}

/// All lengths for programs, the first few for people.
Fact loopsFact(const std::vector<int>& lengths) {
    constexpr std::size_t kMostShown = 7;
    Fact fact = countFact("boundaryLoops", "boundary loops", std::ssize(lengths));
    fact.value = lengths;
    for (std::size_t i = 0; i < std::min(lengths.size(), kMostShown); ++i)
        fact.note += (i == 0 ? "of length " : ", ") + std::to_string(lengths[i]);
    if (lengths.size() > kMostShown)
        fact.note += " ...";
    return fact;
}

} // namespace

bool hasDistinctCorners(const MeshTriangle& triangle) {
    return triangle[0] != triangle[1] && triangle[1] != triangle[2] && triangle[2] != triangle[0];
}

SizeFacts::SizeFacts(const CompactMesh& mesh)
    : numVertices(mesh.getNumVertices()),
      numTriangles(mesh.getNumTriangles()) {
    qvGeom::BitVector used(numVertices);
    for (int t = 0; t < numTriangles; ++t) {
        used.setBits(3, mesh.getTriangles()[t].v);
        const double twiceArea = areaVector(mesh, t).length();
        numDegenerateTriangles += !(twiceArea > 0);
        area += 0.5 * twiceArea;
    }
    numUnusedVertices = numVertices - used.numSetBits();
}

MeshFacts::MeshFacts(const CompactMesh& mesh, Job& job, double share) : size(mesh) {
    const double part = share / 5;
    qvGeom::MeshAdjTris adjTris;
    qvGeom::MeshAdjVertices adjVertices;
    job.stage("adjacency", part, [&](qvUtil::Progress&) {
        qvGeom::meshAdjTris(mesh, adjTris);
        qvGeom::meshAdjVertices(mesh, adjTris, adjVertices);
    });
    job.stage("components", part, [&](qvUtil::Progress&) {
        numComponents = qvGeom::meshComponents(mesh, adjTris, nullptr);
    });
    job.stage("boundaries", part, [&](qvUtil::Progress&) {
        qvGeom::MeshBoundaries loops;
        qvGeom::meshComputeBoundary(mesh, adjTris, adjVertices, loops);
        loopLengths = lengthsLongestFirst(loops);
    });
    job.stage("edges", part,
              [&](qvUtil::Progress&) { surface = EdgeCounter(mesh, adjTris).count(); });
    job.stage("extent", part, [&](qvUtil::Progress&) { qvGeom::meshBoundingBox(mesh, extent); });
}

bool MeshFacts::hasGenus() const {
    return numComponents == 1 && size.numTriangles > 0 && surface.isManifold() &&
           surface.isClosed() && surface.isOriented();
}

Facts describe(const SizeFacts& size) {
    return {countFact("vertices", "vertices", size.numVertices),
            countFact("triangles", "triangles", size.numTriangles),
            countFact("unusedVertices", "unused vertices", size.numUnusedVertices),
            countFact("degenerateTriangles", "degenerate triangles", size.numDegenerateTriangles)};
}

Facts describe(const MeshFacts& facts) {
    const SurfaceFacts& surface = facts.surface;
    Facts list = {
        countFact("components", "components", facts.numComponents),
        loopsFact(facts.loopLengths),
        countFact("edges", "edges", surface.numEdges),
        countFact("boundaryEdges", "boundary edges", surface.numBoundaryEdges),
        countFact("nonManifoldEdges", "non-manifold edges", surface.numNonManifoldEdges),
        countFact("inconsistentEdges", "edges wound inconsistently", surface.numInconsistentEdges),
        countFact("pinchedVertices", "pinched vertices", surface.numPinchedVertices),
        truthFact("manifold", "manifold", surface.isManifold()),
        truthFact("closed", "closed", surface.isClosed()),
        truthFact("oriented", "consistently oriented", surface.isOriented()),
        countFact("eulerCharacteristic", "Euler characteristic", surface.eulerCharacteristic)};
    if (facts.hasGenus())
        list.push_back(countFact("genus", "genus", facts.genus()));
    list.push_back(realFact("area", "area", facts.size.area));
    return list;
}

Facts describe(const qvGeom::BoundingBox& extent) {
    const qvLinear::Point least = widen(extent.minPt());
    const qvLinear::Point greatest = widen(extent.maxPt());
    const qvLinear::Vector size = greatest - least;
    return {pointFact("min", "least x, y, z", least),
            pointFact("max", "greatest x, y, z", greatest),
            pointFact("size", "size", {size.x, size.y, size.z})};
}

} // namespace qvmesh

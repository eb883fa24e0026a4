#include "qvmesh/Crossings.h"

#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "qvmesh/Job.h"
#include "qvmesh/SearchTree.h"

namespace qvmesh {

using qvGeom::CompactMesh;
using Records = std::deque<qvGeom::MeshIntersectPair>;

namespace {

/// Triangles that have corners at the same place are neighbours, in a soup as well.
void weldPositions(CompactMesh& mesh, Job& job, double share) {
    job.stage("weld", share, [&](qvUtil::Progress& progress) {
        mesh.deleteNormals();
        mesh.deleteUVs();
        qvGeom::meshCompact(mesh, progress);
    });
}

} // namespace

Crossings::Crossings(const CompactMesh& mesh, const Records& records, std::size_t stride)
    : triangles(trianglesOf(mesh, records)) {
    for (std::size_t i = 0; i < records.size(); i += stride) {
        const auto at = [&](const qvGeom::MeshCoord& end) {
            return end.evaluate(mesh.getVertices(), mesh.getTriangles());
        };
        const qvLinear::Point ends[] = {at(records[i].first), at(records[i].second)};
        length += qvLinear::distance(ends[0], ends[1]);
        segments.push_back({qvLinear::narrow(ends[0]), qvLinear::narrow(ends[1])});
    }
}

Facts describe(const Crossings& crossings) {
    Facts facts = {
        countFact("crossingPairs", "crossing pairs", std::ssize(crossings.segments)),
        countFact("crossingTriangles", "triangles that cross", crossings.triangles.numSetBits()),
        realFact("length", "length of the segments", crossings.length)};
    if (crossings.numOtherTriangles >= 0)
        facts.insert(facts.begin() + 2,
                     countFact("otherCrossingTriangles", "triangles of the other",
                               crossings.numOtherTriangles));
    return facts;
}

qvGeom::BitVector trianglesOf(const CompactMesh& mesh, const Records& records) {
    qvGeom::BitVector crossing(mesh.getNumTriangles());
    for (const qvGeom::MeshIntersectPair& record : records)
        crossing.set(record.first.triangle);
    return crossing;
}

Crossings crossItself(CompactMesh& mesh, Job& job, double share) {
    weldPositions(mesh, job, 0.15 * share);
    const SearchTree tree(mesh, job, 0.15 * share);
    Records records;
    job.stage("intersect", 0.7 * share, [&](qvUtil::Progress& progress) {
        qvGeom::MeshIntersect(mesh, tree.octree(), tree.tris()).selfIntersect(progress, records);
    });
    return Crossings(mesh, records, 2);
}

} // namespace qvmesh

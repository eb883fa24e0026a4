#include "qvGeom/editing/GeomVertexWeld.h"

#include <algorithm>
#include <cstdint>

#include "qvGeom/editing/detail/GroupNumbering.h"
#include "qvGeom/editing/detail/VertexGroups.h"
#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/base/internal/SliceAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"

namespace qvGeom {
namespace {

constexpr double kSortShare = 0.8;
constexpr double kRenumberShare = 0.2;

qvUtil::ThreadPool& poolFor(int numVertices) {
    qvUtil::ThreadPool& pool = qvUtil::ThreadPool::getFor(numVertices);
    const bool canName = detail::GroupNames(pool.getNumThreads()).suffice(numVertices);
    return canName ? pool : qvUtil::ThreadPool::getSingleThreadedPool();
}

bool hasNormalsInKey(const CompactMesh& mesh) {
    return mesh.getNormals() && !mesh.getNormalsComputed();
}

/// One weld, as a row of steps with a timing line each.
class Weld {
public:
    Weld(CompactMesh& mesh, Remap& remap)
        : mesh_(mesh),
          remap_(remap),
          pool_(poolFor(mesh.getNumVertices())) {
        watch_.start();
    }

    /// Finds the vertices that survive and maps all to them.
    void renumber(qvUtil::Progress& progress) {
        if (!hasNormalsInKey(mesh_))
            renumberByKey<3>(progress);
        else if (!mesh_.getUVs())
            renumberByKey<6>(progress);
        else
            renumberByKey<8>(progress);
    }

    bool mergesAny() const { return survivors_.size() < mesh_.getNumVertices(); }

    /// Edits the mesh and announces it.
    void apply() {
        MeshRemap meshRemap(&remap_, nullptr);
        MeshModification modification(&mesh_, MeshModification::Topology, &meshRemap);

        PointMesh merged; // whole before the mesh is touched: memory may run out
        mergeChannels(merged, modification);
        remapStripsAndFans(modification);
        mesh_.swapVertexChannels(merged);
        remapTriangles();

        modification.triangleNormalsValid();
        mesh_.modified(modification);
        debugChannel().print("  remapped triangles: %f s\n", lap());
    }

private:
    template <int Width>
    void renumberByKey(qvUtil::Progress& progress) {
        qvUtil::Progress child;
        progress.subPhase(kSortShare, child);
        int* const map = remap_.entries();
        detail::GroupVerticesAlg<Width> grouping(mesh_, map);
        pool_.run(grouping);
        const Array<detail::GroupEntry> sorted = detail::sortGroups(grouping.tables(), pool_);
        debugChannel().print("  sorted vertices: %f s\n", lap());

        progress.subPhase(kRenumberShare, child);
        detail::GroupNumbers numbers(grouping.tables(), sorted);
        qvUtil::onSlices(pool_, mesh_.getNumVertices(),
                         [map, &numbers](const qvUtil::IndexRange& slice) {
                             for (const int v : slice)
                                 map[v] = numbers.newIndexOf(static_cast<std::uint32_t>(map[v]));
                         });
        survivors_.swap(numbers.survivors());
        remap_.setNewCount(survivors_.size());
        debugChannel().print("  initialized remap: %f s\n", lap());
    }

    /// Makes the channels of the merged vertices. What is not renumbered keeps its first entries.
    void mergeChannels(PointMesh& merged, MeshModification& modification) {
        const int count = survivors_.size();
        merged.resizeVertexArray(count);
        gather(mesh_.getVertices(), merged.getVertices());
        debugChannel().print("  remapped vertices: %f s\n", lap());

        if (hasNormalsInKey(mesh_)) {
            gather(mesh_.getNormals(), merged.allocNormalArray());
            modification.normalsModified();
            debugChannel().print("  remapped normals: %f s\n", lap());
        } else if (mesh_.getNormals()) {
            std::copy_n(mesh_.getNormals(), count, merged.allocNormalArray());
        }
        if (mesh_.getUVs()) {
            gather(mesh_.getUVs(), merged.allocUVArray());
            modification.uvsModified();
        }
        if (mesh_.getSTs())
            std::copy_n(mesh_.getSTs(), count, merged.allocSTArray());
        if (mesh_.getColours())
            std::copy_n(mesh_.getColours(), count, merged.allocColourArray());
    }

    /// Copies the survivors' records to their new places.
    template <class Record>
    void gather(const Record* from, Record* to) {
        const int* const survivors = survivors_.data();
        qvUtil::onSlices(pool_, survivors_.size(), [=](const qvUtil::IndexRange& slice) {
            for (const int v : slice)
                to[v] = from[survivors[v]];
        });
    }

    void remapStripsAndFans(MeshModification& modification) {
        if (mesh_.getNumTriStrips() > 0) {
            remap_(mesh_.getTriStripPoints(), mesh_.getNumTriStripPoints());
            modification.stripsAndFansModified();
        }
        if (mesh_.getNumTriFans() > 0) {
            remap_(mesh_.getTriFanPoints(), mesh_.getNumTriFanPoints());
            modification.stripsAndFansModified();
        }
    }

    void remapTriangles() {
        MeshTriangle* const triangles = mesh_.getTriangles();
        const int* const map = remap_.entries();
        qvUtil::onSlices(pool_, mesh_.getNumTriangles(),
                         [triangles, map](const qvUtil::IndexRange& slice) {
                             for (const int t : slice)
                                 triangles[t] = {{map[triangles[t][0]], map[triangles[t][1]],
                                                  map[triangles[t][2]]}};
                         });
    }

    /// The seconds since the last lap.
    double lap() {
        const double seconds = watch_.clear();
        watch_.start();
        return seconds;
    }

    CompactMesh& mesh_;
    Remap& remap_;
    qvUtil::ThreadPool& pool_;
    qvOS::StopWatch watch_;
    Array<int> survivors_; // by new index, the old one whose values stay
};

} // namespace

void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress, Remap& remap) {
    const int numVertices = mesh.getNumVertices();
    debugChannel().print("meshCompact: %d vertices, %d triangles\n", numVertices,
                         mesh.getNumTriangles());
    remap.resize(numVertices, numVertices);
    if (numVertices == 0)
        return;

    Weld weld(mesh, remap);
    weld.renumber(progress);
    if (weld.mergesAny())
        weld.apply();
    else
        remap.setSequential();
}

void meshCompact(CompactMesh& mesh, qvUtil::Progress& progress) {
    Remap remap;
    meshCompact(mesh, progress, remap);
}

} // namespace qvGeom

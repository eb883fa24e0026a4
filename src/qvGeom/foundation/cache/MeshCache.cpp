#include "qvGeom/foundation/cache/MeshCache.h"

#include <map>
#include <set>
#include <utility>

#include "qvGeom/foundation/base/Entity.h"
#include "qvGeom/foundation/base/Signal.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomBoundingBox.h"

namespace qvGeom {

using qv::Reference;

namespace {

constexpr int kDefaultVerticesPerLeaf = 16;

/// What is stored for one mesh.
struct MeshCacheInfo {
    Reference<MeshAdjTris> adjTris;
    Reference<MeshAdjVertices> adjVertices;
    Reference<Octree> octree;
    Reference<OctreeTris> octreeTris;
    Reference<OctreeLines> octreeLines;
    Reference<MeshBoundaries> boundaries;
};

} // namespace

MeshCache::~MeshCache() = default;

Reference<MeshAdjTris> MeshCache::getAdjTris(const CompactMesh& mesh) {
    Reference<MeshAdjTris> adjTris = getAdjTrisImpl(mesh);
    if (!adjTris) {
        adjTris = new MeshAdjTris;
        meshAdjTris(mesh, *adjTris);
        setAdjTrisImpl(mesh, adjTris);
    }
    return adjTris;
}

Reference<MeshAdjVertices> MeshCache::getAdjVertices(const CompactMesh& mesh) {
    Reference<MeshAdjVertices> adjVertices = getAdjVerticesImpl(mesh);
    if (!adjVertices) {
        const Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
        adjVertices = new MeshAdjVertices;
        meshAdjVertices(mesh, *adjTris, *adjVertices);
        setAdjVerticesImpl(mesh, adjVertices);
    }
    return adjVertices;
}

Reference<Octree> MeshCache::getOctree(const CompactMesh& mesh, int maxVerticesPerLeaf) {
    Reference<Octree> octree = getOctreeImpl(mesh);
    if (!octree) {
        BoundingBox box;
        meshBoundingBox(mesh, box);
        octree = new Octree(mesh.getNumVertices(), mesh.getVerticesRaw(), box, true,
                            maxVerticesPerLeaf < 1 ? kDefaultVerticesPerLeaf : maxVerticesPerLeaf);
        setOctreeImpl(mesh, octree);
    }
    return octree;
}

Reference<OctreeTris> MeshCache::getOctreeTris(const CompactMesh& mesh) {
    Reference<OctreeTris> octreeTris = getOctreeTrisImpl(mesh);
    if (!octreeTris) {
        const Reference<Octree> octree = getOctree(mesh, 0);
        octreeTris = new OctreeTris;
        computeOctreeTris(mesh, *octree, *octreeTris);
        setOctreeTrisImpl(mesh, octreeTris);
    }
    return octreeTris;
}

Reference<OctreeLines> MeshCache::getOctreeLines(const CompactMesh& mesh) {
    Reference<OctreeLines> octreeLines = getOctreeLinesImpl(mesh);
    if (!octreeLines) {
        const Reference<Octree> octree = getOctree(mesh, 0);
        octreeLines = new OctreeLines;
        meshOctreeLines(mesh, *octree, *octreeLines);
        setOctreeLinesImpl(mesh, octreeLines);
    }
    return octreeLines;
}

Reference<MeshBoundaries> MeshCache::getBoundaries(const CompactMesh& mesh) {
    Reference<MeshBoundaries> boundaries = getBoundariesImpl(mesh);
    if (!boundaries) {
        const Reference<MeshAdjTris> adjTris = getAdjTris(mesh);
        const Reference<MeshAdjVertices> adjVertices = getAdjVertices(mesh);
        boundaries = new MeshBoundaries;
        meshComputeBoundary(mesh, *adjTris, *adjVertices, *boundaries);
        setBoundariesImpl(mesh, boundaries);
    }
    return boundaries;
}

/// The records, and the ear at the meshes' signals.
class SimpleMeshCache::Impl final : public qv::ImplBase {
public:
    template <class T>
    Reference<T> get(const CompactMesh& mesh, Reference<T> MeshCacheInfo::*kind) const {
        const auto record = records_.find(&mesh);
        return record == records_.end() ? Reference<T>() : record->second.*kind;
    }

    template <class T>
    void set(const CompactMesh& mesh, Reference<T> MeshCacheInfo::*kind, Reference<T>& table) {
        connect(mesh);
        // What was there is dropped when the caller's reference goes, after the record is whole.
        (records_[&mesh].*kind).swap(table);
    }

    void clear() { records_.clear(); }

private:
    /// Once for each mesh: connections stay when its record is dropped.
    void connect(const CompactMesh& mesh) {
        if (connected_.contains(&mesh))
            return;
        mesh.getDestroyedSignal().addCallback(
            client_, qvRTB::FunctionArgMember(this, &Impl::onMeshDestroyed));
        mesh.getModifiedSignal().addCallback(client_,
                                             qvRTB::FunctionArgMember(this, &Impl::onMeshModified));
        connected_.insert(&mesh);
    }

    void onMeshDestroyed(qvRTB::Entity* entity) {
        const auto* const mesh = static_cast<const CompactMesh*>(entity);
        connected_.erase(mesh);
        records_.erase(mesh);
    }

    void onMeshModified(qvRTB::EntityModification& modification) {
        records_.erase(static_cast<const CompactMesh*>(modification.getEntity()));
    }

    std::map<const CompactMesh*, MeshCacheInfo> records_;
    std::set<const CompactMesh*> connected_;
    qvRTB::SignalClient client_;
};

SimpleMeshCache::SimpleMeshCache() : impl_(new Impl) {}

SimpleMeshCache::~SimpleMeshCache() = default;

void SimpleMeshCache::clear() { impl_->clear(); }

Reference<MeshAdjTris> SimpleMeshCache::getAdjTrisImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::adjTris);
}

Reference<MeshAdjVertices> SimpleMeshCache::getAdjVerticesImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::adjVertices);
}

Reference<Octree> SimpleMeshCache::getOctreeImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::octree);
}

Reference<OctreeTris> SimpleMeshCache::getOctreeTrisImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::octreeTris);
}

Reference<OctreeLines> SimpleMeshCache::getOctreeLinesImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::octreeLines);
}

Reference<MeshBoundaries> SimpleMeshCache::getBoundariesImpl(const CompactMesh& mesh) {
    return impl_->get(mesh, &MeshCacheInfo::boundaries);
}

void SimpleMeshCache::setAdjTrisImpl(const CompactMesh& mesh, Reference<MeshAdjTris> table) {
    impl_->set(mesh, &MeshCacheInfo::adjTris, table);
}

void SimpleMeshCache::setAdjVerticesImpl(const CompactMesh& mesh,
                                         Reference<MeshAdjVertices> table) {
    impl_->set(mesh, &MeshCacheInfo::adjVertices, table);
}

void SimpleMeshCache::setOctreeImpl(const CompactMesh& mesh, Reference<Octree> octree) {
    impl_->set(mesh, &MeshCacheInfo::octree, octree);
}

void SimpleMeshCache::setOctreeTrisImpl(const CompactMesh& mesh, Reference<OctreeTris> table) {
    impl_->set(mesh, &MeshCacheInfo::octreeTris, table);
}

void SimpleMeshCache::setOctreeLinesImpl(const CompactMesh& mesh, Reference<OctreeLines> table) {
    impl_->set(mesh, &MeshCacheInfo::octreeLines, table);
}

void SimpleMeshCache::setBoundariesImpl(const CompactMesh& mesh, Reference<MeshBoundaries> table) {
    impl_->set(mesh, &MeshCacheInfo::boundaries, table);
}

} // namespace qvGeom

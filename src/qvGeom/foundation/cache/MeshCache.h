/// \file
/// A store of the tables that are derived from meshes.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshBoundaries.h"
#include "qvGeom/foundation/geometry/Octree.h"
#include "qvGeom/foundation/geometry/OctreeLines.h"
#include "qvGeom/foundation/geometry/OctreeTris.h"

namespace qvGeom {

class CompactMesh;

/// Builds tables when they are first asked for and hands out the stored ones afterwards. A table
/// that is handed out belongs to its caller as well and stays as it is when the store drops it;
/// hold the reference, not the bare table, over any edit of the mesh. One thread at a time.
class QVGEOM_API MeshCache {
public:
    MeshCache() = default;
    MeshCache(const MeshCache&) = delete;
    MeshCache& operator=(const MeshCache&) = delete;
    virtual ~MeshCache();

    qv::Reference<MeshAdjTris> getAdjTris(const CompactMesh& mesh);
    qv::Reference<MeshAdjVertices> getAdjVertices(const CompactMesh& mesh);
    /// The tree over the mesh's vertices, with empty children. `maxVerticesPerLeaf`, where less
    /// than 1 means 16, has no effect on one that is stored already.
    qv::Reference<Octree> getOctree(const CompactMesh& mesh, int maxVerticesPerLeaf);
    /// What is in the voxels of the stored octree, or of one of 16 vertices a leaf.
    qv::Reference<OctreeTris> getOctreeTris(const CompactMesh& mesh);
    qv::Reference<OctreeLines> getOctreeLines(const CompactMesh& mesh);
    qv::Reference<MeshBoundaries> getBoundaries(const CompactMesh& mesh);

protected:
    // Each returns null when nothing is stored.
    virtual qv::Reference<MeshAdjTris> getAdjTrisImpl(const CompactMesh& mesh) = 0;
    virtual qv::Reference<MeshAdjVertices> getAdjVerticesImpl(const CompactMesh& mesh) = 0;
    virtual qv::Reference<Octree> getOctreeImpl(const CompactMesh& mesh) = 0;
    virtual qv::Reference<OctreeTris> getOctreeTrisImpl(const CompactMesh& mesh) = 0;
    virtual qv::Reference<OctreeLines> getOctreeLinesImpl(const CompactMesh& mesh) = 0;
    virtual qv::Reference<MeshBoundaries> getBoundariesImpl(const CompactMesh& mesh) = 0;

    // Each replaces what is stored.
    virtual void setAdjTrisImpl(const CompactMesh& mesh, qv::Reference<MeshAdjTris> table) = 0;
    virtual void setAdjVerticesImpl(const CompactMesh& mesh,
                                    qv::Reference<MeshAdjVertices> table) = 0;
    virtual void setOctreeImpl(const CompactMesh& mesh, qv::Reference<Octree> octree) = 0;
    virtual void setOctreeTrisImpl(const CompactMesh& mesh, qv::Reference<OctreeTris> table) = 0;
    virtual void setOctreeLinesImpl(const CompactMesh& mesh, qv::Reference<OctreeLines> table) = 0;
    virtual void setBoundariesImpl(const CompactMesh& mesh,
                                   qv::Reference<MeshBoundaries> table) = 0;
};

/// Keeps the tables of any number of meshes in memory. All of a mesh's are dropped when it
/// announces a modification, of whatever kind, or its destruction. Mesh and cache may be destroyed
/// in either order. What announces nothing, such as swapping or assigning a mesh, is not noticed.
class QVGEOM_API SimpleMeshCache : public MeshCache {
public:
    SimpleMeshCache();
    SimpleMeshCache(const SimpleMeshCache&) = delete;
    SimpleMeshCache& operator=(const SimpleMeshCache&) = delete;
    ~SimpleMeshCache() override;

    /// Drops the tables of all meshes.
    void clear();

protected:
    qv::Reference<MeshAdjTris> getAdjTrisImpl(const CompactMesh& mesh) override;
    qv::Reference<MeshAdjVertices> getAdjVerticesImpl(const CompactMesh& mesh) override;
    qv::Reference<Octree> getOctreeImpl(const CompactMesh& mesh) override;
    qv::Reference<OctreeTris> getOctreeTrisImpl(const CompactMesh& mesh) override;
    qv::Reference<OctreeLines> getOctreeLinesImpl(const CompactMesh& mesh) override;
    qv::Reference<MeshBoundaries> getBoundariesImpl(const CompactMesh& mesh) override;
    void setAdjTrisImpl(const CompactMesh& mesh, qv::Reference<MeshAdjTris> table) override;
    void setAdjVerticesImpl(const CompactMesh& mesh, qv::Reference<MeshAdjVertices> table) override;
    void setOctreeImpl(const CompactMesh& mesh, qv::Reference<Octree> octree) override;
    void setOctreeTrisImpl(const CompactMesh& mesh, qv::Reference<OctreeTris> table) override;
    void setOctreeLinesImpl(const CompactMesh& mesh, qv::Reference<OctreeLines> table) override;
    void setBoundariesImpl(const CompactMesh& mesh, qv::Reference<MeshBoundaries> table) override;

private:
    class Impl;
    qv::Reference<Impl> impl_;
};

} // namespace qvGeom

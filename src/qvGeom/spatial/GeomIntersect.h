/// \file
/// Where triangles cross: those of one mesh each other, or those of two meshes.
///
/// Two triangles cross where they share a segment longer than `epsilonTol`. Triangles that only
/// touch in a point do not, nor do those in planes that face the same way within `epsilonTol` or
/// meet at an angle whose sine is below `parallelTol`, coplanar ones among them.
#pragma once

#include <deque>
#include <memory>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/MeshCoord.h"

namespace qvLinear {
struct AffineMatrix;
}

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class CompactMesh;
class MeshIntersectImpl;
class Octree;
class OctreeTris;

/// The segment in which a triangle crosses another one, from end to end; both are on the triangle.
struct MeshIntersectPair {
    MeshCoord first, second;
};

/// The test of two triangles. Where they cross, writes the ends of the segment, `q` lying from `p`
/// along the cross product of their normals, and returns true; writes nothing otherwise. A triangle
/// without area is taken to face (0, 0, 1).
[[nodiscard]] QVGEOM_API bool intersect(const qvLinear::Point& a1, const qvLinear::Point& b1,
                                        const qvLinear::Point& c1, const qvLinear::Point& a2,
                                        const qvLinear::Point& b2, const qvLinear::Point& c2,
                                        qvLinear::Point& p, qvLinear::Point& q);

/// Finds crossings of one mesh, again and again. Searches run on the shared pool and give the same
/// records in the same order on any number of threads, by triangle of the mesh. They look at
/// `progress` for cancellation now and then; a cancelled one gives the records found so far.
class QVGEOM_API MeshIntersect {
public:
    /// Borrows all three. Neither may change while this lives: `octreeTris` holds the triangles of
    /// `mesh` in the voxels of `octree`.
    MeshIntersect(const CompactMesh& mesh, const Octree& octree, const OctreeTris& octreeTris);
    MeshIntersect(const MeshIntersect&) = delete;
    MeshIntersect& operator=(const MeshIntersect&) = delete;
    ~MeshIntersect();

    /// Replaces `out` by two records for each crossing of two triangles that have no vertex in
    /// common: the segment on the triangle of the higher index, then the same, with its ends in the
    /// same order, on the other.
    void selfIntersect(qvUtil::Progress& progress, std::deque<MeshIntersectPair>& out);

    /// Replaces `out1` by the segments in which triangles of the mesh cross those of `mesh2`, and
    /// `out2` by the same segments, in the same order and direction, on `mesh2`. That mesh is
    /// placed by `toMesh1`, which may flatten it. Both outputs stay as they are when the placed box
    /// of `octree2` misses that of the mesh's octree.
    void intersect(const CompactMesh& mesh2, const Octree& octree2, const OctreeTris& octreeTris2,
                   const qvLinear::AffineMatrix& toMesh1, qvUtil::Progress& progress,
                   std::deque<MeshIntersectPair>& out1, std::deque<MeshIntersectPair>& out2);

    /// The test of two triangles, as above.
    [[nodiscard]] static bool intersect(const qvLinear::Point& a1, const qvLinear::Point& b1,
                                        const qvLinear::Point& c1, const qvLinear::Point& a2,
                                        const qvLinear::Point& b2, const qvLinear::Point& c2,
                                        qvLinear::Point& p, qvLinear::Point& q) {
        return qvGeom::intersect(a1, b1, c1, a2, b2, c2, p, q);
    }

private:
    std::unique_ptr<MeshIntersectImpl> impl_;
};

} // namespace qvGeom

/// \file
/// The point of a mesh that is closest to a given one.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/OctreeIterator.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Vector.h"

namespace qvGeom {

class CompactMesh;
struct MeshCoord;
class Octree;
class OctreeTris;

/// Looks for closest points through an octree over the vertices of the mesh and its triangles. The
/// octree must keep empty children: parts of triangles in those that do not exist are not seen.
///
/// All three are borrowed and must not change. An object costs nothing to make, and learns about
/// the mesh from points far off the surface. Threads need one each.
class QVGEOM_API MeshClosestPoint {
public:
    MeshClosestPoint(const CompactMesh& mesh, const Octree& octree, const OctreeTris& tris);

    /// Fills `out` with the point closest to `point` and returns the distance. Of triangles at the
    /// same distance the one with the lowest index is taken. Triangles with a coordinate that is
    /// not finite are passed over. When no triangle is left, or when `point` has such a coordinate
    /// or one beyond 1e75, `out.triangle` is -1 and the distance infinite.
    double find(const qvLinear::Point& point, MeshCoord& out);

private:
    friend class ClosestPointSearch;

    /// A box along the mean normal of a leaf's triangles, which most often lie in it much closer
    /// than in one along the axes of space.
    struct TiltedBox {
        qvLinear::Vector normal; // of length 1; zero before the box is known
        qvLinear::Vector across; // the same, at right angles
        float lo[3], hi[3];      // along these two and their cross product
    };

    /// What the search has yet to look at, by the squared distance that it has at least.
    struct Pending {
        double distance2;
        int place;     // of a node among nodes_; of a leaf its index, with all bits turned over
        bool isTilted; // the distance is that of the tilted box

        bool isLeaf() const { return place < 0; }

        /// For a heap with the nearest on top.
        bool operator<(const Pending& other) const { return distance2 > other.distance2; }
    };

    const CompactMesh* mesh_;
    const Octree* octree_;
    const OctreeTris* tris_;
    double meshScale_;             // no coordinate of the octree is larger
    Array<TiltedBox> tiltedBoxes_; // by leaf, from the first need on

    // Of one search, kept for the memory.
    std::vector<OctreeIterator> nodes_;
    std::vector<Pending> pending_;
};

} // namespace qvGeom

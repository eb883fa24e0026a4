/// \file
/// What can be said of a mesh.
#pragma once

#include <vector>

#include "qvGeom/foundation/geometry/BoundingBox.h"

#include "qvmesh/Report.h"

namespace qvGeom {
class CompactMesh;
struct MeshTriangle;
} // namespace qvGeom

namespace qvmesh {

class Job;

/// How many vertices and triangles the mesh has, and whether they serve.
struct SizeFacts {
    int numVertices = 0;
    int numTriangles = 0;
    int numUnusedVertices = 0;
    int numDegenerateTriangles = 0; // without area
    double area = 0;                // may be beyond the range of floats

    explicit SizeFacts(const qvGeom::CompactMesh& mesh);
};

bool hasDistinctCorners(const qvGeom::MeshTriangle& triangle);

/// How the triangles hang together. Those with one vertex at two corners count for nothing here.
struct SurfaceFacts {
    int numEdges = 0;
    int numBoundaryEdges = 0;     // of one triangle
    int numNonManifoldEdges = 0;  // of three or more
    int numInconsistentEdges = 0; // of two that run along it the same way
    int numPinchedVertices = 0;   // whose triangles are not all joined through edges at it
    int eulerCharacteristic = 0;

    bool isManifold() const { return numNonManifoldEdges == 0 && numPinchedVertices == 0; }

    bool isClosed() const { return numBoundaryEdges == 0; }

    bool isOriented() const { return numInconsistentEdges == 0; }
};

struct MeshFacts {
    SizeFacts size;
    SurfaceFacts surface;
    int numComponents = 0;
    std::vector<int> loopLengths; // of the boundary, longest first
    qvGeom::BoundingBox extent;

    /// Finds all of it, as stages of `job` that take `share` of the whole.
    MeshFacts(const qvGeom::CompactMesh& mesh, Job& job, double share);

    /// Whether the mesh is one closed surface of which a genus can be told.
    bool hasGenus() const;

    int genus() const { return (2 - surface.eulerCharacteristic) / 2; }
};

Facts describe(const SizeFacts& size);
/// All but the size and the extent.
Facts describe(const MeshFacts& facts);
Facts describe(const qvGeom::BoundingBox& extent);

} // namespace qvmesh

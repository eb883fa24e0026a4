/// \file
/// Where triangles cross.
#pragma once

#include <deque>
#include <vector>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/spatial/GeomIntersect.h"

#include "qvmesh/Report.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {

class Job;

/// What was found, in the space of the first mesh.
struct Crossings {
    std::vector<Segment> segments;
    double length = 0;           // of all segments
    qvGeom::BitVector triangles; // that take part
    int numOtherTriangles = -1;  // none when a mesh crosses itself

    /// Takes one segment of each `stride` records.
    Crossings(const qvGeom::CompactMesh& mesh, const std::deque<qvGeom::MeshIntersectPair>& records,
              std::size_t stride);
};

Facts describe(const Crossings& crossings);

/// The triangles of `mesh` that the records name.
qvGeom::BitVector trianglesOf(const qvGeom::CompactMesh& mesh,
                              const std::deque<qvGeom::MeshIntersectPair>& records);

/// Finds where a mesh crosses itself, as stages of `job`. Its vertices are merged by their places
/// alone; triangles keep their numbers.
Crossings crossItself(qvGeom::CompactMesh& mesh, Job& job, double share);

} // namespace qvmesh

/// \file
/// Removing many vertices from a mesh at once.
#pragma once

#include <functional>
#include <vector>

#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/improvement/detail/StarRemoval.h"

namespace qvGeom {

class CompactMesh;
class Remap;

namespace detail {

/// Tries to remove chosen vertices, of which no two are joined by an edge, and then writes the
/// outcome to the mesh, or not. Keep one for many passes: it keeps its memory.
///
/// The outcome is that of one removal after the other in the order of the vertices. Yet nearly all
/// of them can be decided at once, as what happens inside one ring of triangles seldom matters to
/// another; the few others wait for their turn.
class RemovalPass {
public:
    /// Told of every removal, in order; false ends the pass.
    using OnRemoved = std::function<bool(int v)>;

    RemovalPass() = default;
    RemovalPass(const RemovalPass&) = delete; // the workers name its scene
    RemovalPass& operator=(const RemovalPass&) = delete;
    ~RemovalPass() = default;

    /// Tries the vertices whose bits are set and clears the bits of those that are not removed,
    /// also of those that were not tried. Returns how many are removed. `test` may be null.
    int run(const CompactMesh& mesh, const MeshAdjTris& adjTris, const MeshAdjVertices& adjVertices,
            const RemovalTest* test, BitVector& chosen, const OnRemoved& onRemoved);

    /// Writes what the last pass has removed to its mesh, without a notice. `remap` becomes the
    /// map of the vertices. The triangles around a removed vertex leave their places to those that
    /// replace them; all others keep their corners and their order.
    void write(CompactMesh& mesh, Remap& remap);

private:
    class PlanAlg;
    class CompactAlg;

    /// What a vertex that is removed leaves behind.
    struct Plan {
        StarRemoval::Outcome outcome;
        int thread; // in whose triangles the new ones are
        int firstTriangle;
    };

    /// One per thread.
    struct Worker {
        explicit Worker(const RemovalScene& scene) : star(scene) {}

        Plan keep(StarRemoval::Outcome outcome, int thread);

        StarRemoval star;
        std::vector<MeshTriangle> triangles;
    };

    void planBlock(int first, int last);

    RemovalScene scene_{};
    std::vector<int> vertices_; // all that are tried, ascending
    std::vector<Plan> plans_;   // of each
    std::vector<Worker> workers_;
    std::vector<int> removed_; // places in vertices_
    std::vector<MeshTriangle> replaced_;
};

} // namespace detail
} // namespace qvGeom

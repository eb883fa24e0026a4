/// \file
/// Selecting what is seen.
#pragma once

#include <memory>

#include "qvGeom/Export.h"

namespace qvLinear {
struct AffineMatrix;
struct ProjMatrix;
} // namespace qvLinear

namespace qvGeom {

class BitVector;
class CompactMesh;
class MeshAdjVertices;

/// Finds which connected pieces of a selection are mostly seen. Holds one view, and borrows both
/// bit vectors.
class QVGEOM_API MeshSelectVisible {
public:
    /// Looks through `proj` at a map 1024 pixels long. `aspect` is the map's width over its height;
    /// a negative one stands for that of `proj`. Of candidates, those of size 0 are none.
    MeshSelectVisible(const qvLinear::ProjMatrix& proj, BitVector& result,
                      BitVector& candidateVertices, double aspect);
    MeshSelectVisible(const MeshSelectVisible&) = delete;
    MeshSelectVisible& operator=(const MeshSelectVisible&) = delete;
    ~MeshSelectVisible();

    /// Replaces the result by one bit for each triangle: those of the pieces of which more samples
    /// are seen than are hidden. The pieces are the candidate vertices, set bit by bit, that edges
    /// between them connect, and every triangle whose first vertex is one of them. Only selected
    /// triangles are drawn, so that only these are seen, hide others, and count; what a piece hides
    /// of itself does not count. Leaves the result when there is no more than one piece. `model`
    /// moves the mesh before the camera of `proj`. Draws twice, on the calling thread.
    void process(const CompactMesh& mesh, const MeshAdjVertices& adjacency,
                 const qvLinear::AffineMatrix& model);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace qvGeom

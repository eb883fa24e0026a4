/// \file
/// Cutting a surface open along its edges.
#pragma once

#include "qvGeom/Export.h"

namespace qvGeom {

class CompactMesh;

/// Opens a surface so that it can be spread out in the plane.
///
/// The cut is the smallest part of a graph of shortest paths that meets every handle and joins all
/// boundary loops: the edges that neither a tree of shortest paths nor a tree across the remaining
/// edges needs (Erickson and Whittlesey, "Greedy Optimal Homotopy and Homology Generators", 2005).
/// A closed surface without handles is cut along the shortest path between two far apart vertices.
class QVGEOM_API cutSurface {
public:
    /// The mesh is borrowed.
    explicit cutSurface(CompactMesh& mesh);

    /// Cuts the mesh until it is one disk: one component with one boundary loop of at least three
    /// edges, and no handle. Triangles keep their order, winding and geometry; vertices along the
    /// cut are doubled, the copies being appended with all channels and the selection bit. Strips
    /// and fans, which would close the cut again, are dropped. Sends one topology notice, whose
    /// remap takes every vertex to itself. A mesh that is a disk is left alone.
    ///
    /// False, and nothing changed, when the triangles are not all connected across edges, or none
    /// are there, or have repeated corners; when more than two meet at an edge, two at an edge wind
    /// against each other, or several fans meet at a vertex. Vertices that no triangle uses are no
    /// component. Takes time in proportion to n log n.
    [[nodiscard]] bool makeDisk();

private:
    CompactMesh& mesh_;
};

} // namespace qvGeom

/// \file
/// Exchange of the diagonals between neighbouring triangles where that improves a mesh.
#pragma once

#include <memory>
#include <set>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Signal.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/foundation/linear/Point.h"

namespace qvGeom {

/// Decides which edges to swap. Criteria are connected to its veto signal, and an edge is swapped
/// when none of them objects:
///
///     qvRTB::SignalClient client;
///     MeshEdgeSwapper swapper;
///     swapper.getVetoSignal().addCallback(
///         client, qvRTB::FunctionArgMember(&swapper, &MeshEdgeSwapper::preventFoldover));
///
/// Here A and B are the start and the end of an edge, C and D the third corners of the triangles on
/// its own side and on its twin's; a swap puts C-D in place of A-B.
class QVGEOM_API MeshEdgeSwapper {
public:
    /// Its slots get the edge and a veto to set.
    using VetoSignal = qvRTB::Signal<TopoMeshEdge, bool&>;

    MeshEdgeSwapper();
    MeshEdgeSwapper(const MeshEdgeSwapper&) = delete;
    MeshEdgeSwapper& operator=(const MeshEdgeSwapper&) = delete;
    virtual ~MeshEdgeSwapper();

    /// Whether no connected slot sets the veto. All slots that are not blocked are asked, in the
    /// order of their connection, those after a veto too. False when nothing is connected, and for
    /// an edge without twin, about which no slot is asked.
    virtual bool shouldSwap(TopoMeshEdge edge);

    /// The signal that criteria are connected to, made when it is first asked for.
    VetoSignal& getVetoSignal();

    /// Destroys the signal, and with it all connections.
    void clearVetoSignal();

    /// \name Criteria
    /// Each sets the veto when it objects and leaves it alone otherwise. All object to an edge
    /// without twin. They read the mesh and nothing else, and may be called by themselves.
    /// @{
    /// Objects unless the sum of the angles at A and B, which the new edge would lie opposite to,
    /// is less than that of the angles at C and D. A side without a direction makes an angle of 0.
    void minimizeOppositeAngleSum(TopoMeshEdge edge, bool& veto);

    /// Objects when the new triangles would face more than a right angle apart, or when one of them
    /// has no area.
    void preventFoldover(TopoMeshEdge edge, bool& veto);

    /// Objects when both A and B are on the boundary, and when both C and D are.
    void preserveBoundary(TopoMeshEdge edge, bool& veto);

    /// Objects unless the fold along the new edge would be within 2.5 degrees of that along the old
    /// one; also when one of the four triangles has no area.
    void preserveFeatures(TopoMeshEdge edge, bool& veto);
    /// @}

private:
    std::unique_ptr<VetoSignal> vetoSignal_;
};

/// The angle between the triangles (p0, p1, p2) and (p1, p0, p3): 0 where they are coplanar, up to
/// pi where one lies on the other, negative where p3 lies above the first. `isDefined` tells
/// whether both triangles have an area; the angle is 0 if not.
QVGEOM_API double dihedralAngle(const qvLinear::Point& p0, const qvLinear::Point& p1,
                                const qvLinear::Point& p2, const qvLinear::Point& p3,
                                bool& isDefined);

/// Goes through the list of half-edges once and swaps what the swapper approves, each edge seen
/// from its older half. Returns the number of swaps made.
QVGEOM_API int meshSwapEdgesOnce(TopoMesh& mesh, MeshEdgeSwapper& swapper);

/// The same for the half-edges of a set, in its order; where both halves of an edge are in it, the
/// edge is tried twice.
QVGEOM_API int meshSwapEdgesOnce(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                                 MeshEdgeSwapper& swapper);

/// Repeats such passes until one swaps nothing. Returns the number of all swaps. Criteria that
/// never come to rest would swap for ever, as `preventFoldover` does alone, and any of them may at
/// positions that are not finite. So passes end too when they come back to connections they have
/// left before, but not until they have been at it for 64 passes and a million edges: criteria
/// that read nothing but the mesh can only repeat themselves then.
QVGEOM_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, MeshEdgeSwapper& swapper);
QVGEOM_API int meshSwapEdgesRepeatedly(TopoMesh& mesh, const std::set<TopoMeshEdge>& edges,
                                       MeshEdgeSwapper& swapper);

} // namespace qvGeom

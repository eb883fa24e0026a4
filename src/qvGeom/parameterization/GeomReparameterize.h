/// \file
/// Flattening of a surface onto the plane, for texture coordinates.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/cache/MeshCache.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/linear/AffineMatrix.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/foundation/linear/Point2.h"

namespace qvOS {
class AppOutput;
}

namespace qvUtil {
class Progress;
}

namespace qvGeom {

class ArrayOfSets;
class ConjugateGradient;
class NVector;

/// Flattens a mesh that is a disk, holes allowed, and gives its vertices the UVs: the map that
/// keeps angles best in the sense of least squares (Levy, Petitjean, Ray and Maillot, "Least
/// Squares Conformal Maps for Automatic Texture Atlas Generation", 2002), holding the two vertices
/// of the outer boundary that lie farthest apart along an axis.
///
/// Works on a welded copy of the mesh that is taken at construction. The mesh is borrowed, and
/// keeps its vertices and triangles while the object lives.
class QVGEOM_API reparameterizeMesh {
public:
    /// A directed edge of a boundary; a boundary is a row of them, each starting where the one
    /// before it ends.
    struct boundaryEdge {
        int start;
        int end;
    };

    /// A boundary edge that has no place in a boundary yet.
    struct unsortedEdge {
        int start;
        int end;
    };

    using BoundaryLoop = std::vector<boundaryEdge>;

    explicit reparameterizeMesh(CompactMesh& mesh);
    reparameterizeMesh(const reparameterizeMesh&) = delete;
    reparameterizeMesh& operator=(const reparameterizeMesh&) = delete;
    ~reparameterizeMesh();

    /// Whether vertices at the same place are always one, which is the default. If not, they are
    /// kept apart where merging them would change the number of boundaries: a seam stays open.
    void enableMeshCompact(bool enable) { compactsMesh_ = enable; }

    /// Whether a mesh that is closed or has handles is cut open into a disk, which is the default.
    /// The caller's mesh is not cut: there a vertex of the cut gets the UV of one of its copies,
    /// and the triangles of the other side span the layout.
    void enableMeshCutSurface(bool enable) { cutsSurface_ = enable; }

    /// Writes the UVs: inside the unit square, of which they span one side, and (0, 0) for vertices
    /// that no triangle uses. Sends one attributes notice.
    ///
    /// False, and the mesh as it was, when it cannot be flattened: a triangle has repeated corners,
    /// a boundary has fewer than three edges, it is no disk and must not or cannot be cut, it is of
    /// several components, all boundaries have shrunk to points, or `progress` is cancelled. Tells
    /// the user what it does and why it stops. A solver that breaks down is no failure; its last
    /// values are used.
    ///
    /// Time grows with about the square of the number of vertices: less than half a second for
    /// 10,000, minutes for 400,000, and with the cube of the length of inner boundaries, which are
    /// filled while solving. The layout then differs from the best one by some 1e-5 of its extent.
    bool flatten(qvUtil::Progress& progress);
    bool flatten();

    /// \name Checks of the copy
    /// flatten() does without them. Each tells the user what is wrong.
    /// @{
    /// Appends the edges that no triangle runs the other way, in the order of triangles and their
    /// corners. False at the first triangle that compareTriangles() finds fault with.
    bool findBoundaryEdges(std::vector<unsortedEdge>& edges);
    /// Appends the boundaries that the edges make up, in the order of their first edges. False,
    /// with those before it appended, when one is not closed or has fewer than three edges.
    bool orderBoundaries(const std::vector<unsortedEdge>& edges,
                         std::vector<BoundaryLoop>& boundaries) const;
    /// Whether each edge of a triangle has at most one other triangle, which runs it the other way.
    bool compareTriangles(int triangle);
    /// @}

private:
    struct triIndices {
        int v[3];
    };

    struct PinnedPair {
        int first;
        int second;
    };

    /// What the solver is given.
    struct Problem {
        PinnedPair pinned;
        std::vector<qvLinear::Point> rotated; // the vertices over the plane z = 0
        std::vector<int> freeIndex;           // among the unknowns, of each vertex; -1 if pinned
        std::vector<triIndices> holeTriangles;
    };

    void prepareMesh(qvUtil::Progress& progress, Remap& remap);
    bool testDegenerate(int triangle) const;
    int getMeshGenus(std::vector<BoundaryLoop>& boundaries);
    bool isOneDisk(int genus, std::vector<BoundaryLoop>& boundaries);
    int getExtremeVerts(const std::vector<BoundaryLoop>& boundaries, PinnedPair& pinned) const;
    qvLinear::AffineMatrix determineRotMatrix(const BoundaryLoop& outer,
                                              const PinnedPair& pinned) const;
    void rotateAndProject(const BoundaryLoop& outer, Problem& problem) const;
    void buildFreeToCompleteMapping(Problem& problem) const;
    void fillHoles(const std::vector<BoundaryLoop>& boundaries, int outer,
                   std::vector<triIndices>& holeTriangles, qvUtil::Progress& progress) const;
    void doCG(const Problem& problem, std::vector<qvLinear::Point2>& result,
              qvUtil::Progress& progress);
    void assemble(const Problem& problem, ConjugateGradient& solver, NVector& b, NVector& x0,
                  qvUtil::Progress& progress);
    void solve(ConjugateGradient& solver, int numUnknowns, qvUtil::Progress& progress) const;
    void setupVertexCG(const Problem& problem, const MeshAdjTris& adjTris,
                       const ArrayOfSets& holeTrianglesOf, int vertex, ConjugateGradient& solver,
                       NVector& b) const;
    static void setupTriangle(const Problem& problem, const triIndices& corners,
                              ConjugateGradient& solver, NVector& b);
    void applyUvsToMesh(const std::vector<qvLinear::Point2>& result, const Remap& remap);

    qvLinear::Point pointOf(int vertex) const;

    CompactMesh* mesh_;
    CompactMesh working_;
    SimpleMeshCache cache_;
    qvOS::AppOutput& output_;
    bool compactsMesh_ = true;
    bool cutsSurface_ = true;
    Remap toWorking_; // from the caller's vertices; outlives a run, as the copy does
};

} // namespace qvGeom

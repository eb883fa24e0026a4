#include "qvGeom/parameterization/GeomReparameterize.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "qvGeom/cutting/GeomCutSurface.h"
#include "qvGeom/editing/GeomVertexWeld.h"
#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Tolerances.h"
#include "qvGeom/parameterization/GeomConjugateGradient.h"
#include "qvGeom/planar/GeomTriangulatePolygon.h"
#include "qvGeom/topology/GeomAdjacency.h"
#include "qvGeom/topology/GeomBoundary.h"
#include "qvGeom/topology/GeomComponents.h"

namespace qvGeom {

using qvLinear::Point;
using qvLinear::Point2;
using qvLinear::Vector;

namespace {

constexpr int kPollStride = 100; // vertices or iterations

// The solver's tolerances are in part absolute. The pinned vertices lie at least so far apart in
// the units it is given, and less than twice as far.
constexpr int kSolverExtentExponent = 9;

int countBoundaries(const CompactMesh& mesh) {
    MeshAdjTris adjTris;
    MeshAdjVertices adjVertices;
    MeshBoundaries boundaries;
    meshAdjTris(mesh, adjTris);
    meshAdjVertices(mesh, adjTris, adjVertices);
    meshComputeBoundary(mesh, adjTris, adjVertices, boundaries);
    return boundaries.size();
}

/// The factor by which the solver's units differ from the caller's: a power of two, so that going
/// there and back loses nothing.
double solverScale(const Point& first, const Point& second) {
    const double distance = std::hypot(second.x - first.x, second.y - first.y);
    if (!(distance > 0.0) || !std::isfinite(distance))
        return 1.0;
    return std::ldexp(1.0, kSolverExtentExponent - std::ilogb(distance));
}

/// The extent of a boundary along the axis where it is greatest.
struct BoundaryExtent {
    double size = 0.0;
    int lowest = -1;
    int highest = -1;
};

/// Follows the extent along one axis, the first of equal vertices counting.
class AxisExtent {
public:
    void include(double coordinate, int vertex) {
        if (lowest_ < 0 || coordinate < low_) {
            low_ = coordinate;
            lowest_ = vertex;
        }
        if (highest_ < 0 || coordinate > high_) {
            high_ = coordinate;
            highest_ = vertex;
        }
    }

    BoundaryExtent get() const {
        return lowest_ < 0 ? BoundaryExtent{}
                           : BoundaryExtent{std::abs(high_ - low_), lowest_, highest_};
    }

private:
    double low_ = 0.0;
    double high_ = 0.0;
    int lowest_ = -1;
    int highest_ = -1;
};

} // namespace

reparameterizeMesh::reparameterizeMesh(CompactMesh& mesh)
    : mesh_(&mesh),
      output_(qvOS::AppOutput::getInstance()),
      toWorking_(mesh.getNumVertices(), mesh.getNumVertices()) {
    working_ = mesh;
    toWorking_.setSequential();
}

reparameterizeMesh::~reparameterizeMesh() = default;

bool reparameterizeMesh::flatten() {
    qvUtil::Progress progress;
    return flatten(progress);
}

bool reparameterizeMesh::flatten(qvUtil::Progress& progress) {
    qvUtil::Progress child;
    const auto begin = [&progress, &child](double share, const char* caption) {
        progress.subPhase(share, child);
        child.setCaption(caption);
    };

    begin(0.025, "Copying Mesh");
    prepareMesh(child, toWorking_);
    if (child.cancelled())
        return false;

    begin(0.1, "Finding Mesh Boundaries");
    std::vector<BoundaryLoop> boundaries;
    const int genus = getMeshGenus(boundaries);
    if (child.cancelled())
        return false;
    output_.info("- - - MeshReparameterize: genus = %d\n", genus);
    if (!isOneDisk(genus, boundaries))
        return false;

    begin(0.025, "Getting Extreme Vertices");
    Problem problem{};
    const int outer = getExtremeVerts(boundaries, problem.pinned);
    if (outer < 0) {
        output_.error("There must be a boundary for the disk, none found. No changes made.\n");
        output_.info("- - - MeshReparameterize: outerBoundary = %d\n", outer);
        return false;
    }

    begin(0.025, "Creating Plane");
    rotateAndProject(boundaries[outer], problem);

    progress.subPhase(0.025, child); // too short for a caption of its own
    buildFreeToCompleteMapping(problem);

    begin(0.025, "Filling Mesh Holes");
    fillHoles(boundaries, outer, problem.holeTriangles, child);

    begin(0.75, "Solving");
    std::vector<Point2> result;
    doCG(problem, result, child);
    if (child.cancelled())
        return false;

    begin(0.025, "Applying to Mesh");
    applyUvsToMesh(result, toWorking_);
    child.set(1.0);
    return true;
}

/// Welds the copy. `remap` leads from the caller's vertices to those of the copy as it is now, and
/// then to those that it has afterwards.
void reparameterizeMesh::prepareMesh(qvUtil::Progress& progress, Remap& remap) {
    working_.deleteUVs();
    working_.deleteNormals();
    Remap welded;
    meshCompact(working_, progress, welded);
    for (int i = 0; i < remap.getOldCount(); ++i)
        remap.set(i, welded[remap[i]]);
    remap.setNewCount(working_.getNumVertices());
    if (compactsMesh_)
        return;

    const int numOriginal = countBoundaries(*mesh_);
    const int numCompacted = countBoundaries(working_);
    output_.info("prepareMesh: numBoundaries o = %d, c = %d\n", numOriginal, numCompacted);
    if (numOriginal == numCompacted)
        return;
    output_.info("prepareMesh: compacting changed topology, reverting\n");
    working_ = *mesh_;
    MeshModification modification(&working_, MeshModification::Topology);
    working_.modified(modification);
    remap.resize(working_.getNumVertices(), working_.getNumVertices());
    remap.setSequential();
}

bool reparameterizeMesh::testDegenerate(int triangle) const {
    const MeshTriangle& t = working_.getTriangles()[triangle];
    if (t[0] != t[1] && t[1] != t[2] && t[2] != t[0])
        return false;
    output_.error("Found degenerate triangle %d (%d,%d,%d), mesh not changed. \n", triangle, t[0],
                  t[1], t[2]);
    return true;
}

/// Appends the boundaries, and returns how many handles the copy has, or less than 0 where there is
/// no telling. Takes it to be of one component.
int reparameterizeMesh::getMeshGenus(std::vector<BoundaryLoop>& boundaries) {
    const int numTriangles = working_.getNumTriangles();
    for (int t = 0; t < numTriangles; ++t) {
        if (testDegenerate(t)) {
            output_.info("getMeshGenus: testDegenerate == true\n");
            return -1;
        }
    }

    const qv::Reference<MeshBoundaries> loops = cache_.getBoundaries(working_);
    const int numBoundaries = loops->size();
    output_.info("getMeshGenus: numBoundaries %d \n", numBoundaries);
    if (numBoundaries < 0) {
        output_.info("getMeshGenus: numBoundaries < 0 \n");
        return -1;
    }
    int numBoundaryEdges = 0;
    for (int loop = 0; loop < numBoundaries; ++loop) {
        if (loops->getLength(loop) < 3) {
            output_.info("getMeshGenus: boundary length < 3 \n");
            return -1;
        }
        numBoundaryEdges += loops->getLength(loop);
    }
    const int numVertices = working_.getNumVertices();
    output_.info("getMeshGenus: numBoundaryEdges %d \n", numBoundaryEdges);
    output_.info("getMeshGenus: numVertices %d \n", numVertices);
    output_.info("getMeshGenus: numTriangles %d \n", numTriangles);
    const int numEdges = (numBoundaryEdges + 3 * numTriangles) / 2;
    output_.info("getMeshGenus: numEdges %d \n", numEdges);
    const int chi = numBoundaries + numVertices + numTriangles - numEdges;
    output_.info("getMeshGenus: chi = %d + %d + %d - %d = %d \n", numBoundaries, numVertices,
                 numTriangles, numEdges, chi);
    const int genus = (2 - chi) / 2;
    output_.info("getMeshGenus: genus = ( 2 - %d ) / 2 = %d \n", chi, genus);
    if (genus < 0) {
        output_.info("getMeshGenus: genus = %d \n", genus);
        return genus;
    }

    for (int loop = 0; loop < numBoundaries; ++loop) {
        BoundaryLoop& boundary = boundaries.emplace_back();
        for (const int* v = loops->getStart(loop); v != loops->getEnd(loop); ++v)
            boundary.push_back({*v, v + 1 == loops->getEnd(loop) ? *loops->getStart(loop) : v[1]});
    }
    return genus;
}

/// Whether the copy is a disk with holes, after it was cut open if need be.
bool reparameterizeMesh::isOneDisk(int genus, std::vector<BoundaryLoop>& boundaries) {
    if (genus < 0)
        return false;
    if (genus > 0 || boundaries.empty()) {
        if (!cutsSurface_)
            return false;
        // One that cannot be cut stays as it is, which the genus tells.
        [[maybe_unused]] const bool isCut = cutSurface(working_).makeDisk();
        boundaries.clear();
        if (getMeshGenus(boundaries) != 0)
            return false;
    }
    // The genus of one component makes up for what the next one lacks.
    const int components = meshComponents(working_, *cache_.getAdjTris(working_), nullptr);
    if (components > 1)
        output_.info("- - - MeshReparameterize: %d components\n", components);
    return components <= 1;
}

/// Returns the boundary of the greatest extent along an axis, and pins its two ends there; -1 when
/// none has any.
int reparameterizeMesh::getExtremeVerts(const std::vector<BoundaryLoop>& boundaries,
                                        PinnedPair& pinned) const {
    int outer = -1;
    double greatest = 0.0;
    for (std::size_t i = 0; i < boundaries.size(); ++i) {
        AxisExtent axes[3];
        for (const boundaryEdge& edge : boundaries[i]) {
            const Point p = pointOf(edge.start);
            axes[0].include(p.x, edge.start);
            axes[1].include(p.y, edge.start);
            axes[2].include(p.z, edge.start);
        }
        const BoundaryExtent x = axes[0].get();
        const BoundaryExtent y = axes[1].get();
        const BoundaryExtent z = axes[2].get();
        const BoundaryExtent& extent = x.size >= y.size && x.size >= z.size   ? x
                                       : y.size >= x.size && y.size >= z.size ? y
                                                                              : z;
        if (extent.size > greatest) {
            greatest = extent.size;
            outer = static_cast<int>(i);
            pinned = {extent.lowest, extent.highest};
        }
    }
    return outer;
}

/// Returns the rotation that lays the plane of the boundary down, so that its pinned vertices come
/// to the same height.
qvLinear::AffineMatrix reparameterizeMesh::determineRotMatrix(const BoundaryLoop& outer,
                                                              const PinnedPair& pinned) const {
    Vector d = pointOf(pinned.second) - pointOf(pinned.first);
    Vector n{0.0, 0.0, 0.0};
    if (outer.size() > 2) {
        int previous = outer.back().start;
        for (const boundaryEdge& edge : outer) {
            const Point p = pointOf(edge.start);
            n += cross(p - pointOf(previous), pointOf(edge.end) - p);
            previous = edge.start;
        }
    }
    if (!n.normalize()) {
        output_.info(
            "Parameterization: failed to calculateD planeNormal.  Choosing Z-axis instead.\n");
        n = qvLinear::Normal::z;
        // The pinned vertices would fall on one point, and with them all others.
        if (isParallel(n, d, qvLinear::parallelTol))
            n = d.orthogonalVector();
    } else if (isParallel(n, d, qvLinear::parallelTol)) {
        output_.info("Parameterization: calculated planeNormal is (anti-)parallel to the vector "
                     "between the fixed vertices of the 3D-boundary.  Choosing a random orthogonal "
                     "vector instead.\n");
        n = d.orthogonalVector();
    } else {
        output_.info("Parameterization: calculated planeNormal is good.  Using orthogonal "
                     "component.\n");
        d.normalize();
        n -= project(n, d);
        n.normalize();
    }
    qvLinear::AffineMatrix matrix(1.0);
    matrix.rotate(qvLinear::Normal(n), qvLinear::Normal::z);
    return matrix;
}

void reparameterizeMesh::rotateAndProject(const BoundaryLoop& outer, Problem& problem) const {
    const qvLinear::AffineMatrix matrix = determineRotMatrix(outer, problem.pinned);
    problem.rotated.reserve(static_cast<std::size_t>(working_.getNumVertices()));
    for (int v = 0; v < working_.getNumVertices(); ++v)
        problem.rotated.push_back(pointOf(v) * matrix);
}

void reparameterizeMesh::buildFreeToCompleteMapping(Problem& problem) const {
    problem.freeIndex.assign(static_cast<std::size_t>(working_.getNumVertices()), -1);
    int next = 0;
    for (int v = 0; v < working_.getNumVertices(); ++v) {
        if (v != problem.pinned.first && v != problem.pinned.second)
            problem.freeIndex[v] = next++;
    }
}

void reparameterizeMesh::fillHoles(const std::vector<BoundaryLoop>& boundaries, int outer,
                                   std::vector<triIndices>& holeTriangles,
                                   qvUtil::Progress& progress) const {
    const auto numHoles = static_cast<double>(boundaries.size() - 1);
    qvUtil::Progress child;
    std::vector<Point> loop;
    std::vector<int> corners;
    for (int i = 0; i < static_cast<int>(boundaries.size()); ++i) {
        if (i == outer)
            continue;
        const BoundaryLoop& boundary = boundaries[i];
        loop.clear();
        for (const boundaryEdge& edge : boundary)
            loop.push_back(pointOf(edge.start));
        progress.subPhase(1.0 / numHoles, child);
        if (!triangulatePolygon(loop, corners, nullptr, &child))
            return;
        // The loop runs the way of the triangles beside it: what fills it winds the other way.
        for (std::size_t c = 0; c + 2 < corners.size(); c += 3)
            holeTriangles.push_back({{boundary[corners[c]].start, boundary[corners[c + 2]].start,
                                      boundary[corners[c + 1]].start}});
    }
}

/// Appends the place of every vertex in the plane; nothing when cancelled.
void reparameterizeMesh::doCG(const Problem& problem, std::vector<Point2>& result,
                              qvUtil::Progress& progress) {
    const int numVertices = working_.getNumVertices();
    const int numUnknowns = 2 * numVertices - 4;
    NVector b(numUnknowns);
    NVector x0(numUnknowns);
    ConjugateGradient solver(numUnknowns);
    qvUtil::Progress child;

    progress.subPhase(0.1, child);
    assemble(problem, solver, b, x0, child);
    if (child.cancelled())
        return;

    progress.subPhase(0.8, child);
    const double scale =
        solverScale(problem.rotated[problem.pinned.first], problem.rotated[problem.pinned.second]);
    for (int i = 0; i < numUnknowns; ++i) {
        b[i] *= scale;
        x0[i] *= scale;
    }
    if (solver.A().isMMatrix())
        solver.initIncompleteCholeskyPreconditioner();
    else
        solver.initDiagonalPreconditioner();
    solver.initialize(b, x0);
    solve(solver, numUnknowns, child);

    progress.subPhase(0.1, child);
    result.reserve(static_cast<std::size_t>(numVertices));
    for (int v = 0; v < numVertices; ++v) {
        if (v % kPollStride == 0)
            child.set(static_cast<double>(v) / numVertices);
        if (child.cancelled())
            return;
        const int k = problem.freeIndex[v];
        if (k < 0)
            result.push_back({problem.rotated[v].x, problem.rotated[v].y});
        else
            result.push_back({solver.x()[2 * k] / scale, solver.x()[2 * k + 1] / scale});
    }
}

/// Fills the matrix, the right side and the start, which is the projection.
void reparameterizeMesh::assemble(const Problem& problem, ConjugateGradient& solver, NVector& b,
                                  NVector& x0, qvUtil::Progress& progress) {
    const int numVertices = working_.getNumVertices();
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(working_);
    std::vector<int> vertexAndTriangle;
    for (std::size_t t = 0; t < problem.holeTriangles.size(); ++t) {
        for (const int v : problem.holeTriangles[t].v)
            vertexAndTriangle.insert(vertexAndTriangle.end(), {v, static_cast<int>(t)});
    }
    ArrayOfSets holeTrianglesOf;
    holeTrianglesOf.assignFromPairs(numVertices, static_cast<int>(vertexAndTriangle.size() / 2),
                                    vertexAndTriangle.data());

    for (int v = 0; v < numVertices; ++v) {
        progress.set(static_cast<double>(v) / numVertices);
        if (progress.cancelled())
            return;
        const int k = problem.freeIndex[v];
        if (k < 0)
            continue;
        const int row = 2 * k;
        x0[row] = problem.rotated[v].x;
        x0[row + 1] = problem.rotated[v].y;
        setupVertexCG(problem, *adjTris, holeTrianglesOf, v, solver, b);
        // What no triangle of any size holds stays where it is; otherwise all would become NaN.
        if (solver.A().getElement(row, row) == 0.0) {
            for (int i = row; i < row + 2; ++i) {
                solver.A().addToElement(i, i, 1.0);
                b[i] += x0[i];
            }
        }
    }
}

/// Takes as many steps as there are unknowns, unless the solver is done earlier.
void reparameterizeMesh::solve(ConjugateGradient& solver, int numUnknowns,
                               qvUtil::Progress& progress) const {
    bool isLost = false; // a step from a residual that is NaN has made all of x NaN
    for (int j = 0; j < numUnknowns; ++j) {
        if (progress.cancelled())
            return;
        if (j % kPollStride == 0)
            progress.set(static_cast<double>(j) / numUnknowns);
        if (numUnknowns > 100 && j % (numUnknowns / 20) == 0)
            output_.info(
                "Parameterization %5.1f%% complete\n",
                static_cast<double>(
                    static_cast<float>(j) / static_cast<float>(numUnknowns) * 90.0f + 5.0f));
        if (isLost)
            continue; // no further step changes anything, nor is one the last
        isLost = std::isnan(solver.getResidualNormSquared());
        const auto status = solver.iterate(qvLinear::epsilonTol, qvLinear::epsilonTol);
        if (status.isDone()) {
            output_.info("Parameterization: CG finished, code = %d\n", status.code());
            progress.set(1.0);
            return;
        }
    }
}

/// Adds the two equations of a free vertex: the sum over its triangles, each turned so that the
/// vertex comes first.
void reparameterizeMesh::setupVertexCG(const Problem& problem, const MeshAdjTris& adjTris,
                                       const ArrayOfSets& holeTrianglesOf, int vertex,
                                       ConjugateGradient& solver, NVector& b) const {
    const auto add = [&](const int* t) {
        const triIndices turned = t[0] == vertex   ? triIndices{{t[0], t[1], t[2]}}
                                  : t[1] == vertex ? triIndices{{t[1], t[2], t[0]}}
                                                   : triIndices{{t[2], t[0], t[1]}};
        setupTriangle(problem, turned, solver, b);
    };
    for (const int* t = adjTris.begin(vertex); t != adjTris.end(vertex); ++t)
        add(working_.getTriangles()[*t].v);
    for (const int* t = holeTrianglesOf.begin(vertex); t != holeTrianglesOf.end(vertex); ++t)
        add(problem.holeTriangles[*t].v);
}

/// Adds what a triangle says about its first corner, which is free: where the two others want it,
/// each weighed by the cotangent of the angle across, and turned by a right angle.
void reparameterizeMesh::setupTriangle(const Problem& problem, const triIndices& corners,
                                       ConjugateGradient& solver, NVector& b) {
    const auto [i, j, l] = corners.v;
    const Point& pi = problem.rotated[i];
    const Point& pj = problem.rotated[j];
    const Point& pl = problem.rotated[l];
    const double crossL = cross(pi - pl, pj - pl).length();
    const double crossJ = cross(pi - pj, pl - pj).length();
    if (crossL < qvLinear::epsilonTol || crossJ < qvLinear::epsilonTol)
        return;
    const double cotL = dot(pi - pl, pj - pl) / crossL;
    const double cotJ = dot(pi - pj, pl - pj) / crossJ;

    SparseMatrix& matrix = solver.A();
    const int r = 2 * problem.freeIndex[i];
    matrix.addToElement(r, r, cotL + cotJ);
    matrix.addToElement(r + 1, r + 1, cotL + cotJ);
    // `turn` is 1 for the corner after the first one, -1 for the one before it.
    const auto addCorner = [&](int corner, double cot, double turn) {
        const double u = problem.rotated[corner].x;
        const double v = problem.rotated[corner].y;
        if (problem.freeIndex[corner] < 0) {
            b[r] += cot * u + turn * v;
            b[r + 1] += cot * v - turn * u;
            return;
        }
        const int c = 2 * problem.freeIndex[corner];
        const bool hasWeight = std::abs(cot) >= qvLinear::epsilonTol;
        if (hasWeight)
            matrix.addToElement(r, c, -cot);
        matrix.addToElement(r, c + 1, -turn);
        matrix.addToElement(r + 1, c, turn);
        if (hasWeight)
            matrix.addToElement(r + 1, c + 1, -cot);
    };
    addCorner(j, cotL, 1.0);
    addCorner(l, cotJ, -1.0);
}

/// Scales the layout into the unit square and hands it to the caller's mesh.
void reparameterizeMesh::applyUvsToMesh(const std::vector<Point2>& result, const Remap& remap) {
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(working_);
    const auto isUsed = [&adjTris](int v) { return adjTris->setSize(v) > 0; };
    constexpr double kMax = std::numeric_limits<double>::max();
    double minU = kMax;
    double maxU = -kMax;
    double minV = kMax;
    double maxV = -kMax;
    for (int w = 0; w < static_cast<int>(result.size()); ++w) {
        if (!isUsed(w))
            continue;
        minU = std::min(minU, result[w].x);
        maxU = std::max(maxU, result[w].x);
        minV = std::min(minV, result[w].y);
        maxV = std::max(maxV, result[w].y);
    }
    const double scale = std::min(1.0 / (maxU - minU), 1.0 / (maxV - minV));

    MeshUV* const uvs = mesh_->allocUVArray();
    const int numVertices = std::min(mesh_->getNumVertices(), remap.getOldCount());
    for (int i = 0; i < numVertices; ++i) {
        const int w = remap[i];
        uvs[i] = isUsed(w) ? MeshUV{qvLinear::narrow((result[w].x - minU) * scale),
                                    qvLinear::narrow((result[w].y - minV) * scale)}
                           : MeshUV{0.0f, 0.0f};
    }
    MeshModification modification(mesh_, MeshModification::Attributes);
    modification.uvsModified();
    mesh_->modified(modification);
}

bool reparameterizeMesh::compareTriangles(int triangle) {
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(working_);
    const MeshTriangle& t = working_.getTriangles()[triangle];
    for (int edge = 0; edge < 3; ++edge) {
        const int from = t[edge];
        const int to = t[(edge + 1) % 3];
        int sameWay = 0;
        int otherWay = 0;
        for (const int* other = adjTris->begin(from); other != adjTris->end(from); ++other) {
            const MeshTriangle& o = working_.getTriangles()[*other];
            for (int k = 0; k < 3 && *other != triangle; ++k) {
                sameWay += o[k] == from && o[(k + 1) % 3] == to;
                otherWay += o[k] == to && o[(k + 1) % 3] == from;
            }
        }
        if (sameWay + otherWay > 1) {
            output_.info("Invalid mesh, non-manifold triangle %d (%d,%d,%d) \n", triangle, t[0],
                         t[1], t[2]);
            return false;
        }
        if (sameWay > 0) {
            output_.info("Invalid mesh, reverse wound triangle %d (%d,%d,%d) \n", triangle, t[0],
                         t[1], t[2]);
            return false;
        }
    }
    return true;
}

bool reparameterizeMesh::findBoundaryEdges(std::vector<unsortedEdge>& edges) {
    const qv::Reference<MeshAdjTris> adjTris = cache_.getAdjTris(working_);
    for (int triangle = 0; triangle < working_.getNumTriangles(); ++triangle) {
        if (!compareTriangles(triangle))
            return false;
        const MeshTriangle& t = working_.getTriangles()[triangle];
        for (int edge = 0; edge < 3; ++edge) {
            const int from = t[edge];
            const int to = t[(edge + 1) % 3];
            if (!Boundary::hasEdge(working_, *adjTris, to, from))
                edges.push_back({from, to});
        }
    }
    return true;
}

bool reparameterizeMesh::orderBoundaries(const std::vector<unsortedEdge>& edges,
                                         std::vector<BoundaryLoop>& boundaries) const {
    // The edges by their starts, the first of those with the same start taken first.
    std::vector<std::size_t> byStart(edges.size());
    for (std::size_t i = 0; i < edges.size(); ++i)
        byStart[i] = i;
    std::stable_sort(byStart.begin(), byStart.end(), [&edges](std::size_t a, std::size_t b) {
        return edges[a].start < edges[b].start;
    });
    std::vector<bool> isTaken(edges.size());
    const auto takeFrom = [&](int start) {
        auto place = std::lower_bound(
            byStart.begin(), byStart.end(), start,
            [&edges](std::size_t edge, int wanted) { return edges[edge].start < wanted; });
        while (place != byStart.end() && edges[*place].start == start && isTaken[*place])
            ++place;
        return place != byStart.end() && edges[*place].start == start ? *place : edges.size();
    };

    for (std::size_t first = 0; first < edges.size(); ++first) {
        if (isTaken[first])
            continue;
        BoundaryLoop boundary;
        for (std::size_t edge = first;; edge = takeFrom(boundary.back().end)) {
            if (edge == edges.size()) {
                output_.info("Found an un-closed boundary, mesh not changed. \n");
                return false;
            }
            isTaken[edge] = true;
            boundary.push_back({edges[edge].start, edges[edge].end});
            if (boundary.back().end == boundary.front().start)
                break;
        }
        if (boundary.size() < 3) {
            output_.info("A degenerate boundary found, mesh not changed. \n");
            return false;
        }
        boundaries.push_back(std::move(boundary));
    }
    return true;
}

Point reparameterizeMesh::pointOf(int vertex) const {
    return qvLinear::widen(working_.getVertices()[vertex]);
}

} // namespace qvGeom

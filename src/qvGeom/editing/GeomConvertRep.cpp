#include "qvGeom/editing/GeomConvertRep.h"

#include <algorithm>
#include <vector>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/geometry/Remap.h"
#include "qvGeom/foundation/linear/Convert.h"

namespace qvGeom {
namespace {

/// Moves the records of surviving vertices to their new places. No two share one.
class MoveChannelsAlg final : public qvUtil::ThreadedAlg {
public:
    MoveChannelsAlg(CompactMesh& from, const Remap& remap, PointMesh& to)
        : from_(from),
          remap_(remap),
          to_(to) {
        to.resizeVertexArray(remap.getNewCount());
        if (from.getNormals())
            to.allocNormalArray();
        if (from.getUVs())
            to.allocUVArray();
        if (from.getSTs())
            to.allocSTArray();
        if (from.getColours())
            to.allocColourArray();
    }

    void threadFunc(int thread, int numThreads) override {
        const qvUtil::IndexRange slice =
            qvUtil::sliceOf(from_.getNumVertices(), thread, numThreads);
        move(slice, from_.getVertices(), to_.getVertices());
        move(slice, from_.getNormals(), to_.getNormals());
        move(slice, from_.getUVs(), to_.getUVs());
        move(slice, from_.getSTs(), to_.getSTs());
        move(slice, from_.getColours(), to_.getColours());
    }

private:
    template <class Record>
    void move(const qvUtil::IndexRange& slice, const Record* from, Record* to) const {
        if (!from || !to)
            return;
        const int* const map = remap_.getMap().data();
        for (const int v : slice) {
            if (map[v] >= 0)
                to[map[v]] = from[v];
        }
    }

    CompactMesh& from_;
    const Remap& remap_;
    PointMesh& to_;
};

/// The runs of points of which every one survives, in new numbers.
struct SurvivingRuns {
    void add(const int* run, int length, const Remap& remap) {
        const bool survives =
            std::all_of(run, run + length, [&remap](int v) { return remap[v] >= 0; });
        if (!survives)
            return;
        lengths.push_back(length);
        for (int i = 0; i < length; ++i)
            points.push_back(remap[run[i]]);
    }

    std::vector<int> lengths;
    std::vector<int> points;
};

SurvivingRuns survivingLines(const CompactMesh& mesh, const Remap& remap) {
    SurvivingRuns lines;
    for (int line = 0; line < mesh.getNumLines(); ++line)
        lines.add(mesh.getLines() + 2 * static_cast<std::ptrdiff_t>(line), 2, remap);
    return lines;
}

SurvivingRuns survivingLineStrips(const CompactMesh& mesh, const Remap& remap) {
    SurvivingRuns strips;
    const int* points = mesh.getLineStripPoints();
    for (int strip = 0; strip < mesh.getNumLineStrips(); ++strip) {
        const int length = mesh.getLineStripLengths()[strip];
        strips.add(points, length, remap);
        points += length;
    }
    return strips;
}

MeshTriangle rotated(const MeshTriangle& triangle, int first) {
    return {{triangle[first], triangle[(first + 1) % 3], triangle[(first + 2) % 3]}};
}

/// Which corner of `triangle` the first corner of `other` is, both having the same corners in the
/// same sense of rotation; -1 when they have not.
int rotationBetween(const MeshTriangle& triangle, const MeshTriangle& other) {
    for (int first = 0; first < 3; ++first) {
        const MeshTriangle turned = rotated(triangle, first);
        if (turned[0] == other[0] && turned[1] == other[1] && turned[2] == other[2])
            return first;
    }
    return -1;
}

} // namespace

void meshReplaceTriangles(CompactMesh& mesh, const Remap& vertexRemap, CompactMesh& newTriangles) {
    // All memory is taken before the mesh is touched.
    PointMesh moved;
    MoveChannelsAlg moving(mesh, vertexRemap, moved);
    qvUtil::ThreadPool::get().run(moving);

    const SurvivingRuns lines = survivingLines(mesh, vertexRemap);
    const SurvivingRuns strips = survivingLineStrips(mesh, vertexRemap);
    newTriangles.resizeLineArray(static_cast<int>(lines.lengths.size()));
    newTriangles.resizeLineStripArrays(static_cast<int>(strips.lengths.size()),
                                       static_cast<int>(strips.points.size()));
    std::copy(lines.points.begin(), lines.points.end(), newTriangles.getLines());
    std::copy(strips.points.begin(), strips.points.end(), newTriangles.getLineStripPoints());
    std::copy(strips.lengths.begin(), strips.lengths.end(), newTriangles.getLineStripLengths());
    newTriangles.deleteTriangleNormals();
    newTriangles.resizeTriStripArrays(0, 0);
    newTriangles.resizeTriFanArrays(0, 0);

    mesh.swapVertexChannels(moved);
    mesh.swapConnectivity(newTriangles);
    mesh.clearSelection();
}

MeshConvertRep::MeshConvertRep(const CompactMesh& mesh)
    : topoMesh_(std::make_unique<TopoMesh>()),
      topoVertices_(mesh.getNumVertices()) {
    copyVertices(mesh);
    copyTriangles(mesh);
    meshTwin(*topoMesh_);
}

void MeshConvertRep::copyVertices(const CompactMesh& mesh) {
    constexpr int kCopied = 1;
    const BitVector& selectedVertices = mesh.getSelectedVertices();
    const BitVector& selectedTriangles = mesh.getSelectedTriangles();
    int* const topoVertices = topoVertices_.data();
    int numTriangles = 0;
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!isSelected(selectedTriangles, t))
            continue;
        ++numTriangles;
        for (const int v : mesh.getTriangles()[t].v)
            topoVertices[v] = kCopied;
    }

    int numCopied = 0;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const bool copied = topoVertices[v] == kCopied || isSelected(selectedVertices, v);
        topoVertices[v] = copied ? numCopied++ : -1;
    }
    meshVertices_.resize(numCopied);
    meshTriangles_.resize(numTriangles);
    topoMesh_->reserve(numCopied, 3 * numTriangles, numTriangles);
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        if (topoVertices[v] < 0)
            continue;
        meshVertices_[topoVertices[v]] = v;
        topoMesh_->allocVertex(qvLinear::widen(mesh.getVertices()[v]));
    }
}

void MeshConvertRep::copyTriangles(const CompactMesh& mesh) {
    int* face = meshTriangles_.data();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        if (!isSelected(mesh.getSelectedTriangles(), t))
            continue;
        const MeshTriangle& triangle = mesh.getTriangles()[t];
        const int corners[] = {topoVertices_[triangle[0]], topoVertices_[triangle[1]],
                               topoVertices_[triangle[2]]};
        topoMesh_->allocFace(corners, 3);
        *face++ = t;
    }
}

void MeshConvertRep::setMeshVertex(TopoMeshVertex vertex, int meshVertex) {
    const int known = meshVertices_.size();
    if (vertex.id >= known) {
        meshVertices_.resize(std::max(vertex.id + 1, known + known / 2));
        std::fill(meshVertices_.begin() + known, meshVertices_.end(), -1);
    }
    meshVertices_[vertex.id] = meshVertex;
    if (meshVertex >= 0)
        topoVertices_[meshVertex] = vertex.id;
}

MeshModifyRep::MeshModifyRep(CompactMesh& mesh, const MeshAdjTris& adjTris)
    : MeshConvertRep(mesh),
      mesh_(mesh),
      adjTris_(adjTris),
      removed_(mesh.getNumVertices()) {}

void MeshModifyRep::removeVertex(TopoMeshVertex vertex) {
    const int meshVertex = getMeshVertex(vertex);
    if (meshVertex < 0 || hasTrianglesOutside(meshVertex))
        return;
    removed_.set(meshVertex);
    setMeshVertex(vertex, -1);
}

void MeshModifyRep::restoreVertex(int meshVertex, TopoMeshVertex vertex) {
    removed_.clear(meshVertex);
    setMeshVertex(vertex, meshVertex);
}

bool MeshModifyRep::hasTrianglesOutside(int meshVertex) const {
    const BitVector& selected = mesh_.getSelectedTriangles();
    return std::any_of(adjTris_.begin(meshVertex), adjTris_.end(meshVertex),
                       [&selected](int t) { return !isSelected(selected, t); });
}

/// The selected triangle with these corners in this sense of rotation, or -1: that of the face
/// itself if it has, else the lowest.
int MeshModifyRep::oldTriangleOf(const MeshTriangle& corners, int face) const {
    const MeshTriangle* const triangles = mesh_.getTriangles();
    if (const int own = meshTriangleOf(face);
        own >= 0 && rotationBetween(corners, triangles[own]) >= 0)
        return own;
    if (corners[0] >= mesh_.getNumVertices())
        return -1;
    const int* const end = adjTris_.end(corners[0]);
    const int* const found = std::find_if(adjTris_.begin(corners[0]), end, [&](int t) {
        return isSelected(mesh_.getSelectedTriangles(), t) &&
               rotationBetween(corners, triangles[t]) >= 0;
    });
    return found != end ? *found : -1;
}

/// The vertices of the faces, in the numbering of the mesh: vertices made here follow its own.
Array<int> MeshModifyRep::numberVertices(int& numNew) {
    TopoMesh& topo = getTopoMesh();
    Array<int> numbers(topo.vertexIdLimit());
    numNew = 0;
    for (int v = topo.nextVertex(-1); v >= 0; v = topo.nextVertex(v)) {
        const int meshVertex = getMeshVertex({&topo, v});
        numbers[v] = meshVertex >= 0 ? meshVertex : mesh_.getNumVertices() + numNew++;
    }
    return numbers;
}

void MeshModifyRep::merge(Array<int>& vertexRemap, Array<int>* triangleRemap) {
    int numNew = 0;
    const Array<int> numbers = numberVertices(numNew);
    Remap remap;
    remap.setDeleteMap(removed_);

    Array<int> trianglesTo(mesh_.getNumTriangles());
    std::fill(trianglesTo.begin(), trianglesTo.end(), -1);
    const std::vector<MeshTriangle> merged = mergeTriangles(numbers, remap, trianglesTo);

    const int numKept = remap.getNewCount();
    remap.setNewCount(numKept + numNew);
    CompactMesh newTriangles;
    newTriangles.copyTriangles(static_cast<int>(merged.size()),
                               merged.empty() ? nullptr : merged.front().v);
    Array<int> map = remap.getMap();
    meshReplaceTriangles(mesh_, remap, newTriangles);

    const TopoMesh& topo = getTopoMesh();
    for (int v = topo.nextVertex(-1); v >= 0; v = topo.nextVertex(v)) {
        const qvLinear::PointFlt p = qvLinear::narrow(topo.vertexPoint(v));
        const int number = numbers[v];
        const int to = number < map.size() ? map[number] : numKept + number - map.size();
        mesh_.getVertices()[to] = {p.x, p.y, p.z};
    }
    vertexRemap.swap(map);
    if (triangleRemap)
        triangleRemap->swap(trianglesTo);
}

std::vector<MeshTriangle> MeshModifyRep::mergeTriangles(const Array<int>& numbers,
                                                        const Remap& remap,
                                                        Array<int>& trianglesTo) const {
    std::vector<MeshTriangle> merged;
    const int numOld = mesh_.getNumVertices();
    const auto add = [&](const MeshTriangle& corners) {
        MeshTriangle triangle;
        for (int c = 0; c < 3; ++c) {
            const int v = corners[c];
            triangle[c] = v < numOld ? remap[v] : remap.getNewCount() + v - numOld;
        }
        merged.push_back(triangle);
    };

    const MeshTriangle* const triangles = mesh_.getTriangles();
    for (int t = 0; t < mesh_.getNumTriangles(); ++t) {
        if (isSelected(mesh_.getSelectedTriangles(), t))
            continue;
        trianglesTo[t] = static_cast<int>(merged.size());
        add(triangles[t]);
    }

    const TopoMesh& topo = getTopoMesh();
    for (int f = topo.nextFace(-1); f >= 0; f = topo.nextFace(f)) {
        const int first = topo.faceEdge(f);
        const int apex = numbers[topo.edgeVertex(first)];
        for (int e = topo.edgeNext(first); topo.edgeNext(e) != first; e = topo.edgeNext(e)) {
            MeshTriangle corners = {
                {apex, numbers[topo.edgeVertex(e)], numbers[topo.edgeEndVertex(e)]}};
            if (const int old = oldTriangleOf(corners, f); old >= 0 && trianglesTo[old] < 0) {
                trianglesTo[old] = static_cast<int>(merged.size());
                corners = triangles[old];
            }
            add(corners);
        }
    }
    return merged;
}

} // namespace qvGeom

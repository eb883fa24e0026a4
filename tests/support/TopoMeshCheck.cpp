#include "support/TopoMeshCheck.h"

namespace test {
namespace {

using qvGeom::TopoMesh;

std::string fault(const char* what, int id) {
    return std::string(what) + " at id " + std::to_string(id);
}

bool isEdge(const TopoMesh& mesh, int e) {
    return e >= 0 && e < mesh.edgeIdLimit() && mesh.isEdge(e);
}

std::string faultOfLinks(const TopoMesh& mesh, int e) {
    const int next = mesh.edgeNext(e);
    const int prev = mesh.edgePrev(e);
    const int face = mesh.edgeFace(e);
    const int twin = mesh.edgeTwin(e);
    if (!isEdge(mesh, next) || !isEdge(mesh, prev) || (twin != -1 && !isEdge(mesh, twin)) ||
        face < 0 || face >= mesh.faceIdLimit() || !mesh.isFace(face) ||
        mesh.edgeVertex(e) >= mesh.vertexIdLimit() || !mesh.isVertex(mesh.edgeVertex(e)))
        return fault("a link to nothing", e);
    if (mesh.edgePrev(next) != e || mesh.edgeNext(prev) != e)
        return fault("next and prev disagree", e);
    if (mesh.edgeFace(next) != face)
        return fault("a ring leaves its face", e);
    if (twin >= 0 && (mesh.edgeTwin(twin) != e || mesh.edgeVertex(twin) != mesh.edgeEndVertex(e) ||
                      mesh.edgeEndVertex(twin) != mesh.edgeVertex(e) ||
                      mesh.edgeVertex(e) == mesh.edgeVertex(twin)))
        return fault("twins do not run opposite", e);
    return {};
}

} // namespace

std::string faultOf(const TopoMesh& mesh) {
    int numEdges = 0, numFaces = 0, numVertices = 0; // that are alive
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
        numEdges += mesh.isEdge(e);
        if (std::string found = faultOfLinks(mesh, e); !found.empty())
            return found;
    }

    int inRings = 0;
    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f)) {
        numFaces += mesh.isFace(f);
        const int before = inRings;
        int e = mesh.faceEdge(f);
        if (!isEdge(mesh, e))
            return fault("a first edge is gone", f);
        do {
            e = mesh.edgeNext(e);
        } while (++inRings <= mesh.numEdges() && e != mesh.faceEdge(f));
        if (mesh.edgeFace(e) != f || inRings < before + 3)
            return fault("a ring is too short or another face's", f);
    }

    int inLists = 0;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        numVertices += mesh.isVertex(v);
        for (int e = mesh.vertexEdge(v); e >= 0; e = mesh.edgeNextOutgoing(e)) {
            if (!isEdge(mesh, e) || mesh.edgeVertex(e) != v || ++inLists > mesh.numEdges())
                return fault("a list is endless or has a foreign edge", v);
        }
    }
    if (numEdges != mesh.numEdges() || numFaces != mesh.numFaces() ||
        numVertices != mesh.numVertices())
        return fault("walks and counts disagree", -1);
    if (inRings != mesh.numEdges() || inLists != mesh.numEdges())
        return fault("edges outside of rings or lists", mesh.numEdges());
    return {};
}

} // namespace test

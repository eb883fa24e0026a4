#include "support/TopoMeshCheck.h"

namespace test {
namespace {

std::string fault(const char* what, int id) {
    return std::string(what) + " at id " + std::to_string(id);
}

} // namespace

std::string faultOf(const qvGeom::TopoMesh& mesh) {
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
        const int next = mesh.edgeNext(e);
        if (mesh.edgePrev(next) != e || mesh.edgeNext(mesh.edgePrev(e)) != e)
            return fault("next and prev disagree", e);
        if (mesh.edgeFace(next) != mesh.edgeFace(e))
            return fault("a ring leaves its face", e);
        const int twin = mesh.edgeTwin(e);
        if (twin >= 0 &&
            (mesh.edgeTwin(twin) != e || mesh.edgeVertex(twin) != mesh.edgeEndVertex(e) ||
             mesh.edgeEndVertex(twin) != mesh.edgeVertex(e)))
            return fault("twins do not run opposite", e);
    }

    int inRings = 0;
    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f)) {
        const int before = inRings;
        int e = mesh.faceEdge(f);
        do {
            e = mesh.edgeNext(e);
        } while (++inRings <= mesh.numEdges() && e != mesh.faceEdge(f));
        if (mesh.edgeFace(e) != f || inRings < before + 3)
            return fault("a ring is too short or another face's", f);
    }

    int inLists = 0;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        for (int e = mesh.vertexEdge(v); e >= 0; e = mesh.edgeNextOutgoing(e)) {
            if (mesh.edgeVertex(e) != v || ++inLists > mesh.numEdges())
                return fault("a list is endless or has a foreign edge", v);
        }
    }
    if (inRings != mesh.numEdges() || inLists != mesh.numEdges())
        return fault("edges outside of rings or lists", mesh.numEdges());
    return {};
}

} // namespace test

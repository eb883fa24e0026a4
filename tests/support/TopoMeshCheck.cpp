#include "support/TopoMeshCheck.h"

#include <vector>

namespace test {
namespace {

std::string fault(const char* what, int id) {
    return std::string(what) + " at id " + std::to_string(id);
}

std::string edgeFault(const qvGeom::TopoMesh& mesh) {
    for (int e = mesh.nextEdge(-1); e >= 0; e = mesh.nextEdge(e)) {
        const int next = mesh.edgeNext(e);
        if (mesh.edgePrev(next) != e || mesh.edgeNext(mesh.edgePrev(e)) != e)
            return fault("next and prev disagree", e);
        if (mesh.edgeFace(next) != mesh.edgeFace(e))
            return fault("a ring leaves its face", e);
        const int twin = mesh.edgeTwin(e);
        if (twin < 0)
            continue;
        if (twin == e || mesh.edgeTwin(twin) != e)
            return fault("twins are not each other's", e);
        if (mesh.edgeVertex(twin) != mesh.edgeEndVertex(e) ||
            mesh.edgeEndVertex(twin) != mesh.edgeVertex(e))
            return fault("twins do not run opposite", e);
    }
    return {};
}

std::string faceFault(const qvGeom::TopoMesh& mesh) {
    int reached = 0;
    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f)) {
        const int first = mesh.faceEdge(f);
        if (mesh.edgeFace(first) != f)
            return fault("the first edge is in another face", f);
        int corners = 0;
        int e = first;
        do {
            e = mesh.edgeNext(e);
        } while (++corners <= mesh.numEdges() && e != first);
        if (corners < 3 || corners > mesh.numEdges())
            return fault("a ring is too short or endless", f);
        reached += corners;
    }
    return reached == mesh.numEdges() ? std::string()
                                      : fault("edges outside of all rings", reached);
}

std::string vertexFault(const qvGeom::TopoMesh& mesh) {
    int reached = 0;
    std::vector<char> met(static_cast<std::size_t>(mesh.edgeIdLimit()), 0);
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        for (int e = mesh.vertexEdge(v); e >= 0; e = mesh.edgeNextOutgoing(e), ++reached) {
            if (mesh.edgeVertex(e) != v || met[e])
                return fault("a list has a foreign or repeated edge", v);
            met[e] = 1;
        }
    }
    return reached == mesh.numEdges() ? std::string()
                                      : fault("edges outside of all lists", reached);
}

} // namespace

std::string faultOf(const qvGeom::TopoMesh& mesh) {
    for (const auto check : {edgeFault, faceFault, vertexFault}) {
        if (std::string found = check(mesh); !found.empty())
            return found;
    }
    return {};
}

} // namespace test

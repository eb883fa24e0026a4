#include <algorithm>
#include <cmath>
#include <fstream>
#include <span>
#include <string>
#include <tiny_obj_loader.h>

#include "qvGeom/foundation/geometry/CompactMesh.h"

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/NumberLines.h"
#include "qvmesh/formats/TextLines.h"

namespace qvmesh {
namespace {

using qvGeom::MeshTriangle;

/// The index from 0 of what an OBJ index means: from 1 forwards, or from -1 backwards from the last
/// of the `count` read so far. -1 where none is given.
int fromObjIndex(int index, std::size_t count) {
    return index < 0 ? static_cast<int>(count) + index : index - 1;
}

/// The file gives every corner its normal and texture coordinates; a mesh has one per vertex.
/// Returns the elements in the order of the vertices, zeroed for unused ones, if all corners of a
/// vertex name the same one; otherwise none.
template <class Element>
std::vector<Element>
perVertex(const std::vector<Element>& elements, const std::vector<MeshTriangle>& elementCorners,
          const std::vector<MeshTriangle>& vertexCorners, std::size_t numVertices) {
    if (elements.empty())
        return {};
    std::vector<int> elementOf(numVertices, -1);
    std::vector<Element> result(numVertices);
    for (std::size_t t = 0; t < vertexCorners.size(); ++t) {
        for (int corner = 0; corner < 3; ++corner) {
            const std::size_t v = static_cast<std::size_t>(vertexCorners[t][corner]);
            const int element = elementCorners[t][corner];
            if (element < 0 || element >= std::ssize(elements))
                return {};
            if (elementOf[v] >= 0 && elementOf[v] != element)
                return {};
            elementOf[v] = element;
            result[v] = elements[static_cast<std::size_t>(element)];
        }
    }
    return result;
}

/// Takes the file's lines in their order, from C callbacks.
class ObjReader {
public:
    explicit ObjReader(const std::string& path) : path_(path) {}

    MeshData read() {
        checkNumbers();
        std::ifstream file(path_);
        tinyobj::LoadObjWithCallback(file, callbacks(), this);
        checkIndices(path_, mesh_.vertices.size(), mesh_.triangles);
        const std::size_t numVertices = mesh_.vertices.size();
        if (hasFiniteNormals_)
            mesh_.normals = perVertex(normals_, normalCorners_, mesh_.triangles, numVertices);
        if (hasFiniteUVs_)
            mesh_.uvs = perVertex(uvs_, uvCorners_, mesh_.triangles, numVertices);
        return std::move(mesh_);
    }

private:
    /// The package takes for 0 what is no number.
    void checkNumbers() {
        TextLines lines(path_);
        while (lines.tryNext()) {
            const std::string_view word = lines.word();
            const bool isPosition = word == "v", isNormal = word == "vn", isUV = word == "vt";
            const int numNeeded = isPosition || isNormal ? 3 : isUV ? 1 : 0;
            bool isFinite = true;
            for (int i = 0; i < numNeeded || (isUV && i < 2 && !lines.atEnd()); ++i)
                isFinite = std::isfinite(lines.number<float>()) && isFinite;
            if (isPosition && !isFinite)
                lines.fail("a coordinate is not finite");
            hasFiniteNormals_ = hasFiniteNormals_ && (isFinite || !isNormal);
            hasFiniteUVs_ = hasFiniteUVs_ && (isFinite || !isUV);
        }
    }

    static ObjReader& self(void* reader) { return *static_cast<ObjReader*>(reader); }

    static tinyobj::callback_t callbacks() {
        tinyobj::callback_t callback;
        callback.vertex_cb = [](void* reader, float x, float y, float z, float) {
            self(reader).mesh_.vertices.push_back({x, y, z});
        };
        callback.normal_cb = [](void* reader, float x, float y, float z) {
            self(reader).normals_.push_back({x, y, z});
        };
        callback.texcoord_cb = [](void* reader, float u, float v, float) {
            self(reader).uvs_.push_back({u, v});
        };
        callback.index_cb = [](void* reader, tinyobj::index_t* corners, int count) {
            self(reader).addFace({corners, static_cast<std::size_t>(count)});
        };
        return callback;
    }

    void addFace(std::span<const tinyobj::index_t> corners) {
        ++numFaces_;
        if (corners.size() < 3)
            throw Failure(path_ + ": face " + std::to_string(numFaces_) +
                          " has fewer than 3 corners");
        addFan(corners, &tinyobj::index_t::vertex_index, mesh_.vertices.size(), mesh_.triangles);
        addFan(corners, &tinyobj::index_t::normal_index, normals_.size(), normalCorners_);
        addFan(corners, &tinyobj::index_t::texcoord_index, uvs_.size(), uvCorners_);
    }

    void addFan(std::span<const tinyobj::index_t> corners, int tinyobj::index_t::*index,
                std::size_t count, std::vector<MeshTriangle>& triangles) {
        polygon_.clear();
        for (const tinyobj::index_t& corner : corners)
            polygon_.push_back(fromObjIndex(corner.*index, count));
        qvmesh::addFan(polygon_, triangles);
    }

    const std::string path_;
    MeshData mesh_;
    bool hasFiniteNormals_ = true, hasFiniteUVs_ = true;
    std::vector<qvGeom::MeshNormal> normals_;
    std::vector<MeshTriangle> normalCorners_;
    std::vector<qvGeom::MeshUV> uvs_;
    std::vector<MeshTriangle> uvCorners_;
    std::vector<int> polygon_; // kept for its memory
    int numFaces_ = 0;
};

/// "7", or "7/7", "7//7" or "7/7/7" with what else the vertex has.
std::string objCorner(const qvGeom::CompactMesh& mesh, int vertex) {
    const std::string number = std::to_string(vertex + 1);
    std::string corner = number;
    if (mesh.getUVs() || mesh.getNormals())
        corner += '/';
    if (mesh.getUVs())
        corner += number;
    if (mesh.getNormals())
        corner += '/' + number;
    return corner;
}

/// Blanks would end the name.
std::string oneWord(std::string name) {
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return c <= ' '; }, '_');
    return name;
}

} // namespace

MeshData readObj(const std::string& path) { return ObjReader(path).read(); }

// Written here since the scene package writes six digits, with which a float does not come back.
std::string writeObj(const qvGeom::CompactMesh& mesh) { return writeObj(mesh, {}); }

std::string writeObj(const qvGeom::CompactMesh& mesh, std::span<const MeshGroup> groups) {
    NumberLines lines;
    for (int v = 0; v < mesh.getNumVertices(); ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        lines.line("v", p.x, p.y, p.z);
    }
    for (int v = 0; mesh.getUVs() && v < mesh.getNumVertices(); ++v)
        lines.line("vt", mesh.getUVs()[v].u, mesh.getUVs()[v].v);
    for (int v = 0; mesh.getNormals() && v < mesh.getNumVertices(); ++v) {
        const qvGeom::MeshNormal& n = mesh.getNormals()[v];
        lines.line("vn", n.x, n.y, n.z);
    }
    auto group = groups.begin();
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        for (; group != groups.end() && group->firstTriangle == t; ++group)
            lines.line("g", oneWord(group->name));
        const MeshTriangle& corners = mesh.getTriangles()[t];
        lines.line("f", objCorner(mesh, corners[0]), objCorner(mesh, corners[1]),
                   objCorner(mesh, corners[2]));
    }
    return lines.take();
}

} // namespace qvmesh

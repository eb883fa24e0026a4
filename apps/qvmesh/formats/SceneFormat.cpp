#include <algorithm>
#include <assimp/Importer.hpp>
#include <assimp/scene.h>
#include <climits>
#include <span>
#include <string>

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Formats.h"

namespace qvmesh {
namespace {

/// Lays the meshes of a scene one after the other, each at its place.
class SceneReader {
public:
    SceneReader(const std::string& path, const aiScene& scene) : path_(path), scene_(scene) {
        for (const aiMesh* mesh : std::span(scene.mMeshes, scene.mNumMeshes)) {
            keepNormals_ = keepNormals_ && mesh->HasNormals();
            keepUVs_ = keepUVs_ && mesh->HasTextureCoords(0) && mesh->mNumUVComponents[0] == 2;
        }
    }

    MeshData read() {
        addNode(*scene_.mRootNode, aiMatrix4x4());
        return std::move(data_);
    }

private:
    void addNode(const aiNode& node, const aiMatrix4x4& placeOfParent) {
        const aiMatrix4x4 place = placeOfParent * node.mTransformation;
        for (const unsigned mesh : std::span(node.mMeshes, node.mNumMeshes))
            addMesh(*scene_.mMeshes[mesh], place);
        for (const aiNode* child : std::span(node.mChildren, node.mNumChildren))
            addNode(*child, place);
    }

    void addMesh(const aiMesh& mesh, const aiMatrix4x4& place) {
        const std::size_t base = data_.vertices.size();
        if (base + mesh.mNumVertices > INT_MAX)
            throw Failure(path_ + ": has more vertices than a mesh can hold");

        aiMatrix3x3 normalPlace(place);
        normalPlace.Inverse().Transpose();
        // The product with an identity would lose the sign of zeros.
        const bool moved = place != aiMatrix4x4();
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            const aiVector3D p = moved ? place * mesh.mVertices[v] : mesh.mVertices[v];
            data_.vertices.push_back({p.x, p.y, p.z});
            if (keepNormals_) {
                aiVector3D n = mesh.mNormals[v];
                if (moved)
                    n = (normalPlace * n).NormalizeSafe();
                data_.normals.push_back({n.x, n.y, n.z});
            }
            if (keepUVs_)
                data_.uvs.push_back({mesh.mTextureCoords[0][v].x, mesh.mTextureCoords[0][v].y});
        }
        addFaces(mesh, static_cast<int>(base), place.Determinant() < 0);
    }

    /// A mirrored mesh is turned inside out again by reversing its faces.
    void addFaces(const aiMesh& mesh, int base, bool mirrored) {
        for (const aiFace& face : std::span(mesh.mFaces, mesh.mNumFaces)) {
            polygon_.clear();
            for (const unsigned vertex : std::span(face.mIndices, face.mNumIndices)) {
                // Past its own mesh lie the vertices of the next.
                if (vertex >= mesh.mNumVertices)
                    throw Failure(path_ + ": a face has the vertex " + std::to_string(vertex) +
                                  " of " + std::to_string(mesh.mNumVertices));
                polygon_.push_back(base + static_cast<int>(vertex));
            }
            if (mirrored)
                std::reverse(polygon_.begin(), polygon_.end());
            addFan(polygon_, data_.triangles);
        }
    }

    const std::string path_;
    const aiScene& scene_;
    bool keepNormals_ = true;
    bool keepUVs_ = true;
    MeshData data_;
    std::vector<int> polygon_; // kept for its memory
};

} // namespace

bool canReadScene(const std::string& extension) {
    return !extension.empty() && Assimp::Importer().IsExtensionSupported("." + extension);
}

MeshData readScene(const std::string& path) {
    Assimp::Importer importer;
    // No step after reading: vertices stay as the file shares and orders them.
    const aiScene* scene = importer.ReadFile(path, 0);
    if (!scene || !scene->mRootNode)
        throw Failure(path + ": " + importer.GetErrorString());
    return SceneReader(path, *scene).read();
}

} // namespace qvmesh

#include <algorithm>
#include <assimp/Exporter.hpp>
#include <assimp/Importer.hpp>
#include <assimp/config.h>
#include <assimp/scene.h>
#include <climits>
#include <cstring>
#include <memory>
#include <string>

#include "qvGeom/foundation/geometry/CompactMesh.h"

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

aiMesh* toSceneMesh(const qvGeom::CompactMesh& mesh) {
    auto result = std::make_unique<aiMesh>();
    const unsigned numVertices = static_cast<unsigned>(mesh.getNumVertices());
    result->mPrimitiveTypes = aiPrimitiveType_TRIANGLE;
    result->mNumVertices = numVertices;
    result->mVertices = new aiVector3D[numVertices];
    for (unsigned v = 0; v < numVertices; ++v) {
        const qvGeom::MeshVertex& p = mesh.getVertices()[v];
        result->mVertices[v].Set(p.x, p.y, p.z);
    }
    if (const qvGeom::MeshNormal* normals = mesh.getNormals()) {
        result->mNormals = new aiVector3D[numVertices];
        for (unsigned v = 0; v < numVertices; ++v)
            result->mNormals[v].Set(normals[v].x, normals[v].y, normals[v].z);
    }
    if (const qvGeom::MeshUV* uvs = mesh.getUVs()) {
        result->mNumUVComponents[0] = 2;
        result->mTextureCoords[0] = new aiVector3D[numVertices];
        for (unsigned v = 0; v < numVertices; ++v)
            result->mTextureCoords[0][v].Set(uvs[v].u, uvs[v].v, 0);
    }
    result->mNumFaces = static_cast<unsigned>(mesh.getNumTriangles());
    result->mFaces = new aiFace[result->mNumFaces];
    for (unsigned t = 0; t < result->mNumFaces; ++t) {
        aiFace& face = result->mFaces[t];
        face.mNumIndices = 3;
        face.mIndices = new unsigned[3];
        std::copy_n(mesh.getTriangles()[t].v, 3, face.mIndices);
    }
    return result.release();
}

/// A scene of one mesh, which the scene owns with all it holds.
std::unique_ptr<aiScene> toScene(const qvGeom::CompactMesh& mesh) {
    auto scene = std::make_unique<aiScene>();
    scene->mNumMaterials = 1;
    scene->mMaterials = new aiMaterial* [1] { new aiMaterial };
    scene->mNumMeshes = 1;
    scene->mMeshes = new aiMesh* [1] { toSceneMesh(mesh) };
    scene->mRootNode = new aiNode("mesh");
    scene->mRootNode->mNumMeshes = 1;
    scene->mRootNode->mMeshes = new unsigned[1]{0};
    return scene;
}

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

MeshData readFacets(const std::string& path) {
    MeshData data = readScene(path);
    data.normals.clear();
    return data;
}

std::vector<FileImage> writeScene(const qvGeom::CompactMesh& mesh, const char* format,
                                  const std::string& stem) {
    Assimp::Exporter exporter;
    Assimp::ExportProperties properties;
    properties.SetPropertyString(AI_CONFIG_EXPORT_BLOB_NAME, stem);
    const aiExportDataBlob* blob =
        exporter.ExportToBlob(toScene(mesh).get(), format, 0u, &properties);
    if (!blob)
        throw Failure(std::string("the mesh could not be written: ") + exporter.GetErrorString());

    std::vector<FileImage> images;
    for (; blob; blob = blob->next) {
        const std::string name = blob->name.C_Str();
        images.push_back({images.empty() ? "" : name.substr(name.rfind('.') + 1),
                          std::string(static_cast<const char*>(blob->data), blob->size)});
    }
    return images;
}

} // namespace qvmesh

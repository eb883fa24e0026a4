/// \file
/// The file formats: how each is read and written. Reading throws Failure.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/MeshNormal.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/MeshUV.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

/// A mesh as a reader finds it. Normals and UVs are one per vertex or none.
struct MeshData {
    std::vector<qvGeom::MeshVertex> vertices;
    std::vector<qvGeom::MeshNormal> normals;
    std::vector<qvGeom::MeshUV> uvs;
    std::vector<qvGeom::MeshTriangle> triangles;
};

/// Adds a polygon to `triangles` as a fan around its first corner; nothing for fewer than three.
void addFan(const std::vector<int>& corners, std::vector<qvGeom::MeshTriangle>& triangles);

/// Throws Failure for the first triangle with a corner that is no vertex.
void checkIndices(const std::string& path, std::size_t numVertices,
                  std::span<const qvGeom::MeshTriangle> triangles);

/// The library's own text format; a file that cannot be opened leaves the mesh alone.
void readText(const std::string& path, qvGeom::CompactMesh& mesh);
/// False when the file does not take it all.
[[nodiscard]] bool writeText(const qvGeom::CompactMesh& mesh, const std::string& path);

/// Keeps normals and texture coordinates that go with the vertices one to one; those of a vertex
/// with several of them find no place.
MeshData readObj(const std::string& path);
std::string writeObj(const qvGeom::CompactMesh& mesh);

/// Vertices and triangles only.
std::string writeOff(const qvGeom::CompactMesh& mesh);

/// Whether readScene knows files of this extension, in small letters and without dot.
bool canReadScene(const std::string& extension);

/// Reads a file of one or more placed meshes as one mesh.
MeshData readScene(const std::string& path);

/// The same without normals: those of an STL file belong to its facets, not to its vertices.
MeshData readFacets(const std::string& path);

/// The contents of a file, with the extension of its own that a companion of the main file has.
struct FileImage {
    std::string companionExtension; // empty: the main file
    std::string bytes;
};

/// The mesh in the format of that name. `stem` is what the files will be called, short of their
/// extensions: they refer to each other. Throws Failure.
std::vector<FileImage> writeScene(const qvGeom::CompactMesh& mesh, const char* format,
                                  const std::string& stem);

} // namespace qvmesh

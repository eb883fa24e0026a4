/// \file
/// The file formats: how each is read and written. What can fail throws Failure.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "qvGeom/foundation/geometry/MeshNormal.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/MeshUV.h"
#include "qvGeom/foundation/geometry/MeshVertex.h"
#include "qvGeom/foundation/linear/Point.h"

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

/// A piece of a line, from end to end.
struct Segment {
    qvLinear::PointFlt from, to;
};

/// Triangles that belong together: from this one on, to the next group.
struct MeshGroup {
    std::string name;
    int firstTriangle;
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
/// With the triangles in named groups.
std::string writeObj(const qvGeom::CompactMesh& mesh, std::span<const MeshGroup> groups);

/// Vertices and triangles only.
MeshData readOff(const std::string& path);
std::string writeOff(const qvGeom::CompactMesh& mesh);

/// Any encoding, with polygons or triangle strips; written binary.
MeshData readPly(const std::string& path);
std::string writePly(const qvGeom::CompactMesh& mesh);
/// With one more number per vertex, if there are any: the property `quality`.
std::string writePly(const qvGeom::CompactMesh& mesh, std::span<const float> quality);

/// Positions only: the format has no shared vertices, and normals of facets alone. Written binary.
MeshData readStl(const std::string& path);
std::string writeStl(const qvGeom::CompactMesh& mesh);

// With all channels. The first is one text file, with the numbers in it.
std::string writeGltf(const qvGeom::CompactMesh& mesh);
std::string writeGlb(const qvGeom::CompactMesh& mesh);

/// Whether readScene knows files of this extension, in small letters and without dot.
bool canReadScene(const std::string& extension);

/// Reads a file of one or more placed meshes, in the many formats of the scene package, as one
/// mesh.
MeshData readScene(const std::string& path);

// Line segments: lines of an OBJ, edges of a binary PLY. Each has two vertices of its own.
std::string writeObjSegments(std::span<const Segment> segments);
std::string writePlySegments(std::span<const Segment> segments);

} // namespace qvmesh

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"

#include "qvmesh/Failure.h"
#include "qvmesh/formats/Bytes.h"
#include "qvmesh/formats/Formats.h"
#include "qvmesh/formats/TextLines.h"

namespace qvmesh {
namespace {

constexpr std::size_t kHeaderSize = 80;
constexpr std::size_t kFacetsStart = kHeaderSize + sizeof(std::uint32_t);
constexpr std::size_t kFacetSize = 50;
constexpr std::size_t kNormalSize = 12;

qvGeom::MeshNormal facetNormal(const qvGeom::MeshVertex (&corners)[3]) {
    const qvLinear::Point origin = qvLinear::widen(corners[0]);
    const qvLinear::Normal normal(qvLinear::cross(qvLinear::widen(corners[1]) - origin,
                                                  qvLinear::widen(corners[2]) - origin));
    return {static_cast<float>(normal[0]), static_cast<float>(normal[1]),
            static_cast<float>(normal[2])};
}

void addTriangle(MeshData& mesh) {
    const int end = static_cast<int>(mesh.vertices.size());
    mesh.triangles.push_back({{end - 3, end - 2, end - 1}});
}

MeshData readBinary(const std::string& path, std::uint32_t numFacets) {
    std::ifstream file(path, std::ios::binary);
    file.ignore(kFacetsStart);
    MeshData mesh;
    for (std::uint32_t t = 0; t < numFacets; ++t) {
        char facet[kFacetSize];
        if (!file.read(facet, sizeof facet))
            throw Failure(path + ": is cut short");
        qvGeom::MeshVertex corners[3];
        std::memcpy(corners, facet + kNormalSize, sizeof corners);
        mesh.vertices.insert(mesh.vertices.end(), std::begin(corners), std::end(corners));
        addTriangle(mesh);
    }
    return mesh;
}

MeshData readAscii(const std::string& path) {
    TextLines lines(path);
    MeshData mesh;
    std::size_t numCorners = 0;
    bool isInSolid = false;
    while (lines.tryNext()) {
        const std::string word = inSmallLetters(lines.word());
        if (word == "vertex") {
            const float x = lines.number<float>();
            const float y = lines.number<float>();
            mesh.vertices.push_back({x, y, lines.number<float>()});
            ++numCorners;
        } else if (word == "endloop") {
            if (numCorners != 3)
                lines.fail("a facet has not 3 corners");
            addTriangle(mesh);
            numCorners = 0;
        } else if (word == "solid" || word == "endsolid") {
            isInSolid = word == "solid";
        }
    }
    if (isInSolid)
        lines.fail("the file ends too early");
    return mesh;
}

} // namespace

// Read here since the scene package rounds decimal fractions wrongly and takes a file cut short.
MeshData readStl(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    char header[kHeaderSize] = {};
    std::uint32_t numFacets = 0;
    file.read(header, sizeof header);
    file.read(reinterpret_cast<char*>(&numFacets), sizeof numFacets);

    // Binary files may start with the word, too, but then their size fits.
    const bool isBinary = !inSmallLetters({header, kHeaderSize}).starts_with("solid") ||
                          std::filesystem::file_size(path) == kFacetsStart + kFacetSize * numFacets;
    if (isBinary && !file)
        throw Failure(path + ": is cut short");
    return isBinary ? readBinary(path, numFacets) : readAscii(path);
}

std::string writeStl(const qvGeom::CompactMesh& mesh) {
    const std::size_t numFacets = static_cast<std::size_t>(mesh.getNumTriangles());
    std::string file = "binary STL";
    file.reserve(kFacetsStart + kFacetSize * numFacets);
    file.resize(kHeaderSize);
    appendBytes(file, static_cast<std::uint32_t>(numFacets));
    for (std::size_t t = 0; t < numFacets; ++t) {
        const qvGeom::MeshTriangle& triangle = mesh.getTriangles()[t];
        const qvGeom::MeshVertex corners[3] = {mesh.getVertices()[triangle[0]],
                                               mesh.getVertices()[triangle[1]],
                                               mesh.getVertices()[triangle[2]]};
        appendBytes(file, facetNormal(corners));
        appendBytes(file, corners);
        appendBytes(file, std::uint16_t(0));
    }
    return file;
}

} // namespace qvmesh

#include "qvGeom/io/GeomMeshText.h"

#include <cstdint>
#include <cstdio>
#include <limits>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Diagnostics.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/TopoMesh.h"
#include "qvGeom/io/detail/TextScanner.h"
#include "qvGeom/io/detail/TextWriter.h"

namespace qvGeom {
namespace {

using detail::File;
using detail::TextScanner;
using detail::TextWriter;

File openFile(const qvOS::Filename& file, const char* mode) {
    return File(std::fopen(file.asMultibyte().c_str(), mode));
}

template <class Point>
void writePoint(const Point& point, TextWriter& writer) {
    writer.put(static_cast<double>(point.x), ' ');
    writer.put(static_cast<double>(point.y), ' ');
    writer.put(static_cast<double>(point.z), '\n');
}

void closeOrReport(TextWriter& writer, const qvOS::Filename& file) {
    if (!writer.close())
        qvOS::AppOutput::getInstance().error("meshWrite: %s could not be written\n",
                                             file.asMultibyte().c_str());
}

/// Takes the text of a file apart. Every step returns false after it has reported what
/// is wrong; nothing can be read after that.
class MeshTextReader {
public:
    MeshTextReader(File opened, const qvOS::Filename& file)
        : scanner_(std::move(opened)),
          path_(file.asMultibyte().c_str()) {}

    bool readCounts(int& numVertices, int& numFaces) {
        if (!scanner_.next(numVertices) || !scanner_.next(numFaces))
            return fail("expected the numbers of vertices and faces");
        if (numVertices < 0 || numFaces < 0)
            return fail("the number of vertices or faces is negative");
        // Memory is asked for by these counts, so they must be true: a vertex has
        // three numbers, a face four at least.
        if (!hasRoomFor(3 * std::int64_t{numVertices} + 4 * std::int64_t{numFaces}))
            return fail("more vertices and faces than the file can hold");
        numVertices_ = numVertices;
        return true;
    }

    template <class Point>
    bool readVertices(Point* vertices) {
        for (int v = 0; v < numVertices_; ++v) {
            Point& p = vertices[v];
            if (!scanner_.next(p.x) || !scanner_.next(p.y) || !scanner_.next(p.z))
                return fail("expected a coordinate");
        }
        return true;
    }

    bool readCornerCount(int& numCorners) {
        if (!scanner_.next(numCorners))
            return fail("expected the number of a face's corners");
        if (numCorners < 3)
            return fail("a face of fewer than three corners");
        return true;
    }

    bool readCorners(int* corners, int numCorners) {
        for (int c = 0; c < numCorners; ++c) {
            if (!scanner_.next(corners[c]))
                return fail("expected a vertex index");
            if (corners[c] < 0 || corners[c] >= numVertices_)
                return fail("a vertex index out of range");
        }
        return true;
    }

    bool readTriangles(MeshTriangle* triangles, int numTriangles) {
        for (int t = 0; t < numTriangles; ++t) {
            int numCorners;
            if (!readCornerCount(numCorners))
                return false;
            if (numCorners != 3)
                return fail("a face that is not a triangle");
            if (!readCorners(triangles[t].v, 3))
                return false;
        }
        return true;
    }

    /// Appends each face's number of corners and the corners.
    bool readPolygons(std::vector<int>& polygons, int numFaces) {
        polygons.reserve(4 * static_cast<std::size_t>(numFaces));
        for (int f = 0; f < numFaces; ++f) {
            int numCorners;
            if (!readCornerCount(numCorners))
                return false;
            if (!hasRoomFor(numCorners))
                return fail("more corners than the file can hold");
            polygons.push_back(numCorners);
            polygons.resize(polygons.size() + numCorners);
            if (!readCorners(polygons.data() + polygons.size() - numCorners, numCorners))
                return false;
        }
        return true;
    }

    bool readEnd() { return scanner_.atEnd() || fail("something follows the last face"); }

    /// Whether the ids of `mesh` suffice for what was read.
    bool fitsInto(const TopoMesh& mesh, const std::vector<int>& polygons, int numFaces) {
        constexpr std::int64_t kMostIds = std::numeric_limits<int>::max();
        const auto numCorners = static_cast<std::int64_t>(polygons.size()) - numFaces;
        const bool fits = std::int64_t{mesh.vertexIdLimit()} + numVertices_ <= kMostIds &&
                          std::int64_t{mesh.faceIdLimit()} + numFaces <= kMostIds &&
                          mesh.edgeIdLimit() + numCorners + numFaces <= kMostIds;
        return fits || fail("more vertices, faces or corners than a mesh can hold");
    }

private:
    /// Whether what is left could be that many numbers: each is a character at least,
    /// and white space before it.
    bool hasRoomFor(std::int64_t count) const { return 2 * count <= scanner_.bytesLeft(); }

    bool fail(const char* fault) {
        auto& output = qvOS::AppOutput::getInstance();
        if (scanner_.readFailed())
            output.error("meshRead: %s could not be read\n", path_);
        else
            output.error("meshRead: %s:%zu: %s\n", path_, scanner_.line(), fault);
        return false;
    }

    TextScanner scanner_;
    const char* path_;
    int numVertices_ = 0;
};

/// Adds vertices, and faces given as readPolygons leaves them, whose corners it changes into
/// those of `mesh`.
void appendFaces(const std::vector<qvLinear::Point>& vertices, std::vector<int>& polygons,
                 int numFaces, TopoMesh& mesh) {
    const int numCorners = static_cast<int>(polygons.size()) - numFaces;
    mesh.reserve(mesh.vertexIdLimit() + static_cast<int>(vertices.size()),
                 mesh.edgeIdLimit() + numCorners, mesh.faceIdLimit() + numFaces);

    const int firstVertex = mesh.vertexIdLimit();
    for (const qvLinear::Point& vertex : vertices)
        mesh.allocVertex(vertex);
    for (std::size_t at = 0; at < polygons.size();) {
        const int size = polygons[at++];
        int* const corners = &polygons[at];
        for (int c = 0; c < size; ++c)
            corners[c] += firstVertex;
        mesh.allocFace(corners, size);
        at += size;
    }
}

} // namespace

void meshWrite(const CompactMesh& mesh, const qvOS::Filename& file) {
    File opened = openFile(file, "w");
    if (!opened)
        return;

    TextWriter writer(std::move(opened));
    writer.put(mesh.getNumVertices(), ' ');
    writer.put(mesh.getNumTriangles(), '\n');
    for (int v = 0; v < mesh.getNumVertices(); ++v)
        writePoint(mesh.getVertices()[v], writer);
    for (int t = 0; t < mesh.getNumTriangles(); ++t) {
        const MeshTriangle& triangle = mesh.getTriangles()[t];
        writer.put(3, ' ');
        writer.put(triangle[0], ' ');
        writer.put(triangle[1], ' ');
        writer.put(triangle[2], '\n');
    }
    closeOrReport(writer, file);
}

void meshWrite(TopoMesh& mesh, const qvOS::Filename& file) {
    File opened = openFile(file, "w");
    if (!opened)
        return;

    TextWriter writer(std::move(opened));
    writer.put(mesh.numVertices(), ' ');
    writer.put(mesh.numFaces(), '\n');

    std::vector<int> position(mesh.vertexIdLimit()); // of a vertex in the list, by its id
    int numWritten = 0;
    for (int v = mesh.nextVertex(-1); v >= 0; v = mesh.nextVertex(v)) {
        writePoint(mesh.vertexPoint(v), writer);
        position[v] = numWritten++;
    }

    for (int f = mesh.nextFace(-1); f >= 0; f = mesh.nextFace(f)) {
        writer.put(mesh.faceNumVertices(f), ' ');
        const int first = mesh.faceEdge(f);
        bool isLast = false;
        for (int e = first; !isLast; e = mesh.edgeNext(e)) {
            isLast = mesh.edgeNext(e) == first || mesh.edgeNext(e) < 0;
            writer.put(position[mesh.edgeVertex(e)], isLast ? '\n' : ' ');
        }
    }
    closeOrReport(writer, file);
}

void meshRead(CompactMesh& mesh, const qvOS::Filename& file) {
    File opened = openFile(file, "r");
    if (!opened)
        return;

    MeshTextReader reader(std::move(opened), file);
    int numVertices;
    int numTriangles;
    if (!reader.readCounts(numVertices, numTriangles))
        return;
    CompactMesh read;
    read.resizeVertexArray(numVertices);
    read.resizeTriangleArray(numTriangles);
    if (reader.readVertices(read.getVertices()) &&
        reader.readTriangles(read.getTriangles(), numTriangles) && reader.readEnd())
        mesh.swap(read);
}

void meshRead(TopoMesh& mesh, const qvOS::Filename& file) {
    File opened = openFile(file, "r");
    if (!opened)
        return;

    MeshTextReader reader(std::move(opened), file);
    int numVertices;
    int numFaces;
    if (!reader.readCounts(numVertices, numFaces))
        return;
    std::vector<qvLinear::Point> vertices(numVertices);
    std::vector<int> polygons;
    if (!reader.readVertices(vertices.data()) || !reader.readPolygons(polygons, numFaces) ||
        !reader.readEnd() || !reader.fitsInto(mesh, polygons, numFaces))
        return;

    appendFaces(vertices, polygons, numFaces, mesh);
    meshTwin(mesh);
}

} // namespace qvGeom

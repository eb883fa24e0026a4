/// \file
/// The triangle mesh that every algorithm works on.
#pragma once

#include <array>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/MeshSequence.h"
#include "qvGeom/foundation/geometry/MeshTriangle.h"
#include "qvGeom/foundation/geometry/PointMesh.h"

namespace qvGeom {

class MeshModification;

/// A point mesh with triangles over its vertices, and beside them optional triangle normals,
/// triangle strips and fans, lines and line strips. To edit one: write its arrays, then pass a
/// notice of what changed to modified(), once.
class QVGEOM_API CompactMesh : public PointMesh {
public:
    CompactMesh() = default;
    /// Copies the vertices and each channel given; a null one is left out.
    CompactMesh(int numVertices, const MeshVertex* vertices, const MeshNormal* normals,
                const MeshUV* uvs, const MeshColour* colours);
    CompactMesh(const CompactMesh& other) = default;
    CompactMesh& operator=(const CompactMesh& other) = default;
    /// Emits the destruction signal while the mesh is still whole.
    ~CompactMesh() override;

    void swap(CompactMesh& other) noexcept;
    /// Exchanges triangles with their normals, strips, fans, lines and line strips: all that is
    /// made of vertex indices.
    void swapConnectivity(CompactMesh& other) noexcept;
    /// Emits the modification signal, once. Frees and recomputes nothing.
    virtual void modified(MeshModification& modification);

    int getNumTriangles() const { return triangles_.size(); }

    /// Null without triangles.
    MeshTriangle* getTriangles() { return triangles_.data(); }

    const MeshTriangle* getTriangles() const { return triangles_.data(); }

    /// Three vertex indices per triangle.
    int* getTrianglesRaw() { return raw<int>(triangles_.data()); }

    const int* getTrianglesRaw() const { return raw<const int>(triangles_.data()); }

    /// Null when the mesh has no triangle normals.
    MeshNormal* getTriangleNormals() { return triangleNormals_.data(); }

    const MeshNormal* getTriangleNormals() const { return triangleNormals_.data(); }

    /// Three floats per triangle.
    float* getTriangleNormalsRaw() { return raw<float>(triangleNormals_.data()); }

    const float* getTriangleNormalsRaw() const { return raw<const float>(triangleNormals_.data()); }

    /// Keeps the first triangles, and their normals, and zeroes new ones. The selection stays.
    void resizeTriangleArray(int numTriangles);
    /// Replaces the triangles by `numTriangles` times three corners; triangle normals follow as
    /// when resizing, and the selection stays.
    void copyTriangles(int numTriangles, const int* corners);
    /// Makes zeroed triangle normals unless there are some; returns them, null without triangles.
    MeshNormal* allocTriangleNormalArray();
    void deleteTriangleNormals();

    // Strips: the vertex indices of all strips back to back, and one count per strip.
    int getNumTriStrips() const { return triStrips_.numRuns(); }

    int getNumTriStripPoints() const { return triStrips_.numPoints(); }

    int* getTriStripPoints() { return triStrips_.getPoints(); }

    const int* getTriStripPoints() const { return triStrips_.getPoints(); }

    int* getTriStripLengths() { return triStrips_.getLengths(); }

    const int* getTriStripLengths() const { return triStrips_.getLengths(); }

    void resizeTriStripArrays(int strips, int points) { triStrips_.resize(strips, points); }

    // Fans, in the same form.
    int getNumTriFans() const { return triFans_.numRuns(); }

    int getNumTriFanPoints() const { return triFans_.numPoints(); }

    int* getTriFanPoints() { return triFans_.getPoints(); }

    const int* getTriFanPoints() const { return triFans_.getPoints(); }

    int* getTriFanLengths() { return triFans_.getLengths(); }

    const int* getTriFanLengths() const { return triFans_.getLengths(); }

    void resizeTriFanArrays(int fans, int points) { triFans_.resize(fans, points); }

    int getNumLines() const { return lines_.size(); }

    /// Two vertex indices per line; null without lines.
    int* getLines() { return raw<int>(lines_.data()); }

    const int* getLines() const { return raw<const int>(lines_.data()); }

    void resizeLineArray(int lines) { lines_.resize(lines); }

    // Line strips, in the form of strips, and with the place of each strip's first point.
    int getNumLineStrips() const { return lineStrips_.numRuns(); }

    int getNumLineStripPoints() const { return lineStrips_.numPoints(); }

    int* getLineStripPoints() { return lineStrips_.getPoints(); }

    const int* getLineStripPoints() const { return lineStrips_.getPoints(); }

    /// The starts follow the lengths only after clearLineStripStarts().
    int* getLineStripLengths() { return lineStrips_.getLengths(); }

    const int* getLineStripLengths() const { return lineStrips_.getLengths(); }

    /// Derived on the first call after a change, which must not run beside another reader's.
    const int* getLineStripStarts() const { return lineStrips_.getStarts(); }

    void clearLineStripStarts() { lineStrips_.clearStartsAndOffsets(); }

    void resizeLineStripArrays(int strips, int points) { lineStrips_.resize(strips, points); }

    /// How many polygons the triangles came from. They are counted only, not stored.
    int getNumPolys() const { return numPolys_; }

    void setNumPolys(int numPolys) { numPolys_ = numPolys; }

    /// One bit per triangle, or of size 0: no selection.
    BitVector& getSelectedTriangles() { return selectedTriangles_; }

    const BitVector& getSelectedTriangles() const { return selectedTriangles_; }

    /// Gives both selections the size 0.
    void clearSelection();

private:
    Array<MeshTriangle> triangles_;
    Array<MeshNormal> triangleNormals_;
    MeshSequence triStrips_;
    MeshSequence triFans_;
    Array<std::array<int, 2>> lines_;
    MeshSequence lineStrips_;
    int numPolys_ = 0;
    BitVector selectedTriangles_;
};

} // namespace qvGeom

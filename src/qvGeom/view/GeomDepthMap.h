/// \file
/// What of meshes is seen from where: a buffer of depths.
#pragma once

#include <memory>

#include "qvGeom/Export.h"
#include "qvGeom/view/GeomClip.h"

namespace qvLinear {
struct ProjMatrix;
struct Range2d;
} // namespace qvLinear

namespace qvGeom {

class CompactMesh;

/// Draws meshes into a buffer with one depth for each pixel, sampled in its middle. Depths are
/// those of normalised device coordinates, -1 near to 1 far; a sample passes when it is no farther
/// than what the buffer holds. A back face is farther than a front face in the same place, if only
/// by one unit in the last place.
class QVGEOM_API MeshDepthMap {
public:
    /// The triangle that a sample is of.
    struct SampleTriInfo {
        const CompactMesh* mesh;
        const int* vertices; ///< The three in the mesh's own array.
        float slope;         ///< How much the depth changes from pixel to pixel, at most.
        int triangle;
    };

    /// How many samples of front faces passed, how many of back faces, and how many there were.
    struct FragmentCount {
        int front, back, total;
    };

    /// Takes a sample before the buffer changes, whether it passes or not. `info` is null unless
    /// asked for.
    using DepthFunc = void (*)(void* data, int x, int y, float depth, const SampleTriInfo* info);

    /// The depths of the new buffer are undefined: fill it before drawing. Sizes below 1 make a map
    /// without pixels.
    MeshDepthMap(int width, int height);
    MeshDepthMap(const MeshDepthMap&) = delete;
    MeshDepthMap& operator=(const MeshDepthMap&) = delete;
    virtual ~MeshDepthMap();

    /// Whether samples that pass are written to the buffer; not at first.
    void setWriting(bool writing);
    bool isWriting() const;
    /// When writing, whether a sample as deep as the buffer is moved one unit in the last place
    /// towards 0, so that the depth tells how often its pixel was written; it then is not found.
    void setUnique(bool unique);
    /// Draws into the part of the map that begins at the minimum of `r`, where the whole map is the
    /// unit square, and is as large as `r` in pixels.
    void setViewport(const qvLinear::Range2d& r);
    /// When writing and `on`, adds `factor` times the slope of its triangle to each depth.
    void setPolygonOffset(bool on, float factor);
    /// Sets what is called with each sample when writing; null for nothing.
    void setDepthCB(DepthFunc callback, void* data, bool wantInfo);

    /// Draws the triangles of the mesh, as `m` maps them, cut at the sides of [-1, 1] on each axis.
    /// When writing, returns whether any sample passed. Otherwise nothing is written, and with
    /// `counts` it is replaced by the numbers of samples; without, drawing ends with the first
    /// triangle of which a sample passes. Large meshes are drawn by all threads, unless there is
    /// something to call, or each sample depends on those before; the result is the same.
    bool rasterize(const qvLinear::ProjMatrix& m, const CompactMesh& mesh, FragmentCount* counts);

    int getWidth() const;
    int getHeight() const;
    /// Row by row. Null without pixels.
    float* getDepthBuffer();
    const float* getDepthBuffer() const;
    /// To choose which triangles are drawn: its selection, faces to cull, and which are front. Its
    /// function is not used. While a callback runs, it tells of the triangle.
    Clip::TriangleAlgorithm& getClip();

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace qvGeom

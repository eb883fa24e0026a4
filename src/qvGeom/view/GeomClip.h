/// \file
/// What of a mesh, a polyline or a box lies in the view volume of a projection, and what remains of
/// triangles there.
///
/// A point p of the mesh goes to (x, y, z, w) = (p, 1) * m, in single precision. It is in the
/// volume when none of x, y, z lies beyond -w or w; on a side is inside, and NaN is beyond nothing.
#pragma once

#include <vector>

#include "qvGeom/Export.h"

namespace qvLinear {
struct AffineMatrix;
struct HPoint;
struct ProjMatrixFlt;
struct Range2d;
} // namespace qvLinear

namespace qvGeom {

struct BoundingBox;
class CompactMesh;
class Frustum;
class PointMesh;

namespace detail {
struct TriangleWalk;
}

/// A convex polygon of homogeneous points with attributes.
struct ClipPolygon {
    static constexpr int kMaxVertices = 10;
    static constexpr int kNumbers = 16;

    int count = 0;
    /// Bit k: number k of a vertex is interpolated where an edge is cut.
    int mask = 15;
    /// x, y, z, w, then what the caller likes.
    double vertex[kMaxVertices][kNumbers];
};

/// A box in units of w.
struct ClipBox {
    double minX = -1.0, maxX = 1.0;
    double minY = -1.0, maxY = 1.0;
    double minZ = -1.0, maxZ = 1.0;
};

/// Cuts off what of the polygon is outside the box. A vertex in the plane of a side is inside, and
/// may occur twice in the result. Numbers not in the mask are undefined where an edge is cut.
/// Returns 0 when nothing is left (the count is then 0), 1 when some may be cut off, and 2, leaving
/// the polygon as it is, when all of it is inside. No more than ten vertices are made: a triangle
/// needs nine.
QVGEOM_API int clipTriangle(ClipPolygon& polygon, const ClipBox& box);

/// Whether the box may be seen: false when all its corners lie beyond one side of the volume, or it
/// is not valid.
QVGEOM_API bool bboxClipTest(const BoundingBox& box, const qvLinear::ProjMatrixFlt& m);

/// The same with the volume restricted to a region of [-1, 1] x [-1, 1].
QVGEOM_API bool bboxClipTest(const BoundingBox& box, const qvLinear::ProjMatrixFlt& m,
                             const qvLinear::Range2d& region);

/// Whether the box of all vertices, moved by `xf`, and the frustum may meet.
QVGEOM_API bool intersectBoxFrustum(const qvLinear::AffineMatrix& xf, const CompactMesh& mesh,
                                    const Frustum& frustum);

/// Projected vertices.
class QVGEOM_API Clip {
public:
    /// `outcode` has bit 0 when x < -w, else bit 1 when x > w; bits 2 and 3 alike for y, 4 and 5
    /// for z.
    struct Vertex {
        float x, y, z, w;
        int outcode;
    };

    class LineAlgorithm;
    class TriangleAlgorithm;

    /// Replaces `out` by the projected vertices. Returns 2 when one is inside, and 0 when all are
    /// beyond one common side or, otherwise, 1; 0 too without vertices. With `stopAtInside` the
    /// first vertex inside ends it, and `out` is empty.
    static int projectVertices(const float* xyz, int n, const qvLinear::ProjMatrixFlt& m,
                               std::vector<Vertex>& out, bool stopAtInside);
    static int projectVertices(const PointMesh& mesh, const qvLinear::ProjMatrixFlt& m,
                               std::vector<Vertex>& out, bool stopAtInside);
    /// Returns what projectVertices() returns and keeps nothing.
    static int clipVertices(const float* xyz, int n, const qvLinear::ProjMatrixFlt& m);
    static int clipVertices(const PointMesh& mesh, const qvLinear::ProjMatrixFlt& m);
    /// Whether the point is inside.
    static bool evaluatePoint(const float* xyz, const qvLinear::ProjMatrixFlt& m);

    /// The vertices of the last evaluation; none when it ended at a vertex inside.
    const std::vector<Vertex>& getVertices() const { return vertices_; }

protected:
    std::vector<Vertex> vertices_;
};

/// Whether any of some segments is seen. Points are three floats each; fewer than two give false.
/// A segment with both ends outside is tested against few sides of the volume, so that one near an
/// edge or a corner of it may count though it misses, or not though it meets.
class QVGEOM_API Clip::LineAlgorithm : public Clip {
public:
    /// Segments from each point to the next.
    bool evaluateStrip(const float* points, int n, const qvLinear::ProjMatrixFlt& m);
    /// Segments of two points each; the last of an odd number stands for itself.
    bool evaluateSegments(const float* points, int n, const qvLinear::ProjMatrixFlt& m);
    /// The edges of the triangles.
    bool evaluateMesh(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m);

    // The steps of the above, for vertices outside.

    /// Whether the segment between two vertices of the last evaluation is seen.
    bool evaluateSegment(int i, int j) const;
    /// Whether the line through both crosses the side of the axis, 3, 12 or 48 for x, y or z,
    /// that `a` is beyond.
    static bool intersectsFace(const Vertex& a, const Vertex& b, int mask);
    /// Whether it crosses one of the two sides tried for an edge between axes: 15 for x and y, 51
    /// for x and z, 60 for y and z.
    static bool intersectsEdge(const Vertex& a, const Vertex& b, int mask);
    /// Whether it crosses one of three sides.
    static bool intersectsCorner(const Vertex& a, const Vertex& b);
    /// Whether the line through both crosses the side where coordinate `axis` is `sign` times w,
    /// give or take 1e-6 of w.
    static bool intersects(const Vertex& a, const Vertex& b, int axis, float sign);

private:
    int project(const float* points, int n, const qvLinear::ProjMatrixFlt& m);
};

/// Whether any triangle of a mesh is seen, and what remains of each in the volume.
class QVGEOM_API Clip::TriangleAlgorithm : public Clip {
public:
    /// Takes a triangle inside the volume and returns whether to go on.
    using TriangleFunc = bool (*)(void* data, const qvLinear::HPoint& a, const qvLinear::HPoint& b,
                                  const qvLinear::HPoint& c);

    /// What the function, if it is not null, is called with: the triangles of the mesh in order,
    /// those not wholly inside as a fan of what is left of them.
    void setTriangleFunc(TriangleFunc func, void* data);

    /// A selection of size 0 lets every triangle through.
    void setSelectedTrianglesOnly(bool selectedOnly) { selectedOnly_ = selectedOnly; }

    void setCullFaces(bool cullFront, bool cullBack);

    /// Front faces run counter-clockwise on the screen unless this is set.
    void setClockwiseFront(bool clockwise) { clockwiseFront_ = clockwise; }

    /// Whether a triangle is seen that is not culled. Without a function it stops at the first one,
    /// or at a vertex inside, culled or not; with one, when that returns false. Fewer than three
    /// vertices give false.
    bool evaluateMesh(const CompactMesh& mesh, const qvLinear::ProjMatrixFlt& m);
    /// The step of the above for three vertices of the last evaluation.
    bool evaluateTriangle(int i, int j, int k);
    /// Whether the triangle is culled, by the way it runs in x and y; remembers whether its front
    /// is seen. One without area counts as counter-clockwise.
    bool cullFace(const Vertex& a, const Vertex& b, const Vertex& c);

    /// The triangle that is being evaluated, for the function.
    int getCurrentTriangle() const { return currentTriangle_; }

    /// Whether its front is seen.
    bool isFrontFacing() const { return frontFacing_; }

private:
    friend struct detail::TriangleWalk;

    TriangleFunc func_ = nullptr;
    void* data_ = nullptr;
    int currentTriangle_ = 0;
    bool selectedOnly_ = false;
    bool clockwiseFront_ = false;
    bool cullFront_ = false;
    bool cullBack_ = false;
    bool frontFacing_ = false;
    bool goOn_ = true;
};

} // namespace qvGeom

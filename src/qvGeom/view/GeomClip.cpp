#include "qvGeom/view/GeomClip.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/linear/ProjMatrix.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/spatial/GeomOctree.h"
#include "qvGeom/topology/GeomBoundingBox.h"
#include "qvGeom/view/detail/Projector.h"
#include "qvGeom/view/detail/TriangleWalk.h"

namespace qvGeom {

using detail::outcodeOf;
using detail::Projector;
using detail::TriangleWalk;
using qvLinear::AffineMatrix;
using qvLinear::HPoint;
using qvLinear::ProjMatrixFlt;
using qvLinear::Range2d;

namespace {

constexpr int kAllOutside = 63;
constexpr int kNegativeSides = 1 + 4 + 16;

/// What projectVertices() returns for the outcode bits that all vertices share.
int relationOf(int common, bool anyInside) { return anyInside ? 2 : common == 0 ? 1 : 0; }

/// All sides of the axes on which the outcode is outside: one axis for a face region, two for an
/// edge region, three for a corner region.
int axesOf(int outcode) { return 3 * ((outcode | outcode >> 1) & kNegativeSides); }

bool isFace(int axes) { return axes == 3 || axes == 12 || axes == 48; }

bool isEdge(int axes) { return axes == 15 || axes == 51 || axes == 60; }

/// Whether all corners of the box share a bit of the outcode that `classify` gives them.
template <class Classify>
bool isOutside(const BoundingBox& box, const ProjMatrixFlt& m, const Classify& classify) {
    if (!box.isValid())
        return true;
    const Projector project(m);
    int common = kAllOutside;
    for (int k = 0; k < 8 && common != 0; ++k) {
        const float corner[3] = {(k & 1 ? box.max : box.min)[0], (k & 2 ? box.max : box.min)[1],
                                 (k & 4 ? box.max : box.min)[2]};
        common &= classify(project(corner));
    }
    return common != 0;
}

/// A side of a clip box: v[axis] * sign <= v.w * bound is inside.
struct HalfSpace {
    int axis;
    double sign, bound;

    double over(const double* v) const { return v[axis] * sign - v[3] * bound; }
};

void copyVertex(const double* from, double* to) { std::copy_n(from, ClipPolygon::kNumbers, to); }

/// Writes what of `in` is inside to `out`.
void clipToHalfPlane(const ClipPolygon& in, ClipPolygon& out, const HalfSpace& side) {
    out.count = 0;
    out.mask = in.mask;
    const double* prev = in.vertex[in.count - 1];
    double prevOver = side.over(prev);
    for (int k = 0; k < in.count; ++k) {
        const double* cur = in.vertex[k];
        const double over = side.over(cur);
        if ((over <= 0.0) != (prevOver <= 0.0) && out.count < ClipPolygon::kMaxVertices) {
            const double t = prevOver / (prevOver - over);
            double* cut = out.vertex[out.count++];
            for (int n = 0; n < ClipPolygon::kNumbers; ++n) {
                if (in.mask >> n & 1)
                    cut[n] = prev[n] + (cur[n] - prev[n]) * t;
            }
        }
        if (over <= 0.0 && out.count < ClipPolygon::kMaxVertices)
            copyVertex(cur, out.vertex[out.count++]);
        prev = cur;
        prevOver = over;
    }
}

/// How many vertices are beyond each side, in the order of the sides.
std::array<int, 6> countBeyond(const ClipPolygon& polygon, const ClipBox& box) {
    std::array<int, 6> beyond{};
    for (int k = 0; k < polygon.count; ++k) {
        const auto [x, y, z, w] = TriangleWalk::pointOf(polygon, k);
        beyond[0] += x < box.minX * w;
        beyond[1] += x > box.maxX * w;
        beyond[2] += y < box.minY * w;
        beyond[3] += y > box.maxY * w;
        beyond[4] += z < box.minZ * w;
        beyond[5] += z > box.maxZ * w;
    }
    return beyond;
}

} // namespace

int clipTriangle(ClipPolygon& polygon, const ClipBox& box) {
    if (polygon.count <= 0)
        return 2;
    const std::array<int, 6> beyond = countBeyond(polygon, box);
    const int most = *std::max_element(beyond.begin(), beyond.end());
    if (most == 0)
        return 2;
    if (most == polygon.count) {
        polygon.count = 0;
        return 0;
    }

    const HalfSpace sides[6] = {{0, -1.0, -box.minX}, {0, 1.0, box.maxX},   {1, -1.0, -box.minY},
                                {1, 1.0, box.maxY},   {2, -1.0, -box.minZ}, {2, 1.0, box.maxZ}};
    ClipPolygon scratch{}; // zeroed: what is not interpolated stays
    ClipPolygon *in = &polygon, *out = &scratch;
    for (int k = 0; k < 6; ++k) {
        if (beyond[k] == 0)
            continue;
        clipToHalfPlane(*in, *out, sides[k]);
        std::swap(in, out);
        if (in->count == 0) {
            polygon.count = 0;
            return 0;
        }
    }
    if (in == &scratch) {
        polygon.count = scratch.count;
        polygon.mask = scratch.mask;
        for (int k = 0; k < scratch.count; ++k)
            copyVertex(scratch.vertex[k], polygon.vertex[k]);
    }
    return 1;
}

bool bboxClipTest(const BoundingBox& box, const ProjMatrixFlt& m) {
    return !isOutside(box, m, outcodeOf);
}

bool bboxClipTest(const BoundingBox& box, const ProjMatrixFlt& m, const Range2d& region) {
    return !isOutside(box, m, [&region](Float4 p) {
        constexpr int kDepthSides = 16 + 32;
        const double x = p[0], y = p[1], w = p[3];
        const int xSide = x < region.minX * w ? 1 : x > region.maxX * w ? 2 : 0;
        const int ySide = y < region.minY * w ? 4 : y > region.maxY * w ? 8 : 0;
        return xSide | ySide | (outcodeOf(p) & kDepthSides);
    });
}

bool intersectBoxFrustum(const AffineMatrix& xf, const CompactMesh& mesh, const Frustum& frustum) {
    BoundingBox box;
    meshBoundingBox(mesh, box);
    box.transform(xf);
    return intersects(box, frustum);
}

int Clip::projectVertices(const float* xyz, int n, const ProjMatrixFlt& m, std::vector<Vertex>& out,
                          bool stopAtInside) {
    out.resize(static_cast<std::size_t>(std::max(n, 0)));
    const Projector project(m);
    int common = kAllOutside;
    bool anyInside = false;
    Vertex* vertex = out.data();
    for (int i = 0; i < n; ++i, ++vertex, xyz += 3) {
        const Float4 p = project(xyz);
        const int outcode = outcodeOf(p);
        store(&vertex->x, p);
        vertex->outcode = outcode;
        common &= outcode;
        anyInside |= outcode == 0;
        if (stopAtInside && outcode == 0) {
            out.clear();
            return 2;
        }
    }
    return n > 0 ? relationOf(common, anyInside) : 0;
}

int Clip::projectVertices(const PointMesh& mesh, const ProjMatrixFlt& m, std::vector<Vertex>& out,
                          bool stopAtInside) {
    return projectVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m, out, stopAtInside);
}

int Clip::clipVertices(const float* xyz, int n, const ProjMatrixFlt& m) {
    const Projector project(m);
    int common = kAllOutside;
    for (int i = 0; i < n; ++i) {
        const int outcode = outcodeOf(project(xyz + 3 * static_cast<std::ptrdiff_t>(i)));
        if (outcode == 0)
            return 2;
        common &= outcode;
    }
    return n > 0 ? relationOf(common, false) : 0;
}

int Clip::clipVertices(const PointMesh& mesh, const ProjMatrixFlt& m) {
    return clipVertices(mesh.getVerticesRaw(), mesh.getNumVertices(), m);
}

bool Clip::evaluatePoint(const float* xyz, const ProjMatrixFlt& m) {
    return outcodeOf(Projector(m)(xyz)) == 0;
}

int Clip::LineAlgorithm::project(const float* points, int n, const ProjMatrixFlt& m) {
    return n < 2 ? 0 : projectVertices(points, n, m, vertices_, true);
}

bool Clip::LineAlgorithm::evaluateStrip(const float* points, int n, const ProjMatrixFlt& m) {
    const int relation = project(points, n, m);
    if (relation != 1)
        return relation == 2;
    for (int i = 1; i < n; ++i) {
        if (evaluateSegment(i - 1, i))
            return true;
    }
    return false;
}

bool Clip::LineAlgorithm::evaluateSegments(const float* points, int n, const ProjMatrixFlt& m) {
    const int relation = project(points, n, m);
    if (relation != 1)
        return relation == 2;
    for (int i = 1; i < n; i += 2) {
        if (evaluateSegment(i - 1, i))
            return true;
    }
    return false;
}

bool Clip::LineAlgorithm::evaluateMesh(const CompactMesh& mesh, const ProjMatrixFlt& m) {
    const int relation = project(mesh.getVerticesRaw(), mesh.getNumVertices(), m);
    if (relation != 1)
        return relation == 2;
    const MeshTriangle* triangles = mesh.getTriangles();
    return std::any_of(triangles, triangles + mesh.getNumTriangles(), [this](const auto& t) {
        return evaluateSegment(t[0], t[1]) || evaluateSegment(t[1], t[2]) ||
               evaluateSegment(t[2], t[0]);
    });
}

bool Clip::LineAlgorithm::evaluateSegment(int i, int j) const {
    const Vertex &a = vertices_[i], &b = vertices_[j];
    if ((a.outcode & b.outcode) != 0)
        return false;
    const int axesA = axesOf(a.outcode), axesB = axesOf(b.outcode);
    if (isFace(axesA)) // beyond opposite sides it goes through the volume
        return (isFace(axesB) && axesA == axesB) || intersectsFace(a, b, axesA);
    if (isFace(axesB))
        return intersectsFace(b, a, axesB);
    if (isEdge(axesA))
        return intersectsEdge(a, b, axesA);
    if (isEdge(axesB))
        return intersectsEdge(b, a, axesB);
    return intersectsCorner(a, b);
}

bool Clip::LineAlgorithm::intersectsFace(const Vertex& a, const Vertex& b, int mask) {
    const int axis = mask == 3 ? 0 : mask == 12 ? 1 : 2;
    return intersects(a, b, axis, (a.outcode & mask & kNegativeSides) != 0 ? -1.0F : 1.0F);
}

bool Clip::LineAlgorithm::intersectsEdge(const Vertex& a, const Vertex& b, int mask) {
    // Kept: an edge between x and z tries the sides of x and y.
    return mask == 60 ? intersectsFace(a, b, 12) || intersectsFace(a, b, 48)
                      : intersectsFace(a, b, 3) || intersectsFace(a, b, 12);
}

bool Clip::LineAlgorithm::intersectsCorner(const Vertex& a, const Vertex& b) {
    return intersectsFace(a, b, 3) || intersectsFace(a, b, 12) || intersectsFace(a, b, 48);
}

bool Clip::LineAlgorithm::intersects(const Vertex& a, const Vertex& b, int axis, float sign) {
    constexpr float kWiden = 1.000001F;
    const float from[4] = {a.x, a.y, a.z, a.w}, to[4] = {b.x, b.y, b.z, b.w};
    const float d = from[axis] - to[axis] - (a.w - b.w) * sign;
    if (d == 0.0F)
        return false;
    const float t = (from[axis] - sign * a.w) / d;
    const auto at = [&](int k) { return from[k] + (to[k] - from[k]) * t; };
    const float bound = at(3) * kWiden;
    const float u = at((axis + 1) % 3), v = at((axis + 2) % 3);
    return -bound < u && u < bound && -bound < v && v < bound;
}

void Clip::TriangleAlgorithm::setTriangleFunc(TriangleFunc func, void* data) {
    func_ = func;
    data_ = data;
}

void Clip::TriangleAlgorithm::setCullFaces(bool cullFront, bool cullBack) {
    cullFront_ = cullFront;
    cullBack_ = cullBack;
}

bool Clip::TriangleAlgorithm::evaluateMesh(const CompactMesh& mesh, const ProjMatrixFlt& m) {
    if (mesh.getNumVertices() < 3)
        return false;
    const int relation = projectVertices(mesh, m, vertices_, func_ == nullptr);
    if (relation == 0 || (relation == 2 && !func_))
        return relation == 2;
    const bool any = TriangleWalk::forEachTriangle(
        *this, mesh, {0, mesh.getNumTriangles()}, [this](const MeshTriangle& t) {
            const bool seen = evaluateTriangle(t[0], t[1], t[2]);
            if (seen && !func_)
                goOn_ = false;
            return seen;
        });
    if (!func_)
        goOn_ = true; // only a function is stopped by it
    return any;
}

bool Clip::TriangleAlgorithm::evaluateTriangle(int i, int j, int k) {
    struct Caller {
        TriangleFunc func;
        void* data;
        const std::vector<Vertex>& vertices;

        HPoint pointOf(int v) const {
            return {vertices[v].x, vertices[v].y, vertices[v].z, vertices[v].w};
        }

        bool onInside(int a, int b, int c) const {
            return !func || func(data, pointOf(a), pointOf(b), pointOf(c));
        }

        bool onClipped(const HPoint& a, const HPoint& b, const HPoint& c) const {
            return !func || func(data, a, b, c);
        }
    };

    const Caller caller{func_, data_, vertices_};
    return TriangleWalk::evaluate(*this, vertices_.data(), i, j, k, caller);
}

bool Clip::TriangleAlgorithm::cullFace(const Vertex& a, const Vertex& b, const Vertex& c) {
    return TriangleWalk::isCulled(*this, a, b, c);
}

} // namespace qvGeom

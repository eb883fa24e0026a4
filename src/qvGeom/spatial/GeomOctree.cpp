#include "qvGeom/spatial/GeomOctree.h"

#include <algorithm>
#include <iterator>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/Frustum.h"
#include "qvGeom/foundation/geometry/Sphere.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/detail/OctreeWalk.h"

namespace qvGeom {

using qvLinear::PointFlt;
using qvLinear::VectorFlt;

namespace {

float along(const VectorFlt& direction, const PointFlt& p) {
    // In the order of project, so that no point of a box projects outside the box's range.
    return p.x * direction.x + p.y * direction.y + p.z * direction.z;
}

/// Whether the ranges of the box and of some points along `direction` do not touch. A NaN among
/// them, also one of an overflow, separates nothing.
template <class... Points>
bool separates(const VectorFlt& direction, const BoundingBox& box, const Points&... points) {
    float lo = 0, hi = 0;
    project(box, direction, lo, hi);
    return ((along(direction, points) > hi) && ...) || ((along(direction, points) < lo) && ...);
}

/// Whether a cross product of `edge` with one of the axes of the box separates it from the points.
template <class... Points>
bool edgeSeparates(const VectorFlt& edge, const BoundingBox& box, const Points&... points) {
    return separates({0.0F, edge.z, -edge.y}, box, points...) ||
           separates({-edge.z, 0.0F, edge.x}, box, points...) ||
           separates({edge.y, -edge.x, 0.0F}, box, points...);
}

/// Whether the points lie all beyond the same face of the box.
template <class... Points>
bool allBeyondOneFace(const BoundingBox& box, const Points&... points) {
    return ((points.x < box.min[0]) && ...) || ((points.x > box.max[0]) && ...) ||
           ((points.y < box.min[1]) && ...) || ((points.y > box.max[1]) && ...) ||
           ((points.z < box.min[2]) && ...) || ((points.z > box.max[2]) && ...);
}

double height(const Frustum::Face& face, const qvLinear::Point& p) {
    return dot(p - face.point, face.outward);
}

/// The height over a face of the frustum of the corner of the box that is lowest above it.
double lowestHeight(const Frustum::Face& face, const BoundingBox& box) {
    const double point[3] = {face.point.x, face.point.y, face.point.z};
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis) {
        const double atMin = (qvLinear::widen(box.min[axis]) - point[axis]) * face.outward[axis];
        const double atMax = (qvLinear::widen(box.max[axis]) - point[axis]) * face.outward[axis];
        sum += std::min(atMin, atMax);
    }
    return sum;
}

class TriBoxesAlg final : public qvUtil::ThreadedAlg {
public:
    TriBoxesAlg(const CompactMesh& mesh, Array<BoundingBox>& boxes) : mesh_(mesh), boxes_(boxes) {}

    void threadFunc(int thread, int numThreads) override {
        for (const int t : qvUtil::sliceOf(boxes_.size(), thread, numThreads))
            meshTriBoundingBox(mesh_.getVertices(), mesh_.getTriangles()[t], boxes_[t]);
    }

private:
    const CompactMesh& mesh_;
    Array<BoundingBox>& boxes_;
};

} // namespace

void meshTriBoundingBox(const MeshVertex* vertices, const MeshTriangle& triangle,
                        BoundingBox& box) {
    box.setInvalid();
    for (const int v : triangle.v)
        box.extend(vertices[v]);
}

void meshTriBoundingBoxes(const CompactMesh& mesh, Array<BoundingBox>& boxes) {
    Array<BoundingBox> built(mesh.getNumTriangles());
    TriBoxesAlg alg(mesh, built);
    qvUtil::ThreadPool::get().run(alg);
    boxes.swap(built);
}

bool intersects(const BoundingBox& box, const Frustum& frustum) {
    const auto& c = frustum.corner;
    if (allBeyondOneFace(box, c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]))
        return false;
    return std::none_of(
        std::begin(frustum.face), std::end(frustum.face),
        [&box](const Frustum::Face& face) { return lowestHeight(face, box) > 0.0; });
}

bool intersects(const BoundingBox& box, const Sphere& sphere) {
    return sphere.radius >= box.distance(qvLinear::narrow(sphere.center));
}

bool intersects(const BoundingBox& box, const Ray& ray) { return detail::meets(box, ray); }

bool intersects(const BoundingBox& box, const PointFlt& p0, const PointFlt& p1,
                const PointFlt& p2) {
    if (allBeyondOneFace(box, p0, p1, p2))
        return false;
    const VectorFlt e0 = p1 - p0;
    const VectorFlt e1 = p2 - p1;
    const VectorFlt e2 = p0 - p2;
    return !separates(cross(e0, e1), box, p0, p1, p2) && !edgeSeparates(e0, box, p0, p1, p2) &&
           !edgeSeparates(e1, box, p0, p1, p2) && !edgeSeparates(e2, box, p0, p1, p2);
}

bool intersects(const BoundingBox& box, const PointFlt& p0, const PointFlt& p1) {
    return !allBeyondOneFace(box, p0, p1) && !edgeSeparates(p1 - p0, box, p0, p1);
}

bool contains(const Frustum& frustum, const qvLinear::Point& point) {
    return std::none_of(std::begin(frustum.face), std::end(frustum.face),
                        [&point](const Frustum::Face& face) { return height(face, point) > 0.0; });
}

bool contains(const BoundingBox& box, const PointFlt& point) { return box.contains(point); }

void project(const BoundingBox& box, const VectorFlt& direction, float& lo, float& hi) {
    const float along[3] = {direction.x, direction.y, direction.z};
    lo = hi = 0.0F;
    for (int axis = 0; axis < 3; ++axis) {
        const float atMin = box.min[axis] * along[axis];
        const float atMax = box.max[axis] * along[axis];
        lo += std::min(atMin, atMax);
        hi += std::max(atMin, atMax);
    }
}

} // namespace qvGeom

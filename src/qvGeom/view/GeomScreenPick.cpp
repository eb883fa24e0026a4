#include "qvGeom/view/GeomScreenPick.h"

#include <cfloat>
#include <cstdint>
#include <limits>
#include <vector>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/view/detail/Projector.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::ProjMatrixFlt;

namespace {

struct ScreenRect {
    float minX, minY, maxX, maxY;
};

/// Finds the sides of a rectangle that each vertex lies beyond.
class MeshProjectToScreen final : public qvUtil::ThreadedAlg {
public:
    MeshProjectToScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, const ScreenRect& rect)
        : mesh_(mesh),
          project_(m),
          min_{rect.minX, rect.minY, -kInfinity, -kInfinity},
          max_{rect.maxX, rect.maxY, kInfinity, kInfinity},
          codes_(mesh.getNumVertices()) {}

    void threadFunc(int thread, int numThreads) override {
        const MeshVertex* vertices = mesh_.getVertices();
        std::uint8_t* codes = codes_.data();
        const detail::Projector project = project_; // a byte stored might change the member
        for (const int v : qvUtil::sliceOf(codes_.size(), thread, numThreads)) {
            const Float4 p = project(&vertices[v].x);
            const Float4 onScreen = p / splat(p[3]);
            codes[v] =
                static_cast<std::uint8_t>(bitsOf(onScreen < min_) | bitsOf(onScreen > max_) << 2);
        }
    }

    /// One for each vertex: bit 0 when it is left of the rectangle, 1 below, 2 right, 3 above.
    const std::uint8_t* codes() const { return codes_.data(); }

private:
    static constexpr float kInfinity = std::numeric_limits<float>::infinity();

    const CompactMesh& mesh_;
    detail::Projector project_;
    Float4 min_, max_; // of x and y; z and w are within
    Array<std::uint8_t> codes_;
};

/// Finds the nearest hit of a ray over the triangles that are not to one side of the rectangle.
class MeshClickIntersect final : public qvUtil::ThreadedAlg {
public:
    MeshClickIntersect(const CompactMesh& mesh, const std::uint8_t* codes, const Line& ray)
        : mesh_(mesh),
          codes_(codes),
          origin_(narrow(ray.origin)),
          direction_(ray.direction) {}

    void initialize(int numThreads) override { slots_.resize(numThreads); }

    void threadFunc(int thread, int numThreads) override {
        const MeshTriangle* triangles = mesh_.getTriangles();
        Hit best;
        for (const int t : qvUtil::sliceOf(mesh_.getNumTriangles(), thread, numThreads)) {
            const auto [a, b, c] = triangles[t].v;
            if ((codes_[a] & codes_[b] & codes_[c]) == 0)
                testTriangle(t, best);
        }
        slots_[thread] = best;
    }

    void finalize() override {
        for (const Hit& hit : slots_) {
            if (hit.t < best_.t)
                best_ = hit;
        }
    }

    const MeshCoord& result() const { return best_.coord; }

private:
    struct Hit {
        double t = DBL_MAX;
        MeshCoord coord;
    };

    void testTriangle(int triangle, Hit& best) const {
        const MeshTriangle& corners = mesh_.getTriangles()[triangle];
        const MeshVertex* vertices = mesh_.getVertices();
        double t, u, v;
        // What is behind the origin is met as well, but not by the ray.
        if (intersectRayTriangle(origin_, direction_, vertices[corners[0]], vertices[corners[1]],
                                 vertices[corners[2]], t, u, v) &&
            t >= 0.0 && t < best.t)
            best = {t, {{1.0 - u - v, u, v}, triangle}};
    }

    const CompactMesh& mesh_;
    const std::uint8_t* codes_;
    qvLinear::PointFlt origin_;
    qvLinear::Vector direction_;
    std::vector<Hit> slots_;
    Hit best_;
};

MeshCoord pick(const CompactMesh& mesh, const ProjMatrixFlt& m, const ScreenRect& rect,
               const Line& ray) {
    MeshProjectToScreen projection(mesh, m, rect);
    qvUtil::ThreadPool::getFor(mesh.getNumVertices()).run(projection);
    MeshClickIntersect intersection(mesh, projection.codes(), ray);
    qvUtil::ThreadPool::getFor(mesh.getNumTriangles()).run(intersection);
    return intersection.result();
}

} // namespace

MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, int x, int y,
                                 int radius, const Line& ray) {
    const auto centerX = static_cast<float>(x), centerY = static_cast<float>(y),
               reach = static_cast<float>(radius);
    return pick(mesh, m, {centerX - reach, centerY - reach, centerX + reach, centerY + reach}, ray);
}

MeshCoord meshRayIntersectScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, const Line& ray) {
    return pick(mesh, m, {-1.0F, -1.0F, 1.0F, 1.0F}, ray);
}

} // namespace qvGeom

#include "qvGeom/view/GeomScreenPick.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cfloat>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Line.h"
#include "qvGeom/spatial/GeomRayTrace.h"

namespace qvGeom {

using qvLinear::Line;
using qvLinear::ProjMatrixFlt;

namespace {

struct ScreenRect {
    float minX, minY, maxX, maxY;
};

/// The coordinates of four points.
struct FourPoints {
    Float4 x, y, z;

    explicit FourPoints(const float* xyz) {
        const Float4 a = load(xyz), b = load(xyz + 4), c = load(xyz + 8);
        const Float4 lastTwo = __builtin_shufflevector(b, c, 2, 3, 5, 6);  // x, y, x, y
        const Float4 firstTwo = __builtin_shufflevector(a, b, 1, 2, 4, 5); // y, z, y, z
        x = __builtin_shufflevector(a, lastTwo, 0, 3, 4, 6);
        y = __builtin_shufflevector(firstTwo, lastTwo, 0, 2, 5, 7);
        z = __builtin_shufflevector(firstTwo, c, 1, 3, 4, 7);
    }
};

/// Tells the sides of a rectangle on the screen that a point lies beyond: bit 0 is left, 1 below,
/// 2 right, 3 above.
class SidesOfRect {
public:
    static constexpr int kPoints = 4; // at once

    SidesOfRect(const ProjMatrixFlt& m, const ScreenRect& rect) : m_(m), rect_(rect) {}

    void find(const float* xyz, std::uint8_t sides[kPoints]) const {
        const FourPoints p(xyz);
        const Float4 w = column(3, p), x = column(0, p) / w, y = column(1, p) / w;
        const std::uint32_t all = toBytes(x < rect_.minX) | toBytes(y < rect_.minY) << 1 |
                                  toBytes(x > rect_.maxX) << 2 | toBytes(y > rect_.maxY) << 3;
        std::memcpy(sides, &all, sizeof all);
    }

private:
    Float4 column(int k, const FourPoints& p) const {
        return p.x * m_.m[0][k] + p.y * m_.m[1][k] + p.z * m_.m[2][k] + m_.m[3][k];
    }

    /// One byte, 0 or 1, for each lane.
    static std::uint32_t toBytes(Mask4 mask) {
        static constexpr auto kBytesOf = [] {
            std::array<std::uint32_t, 16> bytesOf{};
            for (unsigned lanes = 0; lanes < 16; ++lanes) {
                for (unsigned k = 0; k < 4; ++k)
                    bytesOf[lanes] |= (lanes >> k & 1U) << (8 * k);
            }
            return bytesOf;
        }();
        return kBytesOf[bitsOf(mask)];
    }

    ProjMatrixFlt m_;
    ScreenRect rect_;
};

/// Finds the sides of a rectangle that each vertex lies beyond.
class MeshProjectToScreen final : public qvUtil::ThreadedAlg {
public:
    MeshProjectToScreen(const CompactMesh& mesh, const ProjMatrixFlt& m, const ScreenRect& rect)
        : mesh_(mesh),
          sides_(m, rect),
          codes_(std::make_unique_for_overwrite<std::uint8_t[]>(mesh.getNumVertices())) {}

    void threadFunc(int thread, int numThreads) override {
        constexpr int kPoints = SidesOfRect::kPoints;
        const auto [first, last] = qvUtil::sliceOf(mesh_.getNumVertices(), thread, numThreads);
        const MeshVertex* vertices = mesh_.getVertices();
        std::uint8_t* codes = codes_.get();
        const SidesOfRect sides = sides_; // a byte stored might change the member
        int v = first;
        for (; last - v >= kPoints; v += kPoints)
            sides.find(&vertices[v].x, codes + v);

        MeshVertex rest[kPoints]{};
        std::uint8_t restCodes[kPoints];
        std::copy(vertices + v, vertices + last, rest);
        sides.find(&rest[0].x, restCodes);
        std::copy_n(restCodes, last - v, codes + v);
    }

    /// What SidesOfRect finds for each vertex.
    const std::uint8_t* codes() const { return codes_.get(); }

private:
    const CompactMesh& mesh_;
    SidesOfRect sides_;
    std::unique_ptr<std::uint8_t[]> codes_;
};

/// Two neighbouring vertex indices, read at once.
struct IndexPair {
    static_assert(std::endian::native == std::endian::little);
    std::uint64_t both;

    explicit IndexPair(const int* indices) { std::memcpy(&both, indices, sizeof both); }

    std::uint32_t first() const { return static_cast<std::uint32_t>(both); }

    std::uint32_t second() const { return static_cast<std::uint32_t>(both >> 32); }
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
        const auto [first, last] = qvUtil::sliceOf(mesh_.getNumTriangles(), thread, numThreads);
        const int* corners = mesh_.getTrianglesRaw() + 3 * std::ptrdiff_t{first};
        const std::uint8_t* codes = codes_;
        Hit best;
        int t = first;
        for (; last - t >= 2; t += 2, corners += 6) {
            const IndexPair ab(corners), ca(corners + 2), bc(corners + 4);
            const int one = codes[ab.first()] & codes[ab.second()] & codes[ca.first()],
                      two = codes[ca.second()] & codes[bc.first()] & codes[bc.second()];
            if (one == 0 || two == 0) [[unlikely]] {
                if (one == 0)
                    testTriangle(t, best);
                if (two == 0)
                    testTriangle(t + 1, best);
            }
        }
        if (t < last && (codes[corners[0]] & codes[corners[1]] & codes[corners[2]]) == 0)
            testTriangle(t, best);
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

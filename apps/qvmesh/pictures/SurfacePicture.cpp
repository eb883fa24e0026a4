#include "qvmesh/pictures/SurfacePicture.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/MeshAdjTris.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/topology/GeomAdjacency.h"

#include "qvmesh/Corners.h"
#include "qvmesh/View.h"
#include "qvmesh/pictures/Canvas.h"

namespace qvmesh {

using qvGeom::CompactMesh;
using qvLinear::Point;
using qvLinear::Vector;

namespace {

constexpr Colour kBackTint = {70, 110, 190};
constexpr double kBackTinted = 0.45;

constexpr double kSharpest = 40; // degrees between triangles that are shaded as one surface

// Lines lie on the surface, which is pushed back by so many times its slope.
constexpr float kOffset = 1.5F * Canvas::kFineness;
// Where it has no slope, it is enough that lines are this part of their distance nearer to the eye.
constexpr double kLift = 1e-3;

/// One direction for each corner of each triangle, at right angles to the surface there.
class CornerNormals {
public:
    CornerNormals(const CompactMesh& mesh, SurfacePicture::Shading shading) {
        const int numTriangles = mesh.getNumTriangles();
        std::vector<Vector> areas;
        areas.reserve(static_cast<std::size_t>(numTriangles));
        for (int t = 0; t < numTriangles; ++t)
            areas.push_back(areaVector(mesh, t));
        normals_.reserve(3 * areas.size());
        if (shading == SurfacePicture::Shading::Flat) {
            for (const Vector& area : areas)
                normals_.insert(normals_.end(), 3, area);
            return;
        }
        qvGeom::MeshAdjTris adjTris;
        qvGeom::meshAdjTris(mesh, adjTris);
        const double leastCosine = std::cos(qvLinear::toRadians(kSharpest));
        for (int t = 0; t < numTriangles; ++t) {
            const Vector own = areas[static_cast<std::size_t>(t)];
            for (const int v : mesh.getTriangles()[t].v) {
                Vector sum = own;
                for (const int* near = adjTris.begin(v); near != adjTris.end(v); ++near) {
                    const Vector other = areas[static_cast<std::size_t>(*near)];
                    if (*near != t &&
                        dot(own, other) >= leastCosine * own.length() * other.length())
                        sum += other;
                }
                sum.normalize();
                normals_.push_back(sum);
            }
        }
    }

    Vector at(int triangle, const double* weights) const {
        const Vector* const corner = &normals_[3 * static_cast<std::size_t>(triangle)];
        Vector normal = weights[0] * corner[0] + weights[1] * corner[1] + weights[2] * corner[2];
        normal.normalize();
        return normal;
    }

private:
    std::vector<Vector> normals_;
};

/// The weights of the corners at the point where the line meets the plane of the triangle, within
/// the triangle.
void weightsAt(const qvLinear::Line& line, const CompactMesh& mesh, int triangle, double* weights) {
    const Point origin = cornerOf(mesh, triangle, 0);
    const Vector e1 = cornerOf(mesh, triangle, 1) - origin;
    const Vector e2 = cornerOf(mesh, triangle, 2) - origin;
    const Vector p = cross(line.direction, e2);
    const Vector s = line.origin - origin;
    const double determinant = dot(e1, p);
    const double u = dot(s, p) / determinant;
    const double v = dot(line.direction, cross(s, e1)) / determinant;
    const double raw[] = {1 - u - v, u, v};
    double sum = 0;
    for (int i = 0; i < 3; ++i)
        sum += weights[i] = std::isfinite(raw[i]) ? std::max(raw[i], 0.0) : 1;
    for (int i = 0; i < 3; ++i)
        weights[i] /= sum;
}

/// Runs a function for rows of the picture on all threads.
template <class RowFunc>
class RowsAlg final : public qvUtil::ThreadedAlg {
public:
    RowsAlg(int numRows, const RowFunc& function) : numRows_(numRows), function_(function) {}

    void threadFunc(int thread, int numThreads) override {
        for (int row = thread; row < numRows_; row += numThreads)
            function_(row);
    }

private:
    int numRows_;
    const RowFunc& function_;
};

} // namespace

/// Where light comes from, in the space of the mesh.
class SurfacePicture::Light {
public:
    explicit Light(const View& view) {
        key_ = direction(view, -0.45, 0.75, 0.8);
        fill_ = direction(view, 0.9, -0.1, 0.5);
    }

    Colour shade(Colour colour, const Vector& normal, const Vector& towardsEye) const {
        constexpr double kAmbient = 0.42;
        constexpr double kKey = 0.60;
        constexpr double kFill = 0.22;
        constexpr double kShine = 30;
        constexpr double kPolish = 32; // the higher, the smaller the shiny spots
        Vector between = key_ + towardsEye;
        between.normalize();
        const double light = kAmbient + kKey * std::max(0.0, dot(normal, key_)) +
                             kFill * std::max(0.0, dot(normal, fill_));
        const double shine = kShine * std::pow(std::max(0.0, dot(normal, between)), kPolish);
        const auto channel = [&](std::uint8_t own) {
            return static_cast<std::uint8_t>(std::lround(std::min(255.0, own * light + shine)));
        };
        return {channel(colour.r), channel(colour.g), channel(colour.b)};
    }

private:
    static Vector direction(const View& view, double right, double up, double back) {
        Vector towards = right * view.right() + up * view.up() + back * view.back();
        towards.normalize();
        return towards;
    }

    Vector key_, fill_;
};

SurfacePicture::SurfacePicture(const View& view, Canvas& canvas)
    : view_(view),
      canvas_(canvas),
      numColumns_(Canvas::kFineness * view.width()),
      numRows_(Canvas::kFineness * view.height()),
      depths_(numColumns_, numRows_),
      triangleAt_(static_cast<std::size_t>(numColumns_) * static_cast<std::size_t>(numRows_), -1) {
    findVisibleTriangles();
}

void SurfacePicture::findVisibleTriangles() {
    std::fill_n(depths_.getDepthBuffer(), triangleAt_.size(), FLT_MAX);
    const auto take = [](void* data, int x, int y, float depth,
                         const qvGeom::MeshDepthMap::SampleTriInfo* info) {
        SurfacePicture& self = *static_cast<SurfacePicture*>(data);
        const int row = self.numRows_ - 1 - y;
        if (depth <= self.depthAt(x, row))
            self.triangleAt_[static_cast<std::size_t>(row) *
                                 static_cast<std::size_t>(self.numColumns_) +
                             static_cast<std::size_t>(x)] = info->triangle;
    };
    depths_.setWriting(true);
    depths_.setDepthCB(take, this, true);
    depths_.rasterize(view_.projection(), view_.mesh(), nullptr);
}

/// Makes room for lines before the surface.
void SurfacePicture::pushSurfaceBack() {
    std::fill_n(depths_.getDepthBuffer(), triangleAt_.size(), FLT_MAX);
    depths_.setDepthCB(nullptr, nullptr, false);
    depths_.setPolygonOffset(true, kOffset);
    depths_.rasterize(view_.projection(), view_.mesh(), nullptr);
    isPushedBack_ = true;
}

float SurfacePicture::depthAt(int column, int row) const {
    return depths_.getDepthBuffer()[static_cast<std::size_t>(numRows_ - 1 - row) *
                                        static_cast<std::size_t>(numColumns_) +
                                    static_cast<std::size_t>(column)];
}

void SurfacePicture::drawSurface(Shading shading, const Paint& paint) {
    const CompactMesh& mesh = view_.mesh();
    const CornerNormals normals(mesh, shading);
    const Light light(view_);
    const auto drawRow = [&](int row) {
        for (int column = 0; column < numColumns_; ++column) {
            const int triangle =
                triangleAt_[static_cast<std::size_t>(row) * static_cast<std::size_t>(numColumns_) +
                            static_cast<std::size_t>(column)];
            if (triangle < 0)
                continue;
            const qvLinear::Line ray = view_.rayThrough((column + 0.5) / Canvas::kFineness,
                                                        (row + 0.5) / Canvas::kFineness);
            double weights[3];
            weightsAt(ray, mesh, triangle, weights);
            Vector towardsEye = -ray.direction;
            towardsEye.normalize();
            Vector normal = normals.at(triangle, weights);
            Colour colour = paint(triangle, weights);
            if (dot(areaVector(mesh, triangle), towardsEye) < 0) {
                normal.reverse();
                colour = mix(colour, kBackTint, kBackTinted);
            }
            canvas_.at(column, row) = light.shade(colour, normal, towardsEye);
        }
    };
    RowsAlg alg(numRows_, drawRow);
    qvUtil::ThreadPool::get().run(alg);
}

SurfacePicture::Place SurfacePicture::project(const Point& p) const {
    const Point place = toPoint(qvLinear::toHPoint(p) * view_.projection());
    return {(1 + place.x) / 2 * numColumns_, (1 - place.y) / 2 * numRows_, place.z};
}

void SurfacePicture::drawLine(const Point& from, const Point& to, double width, Colour colour,
                              double opacity) {
    if (!isPushedBack_)
        pushSurfaceBack();
    const Place start = project(from + kLift * (view_.eye() - from));
    const Place end = project(to + kLift * (view_.eye() - to));
    walkLine({start.column, start.row}, {end.column, end.row}, Canvas::kFineness * width,
             numColumns_, numRows_, [&](int column, int row, double t) {
                 const double depth = start.depth + t * (end.depth - start.depth);
                 Colour& pixel = canvas_.at(column, row);
                 if (depth <= qvLinear::widen(depthAt(column, row)))
                     pixel = mix(pixel, colour, opacity);
             });
}

void SurfacePicture::drawThinLine(const Point& from, const Point& to, Colour colour) {
    const Place start = project(from);
    const Place end = project(to);
    const double length = std::hypot(end.column - start.column, end.row - start.row);
    const double opacity = opacityInNet(length / Canvas::kFineness);
    if (opacity > 0)
        drawLine(from, to, Canvas::kThin, colour, opacity);
}

} // namespace qvmesh

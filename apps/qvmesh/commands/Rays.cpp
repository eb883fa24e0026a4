#include <CLI/CLI.hpp>
#include <algorithm>
#include <climits>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/StopWatch.h"
#include "qvGeom/foundation/geometry/BoundingBox.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Linear.h"
#include "qvGeom/spatial/GeomRayTrace.h"
#include "qvGeom/topology/GeomBoundingBox.h"

#include "qvmesh/Command.h"
#include "qvmesh/Failure.h"
#include "qvmesh/Job.h"
#include "qvmesh/Limits.h"
#include "qvmesh/MeshFile.h"
#include "qvmesh/SearchTree.h"

namespace qvmesh {
namespace {

using qvLinear::Point;
using qvLinear::Vector;

/// Four rays from one origin.
struct Quad {
    qvLinear::PointFlt origin;
    qvLinear::VectorFlt direction[4];
};

using Quads = std::vector<Quad>;

/// A sphere around the mesh, which touches the corners of its box.
struct Surroundings {
    qvGeom::BoundingBox box;
    Point center;
    double radius;

    explicit Surroundings(const qvGeom::CompactMesh& mesh) {
        qvGeom::meshBoundingBox(mesh, box);
        center = box.center();
        radius = box.diagonalLength() / 2;
    }
};

qvLinear::VectorFlt unitDirection(Vector direction) {
    direction.normalize();
    return qvLinear::narrow(direction);
}

/// Numbers from 0 to 1, the same ones on every machine.
class RandomNumbers {
public:
    explicit RandomNumbers(std::uint64_t seed) : engine_(seed) {}

    double next() { return std::ldexp(static_cast<double>(engine_() >> 11), -53); }

    double between(double lo, double hi) { return lo + (hi - lo) * next(); }

private:
    std::mt19937_64 engine_;
};

/// From points all over the sphere through points all over the box: they cross the mesh everywhere,
/// and no two quads have anything in common.
Quads randomQuads(const Surroundings& around, int numQuads, std::uint64_t seed) {
    RandomNumbers random(seed);
    const auto coordinate = [&](int axis) {
        return random.between(qvLinear::widen(around.box.min[axis]),
                              qvLinear::widen(around.box.max[axis]));
    };
    Quads quads(static_cast<std::size_t>(numQuads));
    for (Quad& quad : quads) {
        const double z = random.between(-1, 1);
        const double turn = random.between(0, 2 * std::numbers::pi);
        const double ring = std::sqrt(1 - z * z);
        const Vector out{ring * std::cos(turn), ring * std::sin(turn), z};
        const Point origin = around.center + around.radius * out;
        quad.origin = qvLinear::narrow(origin);
        for (qvLinear::VectorFlt& direction : quad.direction) {
            const double x = coordinate(0);
            const double y = coordinate(1);
            direction = unitDirection(Point{x, y, coordinate(2)} - origin);
        }
    }
    return quads;
}

/// Those of a square picture, row by row in blocks of two by two, that a camera makes whose view
/// just holds the sphere.
Quads cameraQuads(const Surroundings& around, int numQuads) {
    constexpr double kDistance = 3;                                    // from the centre, in radii
    const double halfWidth = 1 / std::sqrt(kDistance * kDistance - 1); // of the picture, at 1
    const Vector ahead = qvLinear::Normal(-3, -2, -1);
    const Vector right = qvLinear::Normal(qvLinear::cross(ahead, Vector{0, 0, 1}));
    const Vector up = qvLinear::cross(right, ahead);
    const Point eye = around.center - kDistance * around.radius * ahead;

    const int numBlocks = static_cast<int>(std::sqrt(numQuads)); // along each side
    const auto at = [&](int pixel) { return halfWidth * ((pixel + 0.5) / numBlocks - 1); };
    Quads quads;
    for (int row = 0; row < numBlocks; ++row) {
        for (int column = 0; column < numBlocks; ++column) {
            Quad quad{qvLinear::narrow(eye), {}};
            for (int i = 0; i < 4; ++i) {
                quad.direction[i] = unitDirection(ahead + at(2 * column + i % 2) * right +
                                                  at(2 * row + i / 2) * up);
            }
            quads.push_back(quad);
        }
    }
    return quads;
}

/// Makes the mesh some thousand units large, so that the tolerances of the ray tracers, which are
/// lengths, do not pass over small triangles. Scaling by a power of two rounds nothing.
void scaleToThousand(qvGeom::CompactMesh& mesh) {
    constexpr int kSizeExponent = 10;
    const Surroundings around(mesh);
    if (!(around.radius > 0) || !std::isfinite(around.radius))
        return;
    const int exponent = kSizeExponent - std::ilogb(around.radius);
    float* const coordinates = mesh.getVerticesRaw();
    for (int i = 0; i < 3 * mesh.getNumVertices(); ++i)
        coordinates[i] = std::ldexp(coordinates[i], exponent);
}

/// How many of a set of rays hit, and how fast that was found.
struct Throughput {
    std::int64_t hits = 0;
    double raysPerSecond = 0;
};

/// Runs `trace`, which returns how many of the quad's rays hit, for all quads as a stage of `job`.
template <class Trace>
Throughput measure(const char* stage, const Quads& quads, Job& job, double share, Trace&& trace) {
    constexpr std::size_t kStride = 1000; // between looks at the user's wishes
    Throughput result;
    job.stage(stage, share, [&](qvUtil::Progress& progress) {
        qvOS::StopWatch watch;
        watch.start();
        for (std::size_t i = 0; i < quads.size() && !progress.cancelled(); ++i) {
            if (i % kStride == 0)
                progress.set(static_cast<double>(i) / static_cast<double>(quads.size()));
            result.hits += trace(quads[i]);
        }
        result.raysPerSecond = 4 * static_cast<double>(quads.size()) / watch.stop();
    });
    return result;
}

/// The three ways to trace the same rays.
class Race {
public:
    Race(const qvGeom::CompactMesh& mesh, const SearchTree& tree)
        : single_(tree.octree(), tree.tris(), &mesh),
          packet_(tree.octree(), tree.tris(), &mesh) {}

    Facts run(const Quads& quads, Job& job, double share, const char* const stages[3]) {
        const auto one = [&](const Quad& quad) {
            return std::count_if(quad.direction, quad.direction + 4, [&](const auto& direction) {
                return single_.intersect(quad.origin, qvLinear::widen(direction));
            });
        };
        const auto four = [&](const Quad& quad) {
            const auto& d = quad.direction;
            qvGeom::QuadRay rays(quad.origin, d[0], d[1], d[2], d[3]);
            packet_.intersect(rays);
            return rays.getHit(0).hit + rays.getHit(1).hit + rays.getHit(2).hit +
                   rays.getHit(3).hit;
        };
        single_.setFindNearestHit(true);
        const Throughput nearest = measure(stages[0], quads, job, share / 3, one);
        single_.setFindNearestHit(false);
        const Throughput any = measure(stages[1], quads, job, share / 3, one);
        const Throughput packet = measure(stages[2], quads, job, share / 3, four);
        return {countFact("rays", "rays", 4 * std::ssize(quads)),
                countFact("hits", "hits", nearest.hits),
                countFact("anyHits", "hits, any", any.hits),
                countFact("packetHits", "hits, four at a time", packet.hits),
                rateFact("raysPerSecond", "Mrays/s, nearest hit", nearest.raysPerSecond),
                rateFact("anyRaysPerSecond", "Mrays/s, any hit", any.raysPerSecond),
                rateFact("packetRaysPerSecond", "Mrays/s, nearest, four at a time",
                         packet.raysPerSecond)};
    }

private:
    static Fact rateFact(const char* key, const char* label, double raysPerSecond) {
        char text[40];
        std::snprintf(text, sizeof text, "%.3f", raysPerSecond / 1e6);
        return {key, label, raysPerSecond, text, ""};
    }

    qvGeom::RayTracer single_;
    qvGeom::QuadRayTracer packet_;
};

class Rays final : public Command {
public:
    Rays()
        : Command("rays", "Measure how many rays a second can be traced through a mesh",
                  "  qvmesh rays scan.ply\n"
                  "  qvmesh rays scan.ply --rays 10000000 --seed 7\n") {}

    void declareArguments(CLI::App& app) override {
        input_.declare(app, "mesh");
        app.add_option("--rays", numRays_, "Most rays of each kind (default: 1000000)")
            ->check(wholeNumber(4, kMaxRays))
            ->type_name("N");
        app.add_option("--seed", seed_, "Where the random numbers start (default: 1)")
            ->check(wholeNumber(0, INT_MAX))
            ->type_name("N");
    }

    void run(Job& job) override {
        job.report().setFiles(input_.path(), "");
        qvGeom::CompactMesh mesh;
        input_.read(job, 0.1, mesh);
        scaleToThousand(mesh);
        const SearchTree tree(mesh, job, 0.1);
        const Surroundings around(mesh);
        Quads random;
        Quads camera;
        job.stage("rays", 0.1, [&](qvUtil::Progress&) {
            random = randomQuads(around, numRays_ / 4, seed_);
            camera = cameraQuads(around, numRays_ / 4);
        });
        const char* const randomStages[] = {"random, nearest", "random, any", "random, four"};
        const char* const cameraStages[] = {"camera, nearest", "camera, any", "camera, four"};
        const Facts ofRandom = Race(mesh, tree).run(random, job, 0.35, randomStages);
        const Facts ofCamera = Race(mesh, tree).run(camera, job, 0.35, cameraStages);
        job.report().addColumns({{"random", "random", ofRandom}, {"camera", "camera", ofCamera}});
    }

private:
    static constexpr int kMaxRays = 100'000'000;

    InputMesh input_;
    int numRays_ = 1'000'000;
    std::uint64_t seed_ = 1;
};

Rays rays;

} // namespace
} // namespace qvmesh

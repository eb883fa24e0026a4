#include "qvGeom/improvement/GeomSmooth.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshAdjVertices.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Plane.h"
#include "qvGeom/foundation/linear/Tolerances.h"

namespace qvGeom {
namespace {

using qvLinear::epsilonTol;
using qvLinear::Normal;
using qvLinear::Plane;
using qvLinear::Point;
using qvLinear::Vector;
using qvLinear::widen;

constexpr int kCheckpointStride = 1000; // selected vertices

/// The mean of the neighbours.
class LaplacianMover {
public:
    // So many vertices take a few milliseconds at most: more would keep a wish to stop waiting.
    static constexpr int kBatch = 64 * kCheckpointStride;

    LaplacianMover(const CompactMesh& mesh, const MeshAdjVertices& adjVertices)
        : vertices_(mesh.getVertices()),
          adjVertices_(&adjVertices) {}

    static qvUtil::ThreadPool& poolFor(int count) { return qvUtil::ThreadPool::getFor(count); }

    MeshVertex positionOf(int v) const {
        const int* const neighbours = adjVertices_->getVertices(v);
        const int count = adjVertices_->getCount(v);
        float x = 0, y = 0, z = 0;
        for (int i = 0; i < count; ++i) {
            const MeshVertex& w = vertices_[neighbours[i]];
            x += w.x;
            y += w.y;
            z += w.z;
        }
        const auto k = static_cast<float>(count);
        return {x / k, y / k, z / k};
    }

private:
    const MeshVertex* vertices_;
    const MeshAdjVertices* adjVertices_;
};

/// The bilateral filter, with the neighbourhood of one vertex at a time. Aligned, as each thread
/// has one of its own beside the others.
class alignas(64) BilateralMover {
public:
    static constexpr int kBatch = kCheckpointStride; // of which each may take long

    BilateralMover(const CompactMesh& mesh, const MeshAdjVertices& adjVertices, double sigma)
        : vertices_(mesh.getVertices()),
          normals_(mesh.getNormals()),
          adjVertices_(&adjVertices),
          sigma2_(sigma * sigma),
          distanceFactor_(1 / ((sigma + sigma) * sigma)),
          places_(mesh.getNumVertices()) {
        for (int v = 0; v < places_.size(); ++v)
            places_[v] = {vertices_[v], 0};
        stack_.reserve(kExpected);
        distances2_.reserve(kExpected);
        heights_.reserve(kExpected);
    }

    static qvUtil::ThreadPool& poolFor(int) { return qvUtil::ThreadPool::get(); }

    MeshVertex positionOf(int v) {
        const MeshNormal& n = normals_[v];
        const Point p = widen(vertices_[v]);
        const Vector normal{n.x, n.y, n.z};
        if (normal == Vector{0, 0, 0})
            return vertices_[v];
        const double sum = gather(v, Plane(p, Normal(normal)));
        const auto count = static_cast<double>(heights_.size());
        if (heights_.empty())
            return vertices_[v];

        const double mean = sum * (1 / count);
        double squares = 0;
        for (const double h : heights_)
            squares += (h - mean) * (h - mean);
        const double variance = 1 / count * squares;
        if (epsilonTol > std::abs(variance))
            return vertices_[v];

        const double heightFactor = 1 / (variance + variance);
        double weights = 0, weighted = 0;
        for (std::size_t i = 0; i < heights_.size(); ++i) {
            const double h = heights_[i];
            // Two exponentials: that of the sum would be rounded otherwise.
            const double w =
                std::exp(-distances2_[i] * distanceFactor_) * std::exp(-h * h * heightFactor);
            weights += w;
            weighted += h * w;
        }
        if (epsilonTol > std::abs(weights))
            return vertices_[v];
        const qvLinear::PointFlt moved = qvLinear::narrow(p + weighted / weights * normal);
        return {moved.x, moved.y, moved.z};
    }

private:
    static constexpr int kExpected = 1000;

    /// What is asked of a vertex met on the way, side by side for the cache.
    struct Place {
        MeshVertex position;
        std::uint32_t stamp; // of the neighbourhood that met it last
    };

    struct Found {
        int vertex;
        double distance2;
    };

    /// Collects the neighbourhood of `v` depth first; returns the sum of its heights.
    double gather(int v, const Plane& plane) {
        if (++stamp_ == std::numeric_limits<std::uint32_t>::max()) {
            for (Place& place : places_)
                place.stamp = 0;
            stamp_ = 1;
        }
        distances2_.clear();
        heights_.clear();
        places_[v].stamp = stamp_;
        pushNeighbours(v, plane.point);
        double sum = 0;
        while (!stack_.empty()) {
            const auto [u, distance2] = stack_.back();
            stack_.pop_back();
            const double height = plane.eval(widen(places_[u].position));
            distances2_.push_back(distance2);
            heights_.push_back(height);
            sum += height;
            pushNeighbours(u, plane.point);
        }
        return sum;
    }

    /// Pushes the neighbours of `u` that are new and close enough.
    void pushNeighbours(int u, const Point& centre) {
        const int* const neighbours = adjVertices_->getVertices(u);
        for (const int* w = neighbours; w != neighbours + adjVertices_->getCount(u); ++w) {
            Place& place = places_[*w];
            if (std::exchange(place.stamp, stamp_) == stamp_)
                continue;
            const double distance2 = qvLinear::distance2(widen(place.position), centre);
            if (distance2 <= sigma2_) {
                stack_.push_back({*w, distance2});
                __builtin_prefetch(adjVertices_->getVertices(*w)); // asked for when it is popped
            }
        }
    }

    const MeshVertex* vertices_;
    const MeshNormal* normals_;
    const MeshAdjVertices* adjVertices_;
    double sigma2_;
    double distanceFactor_;
    Array<Place> places_;
    std::uint32_t stamp_ = 1;
    std::vector<Found> stack_;
    std::vector<double> distances2_;
    std::vector<double> heights_;
};

/// Which vertices move, and where to.
class Moved {
public:
    explicit Moved(const CompactMesh& mesh)
        : numVertices_(mesh.getNumVertices()),
          movesAll_(mesh.getSelectedVertices().size() == 0) {
        if (!movesAll_)
            listSelected(mesh.getSelectedVertices());
        count_ = movesAll_ ? numVertices_ : vertices_.size();
        positions_ = std::make_unique_for_overwrite<MeshVertex[]>(static_cast<std::size_t>(count_));
    }

    int count() const { return count_; }

    int vertexOf(int i) const { return movesAll_ ? i : vertices_[i]; }

    void setPosition(int i, const MeshVertex& position) { positions_[i] = position; }

    /// The vertices that are looked at while `i` have been moved: those past the one before, up to
    /// and with the next, or up to the end where there is none.
    qvUtil::IndexRange lookedAtFrom(int i) const {
        return {.first = i == 0 ? 0 : vertexOf(i - 1) + 1,
                .last = i < count_ ? vertexOf(i) + 1 : numVertices_};
    }

    void apply(MeshVertex* vertices) const {
        if (movesAll_)
            std::copy_n(positions_.get(), count_, vertices);
        else
            for (int i = 0; i < count_; ++i)
                vertices[vertices_[i]] = positions_[i];
    }

private:
    void listSelected(BitVector selected) {
        selected.resize(numVertices_);
        vertices_.resize(selected.numSetBits());
        int* next = vertices_.data();
        for (int v = 0; v < numVertices_; ++v) {
            if (selected.test(v))
                *next++ = v;
        }
    }

    int numVertices_;
    bool movesAll_;
    Array<int> vertices_; // ascending; empty when all move
    int count_;
    // From the heap, which gives the same memory to the next pass: that of an Array would have to
    // be mapped anew, which takes longer than the means.
    std::unique_ptr<MeshVertex[]> positions_;
};

/// Computes the positions of one batch after the other, with a mover of its own for each thread.
template <class MakeMover>
class MoveAlg final : public qvUtil::ThreadedAlg {
public:
    using Mover = std::invoke_result_t<MakeMover>;

    MoveAlg(Moved& moved, const MakeMover& makeMover) : moved_(moved), makeMover_(makeMover) {}

    void runBatch(int first) {
        first_ = first;
        count_ = std::min(moved_.count() - first, Mover::kBatch);
        Mover::poolFor(count_).run(*this);
    }

    void initialize(int numThreads) override {
        while (static_cast<int>(movers_.size()) < numThreads)
            movers_.push_back(makeMover_());
    }

    void threadFunc(int thread, int numThreads) override {
        Mover& mover = movers_[thread];
        const qvUtil::IndexRange slice = qvUtil::sliceOf(count_, thread, numThreads);
        for (int i = first_ + slice.first; i < first_ + slice.last; ++i)
            moved_.setPosition(i, mover.positionOf(moved_.vertexOf(i)));
    }

private:
    Moved& moved_;
    const MakeMover& makeMover_;
    std::vector<Mover> movers_;
    int first_ = 0;
    int count_ = 0;
};

/// Computes all positions. At every checkpoint, asks and reports once for each vertex looked at.
/// Returns false when cancelled.
template <class MakeMover>
bool computePositions(Moved& moved, const MakeMover& makeMover, qvUtil::Progress& progress) {
    MoveAlg<MakeMover> alg(moved, makeMover);
    for (int done = 0; done <= moved.count(); done += kCheckpointStride) {
        for (int times = moved.lookedAtFrom(done).size(); times > 0; --times) {
            if (progress.cancelled())
                return false;
            progress.set((done + 1.0) / moved.count());
        }
        if (done < moved.count() && done % MoveAlg<MakeMover>::Mover::kBatch == 0)
            alg.runBatch(done);
    }
    return true;
}

template <class MakeMover>
void smooth(CompactMesh& mesh, const MakeMover& makeMover, qvUtil::Progress& progress) {
    Moved moved(mesh);
    if (!computePositions(moved, makeMover, progress))
        return;
    moved.apply(mesh.getVertices());
    MeshModification notice(&mesh, MeshModification::Geometry);
    mesh.modified(notice);
}

} // namespace

void meshSmoothLaplacian(CompactMesh& mesh, const MeshAdjVertices& adjVertices,
                         qvUtil::Progress& progress) {
    if (mesh.getNumVertices() > 0)
        smooth(
            mesh, [&] { return LaplacianMover(mesh, adjVertices); }, progress);
}

void meshSmoothBilateral(CompactMesh& mesh, const MeshAdjVertices& adjVertices, double sigma,
                         qvUtil::Progress& progress) {
    if (mesh.getNumVertices() > 0 && mesh.getNormals())
        smooth(
            mesh, [&] { return BilateralMover(mesh, adjVertices, sigma); }, progress);
}

} // namespace qvGeom

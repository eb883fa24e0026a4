#include "qvGeom/view/GeomDepthMap.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/ThreadPool.h"
#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/Array.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/internal/Lanes.h"
#include "qvGeom/foundation/linear/Convert.h"
#include "qvGeom/foundation/linear/Range.h"
#include "qvGeom/view/detail/Projector.h"
#include "qvGeom/view/detail/TriangleScan.h"
#include "qvGeom/view/detail/TriangleWalk.h"

namespace qvGeom {

using detail::PixelGroup;
using qvLinear::HPoint;
using qvLinear::narrow;
using qvLinear::ProjMatrix;
using qvLinear::ProjMatrixFlt;
using qvLinear::Range2d;

namespace {

/// A point of the map, whose pixels are the unit square, and its depth.
struct MapPoint {
    float x, y, depth;
};

/// Where normalised device coordinates, [-1, 1] on each axis, go on the map.
struct MapFrame {
    float scaleX = 1.0F, scaleY = 1.0F;
    float originX = 0.0F, originY = 0.0F;

    template <class Number>
    static Number place(Number normalised, Number scale, Number origin) {
        return (normalised + 1.0F) * 0.5F * scale + origin;
    }

    MapPoint operator()(const HPoint& p) const {
        return {place(narrow(p.x / p.w), scaleX, originX),
                place(narrow(p.y / p.w), scaleY, originY), narrow(p.z / p.w)};
    }
};

/// A projected vertex: where it is in clip space, and on the map unless that is beyond a side.
struct MapVertex {
    float x, y, z, w;
    MapPoint onMap;
    int outcode;
};

class ProjectToMapAlg final : public qvUtil::ThreadedAlg {
public:
    ProjectToMapAlg(const CompactMesh& mesh, const ProjMatrixFlt& m, const MapFrame& frame,
                    MapVertex* projected)
        : mesh_(mesh),
          project_(m),
          scale_{frame.scaleX, frame.scaleY, 1.0F, 1.0F},
          origin_{frame.originX, frame.originY, 0.0F, 0.0F},
          projected_(projected) {}

    void threadFunc(int thread, int numThreads) override {
        for (const int v : qvUtil::sliceOf(mesh_.getNumVertices(), thread, numThreads)) {
            const Float4 p = project_(&mesh_.getVertices()[v].x);
            // A quotient of floats, rounded once, is that of doubles, rounded twice.
            const Float4 normalised = p / splat(p[3]);
            const Float4 placed = MapFrame::place(normalised, scale_, origin_);
            MapVertex& to = projected_[v];
            store(&to.x, p);
            to.onMap = {placed[0], placed[1], normalised[2]};
            to.outcode = detail::outcodeOf(p);
        }
    }

private:
    const CompactMesh& mesh_;
    detail::Projector project_;
    Float4 scale_, origin_;
    MapVertex* projected_;
};

/// The next float towards the largest one, as nextafterf() gives it.
Float4 nextFarther(Float4 z) {
    const Float4 largest = splat(FLT_MAX);
    const auto bits = std::bit_cast<Mask4>(z + 0.0F); // of -0 those of 0
    const auto next = std::bit_cast<Float4>(bits + ((bits >> 31) | 1));
    return select(z < largest, next, select(z >= largest, largest, z)); // NaN stays
}

/// The depths of the samples of one triangle.
struct SampleDepths {
    float atCorner[3];
    float offset;
    bool hasOffset;
    bool isBackFace;

    Float4 at(Float4 u, Float4 v) const {
        Float4 z = (splat(1.0F) - u - v) * splat(atCorner[0]) + u * splat(atCorner[1]) +
                   v * splat(atCorner[2]);
        if (hasOffset)
            z += splat(offset);
        return isBackFace ? nextFarther(z) : z;
    }
};

/// What a triangle is drawn with, besides the target of its samples.
struct DrawingStyle {
    const SampleGrid& grid;
    const MapFrame& frame;
    bool usesOffset;
    float offsetFactor;
    MeshDepthMap::SampleTriInfo* info; // null: nobody wants it
};

/// Draws triangles to a target, which has
///  - void take(const PixelGroup&, Float4 depths, bool front) for up to four samples;
///  - bool wantsMore(): whether to go on after a triangle.
template <class Target>
class TrianglePainter {
public:
    TrianglePainter(const DrawingStyle& style, const CompactMesh& mesh, const MapVertex* vertices,
                    Clip::TriangleAlgorithm& clip, Target& target)
        : style_(style),
          mesh_(mesh),
          vertices_(vertices),
          clip_(clip),
          target_(target) {}

    void draw(const qvUtil::IndexRange& triangles) {
        const MeshTriangle* const end = mesh_.getTriangles() + triangles.last;
        detail::TriangleWalk::forEachTriangle(
            clip_, mesh_, triangles, [this, end](const MeshTriangle& t) {
                if (end - &t > kAhead) {
                    for (const int v : (&t)[kAhead].v)
                        __builtin_prefetch(vertices_ + v);
                }
                return detail::TriangleWalk::evaluate(clip_, vertices_, t[0], t[1], t[2], *this);
            });
    }

    bool onInside(int i, int j, int k) {
        return draw(vertices_[i].onMap, vertices_[j].onMap, vertices_[k].onMap);
    }

    [[gnu::noinline]] bool onClipped(const HPoint& a, const HPoint& b, const HPoint& c) {
        return draw(style_.frame(a), style_.frame(b), style_.frame(c));
    }

private:
    static constexpr int kAhead = 16; // triangles: vertices in random order take long to come

    bool draw(const MapPoint& a, const MapPoint& b, const MapPoint& c) {
        const bool front = clip_.isFrontFacing();
        SampleDepths depths{{a.depth, b.depth, c.depth}, 0.0F, style_.usesOffset, !front};
        if (MeshDepthMap::SampleTriInfo* info = style_.info) {
            info->triangle = clip_.getCurrentTriangle();
            info->vertices = mesh_.getTriangles()[info->triangle].v;
            info->slope = 0.0F;
        }
        const bool wantsSlope = style_.usesOffset || style_.info;
        const auto onTriangle = [&](int width, int height) {
            calculateTriSlope(width, height, depths);
        };
        const auto onGroup = [&](const PixelGroup& group, Float4 u, Float4 v) {
            target_.take(group, depths.at(u, v), front);
        };
        detail::scanTriangle(style_.grid, {a.x, a.y}, {b.x, b.y}, {c.x, c.y}, wantsSlope,
                             onTriangle, onGroup);
        return target_.wantsMore();
    }

    void calculateTriSlope(int width, int height, SampleDepths& depths) const {
        const auto [least, most] =
            std::minmax({depths.atCorner[0], depths.atCorner[1], depths.atCorner[2]});
        const float alongX = (most - least) / static_cast<float>(width),
                    alongY = (most - least) / static_cast<float>(height);
        const float slope = std::sqrt(alongX * alongX + alongY * alongY);
        depths.offset = style_.offsetFactor * slope;
        if (style_.info)
            style_.info->slope = slope;
    }

    const DrawingStyle& style_;
    const CompactMesh& mesh_;
    const MapVertex* vertices_;
    Clip::TriangleAlgorithm& clip_;
    Target& target_;
};

template <class Target>
[[gnu::flatten]] void drawByAnyProcessor(TrianglePainter<Target>& painter,
                                         const qvUtil::IndexRange& triangles) {
    painter.draw(triangles);
}

#if defined(__x86_64__)
/// The same operations in instructions of three operands, of which fewer are needed.
template <class Target>
[[gnu::target("avx2"), gnu::flatten]] void drawByAvx2(TrianglePainter<Target>& painter,
                                                      const qvUtil::IndexRange& triangles) {
    painter.draw(triangles);
}
#endif

/// Draws triangles with the best instructions that the processor has.
template <class Target>
void drawTriangles(TrianglePainter<Target>&& painter, const qvUtil::IndexRange& triangles) {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2"))
        return drawByAvx2(painter, triangles);
#endif
    drawByAnyProcessor(painter, triangles);
}

/// The depths of a map, to be drawn to.
struct DepthRows {
    float* depths;
    int width;

    float* at(int x, int y) const { return depths + static_cast<std::ptrdiff_t>(y) * width + x; }
};

constexpr unsigned kAllLanes = 15;

/// Keeps the nearest depth of each pixel. A map that starts empty is NaN where no sample has been;
/// in another one, nothing passes there.
template <bool kStartsEmpty>
class NearestWriter {
public:
    NearestWriter(const DepthRows& rows, const SampleGrid& grid) : rows_(rows), grid_(grid) {}

    void take(const PixelGroup& group, Float4 z, bool) {
        float* const first = rows_.at(group.x, group.y);
        if (group.columns == 4 && group.lanes == kAllLanes) {
            const Float4 stored = load(first);
            const Mask4 passed = passes(stored, z);
            store(first, select(passed, z, stored));
            found_ |= bitsOf(passed);
        } else if (group.columns == 2 && group.x < grid_.maxX && group.y < grid_.maxY) {
            // All four are written back: how many there are is anybody's guess.
            float* const second = first + rows_.width;
            const Float4 stored{first[0], first[1], second[0], second[1]};
            const Mask4 passed = passes(stored, z) & group.mask();
            const Float4 nearest = select(passed, z, stored);
            std::memcpy(first, &nearest, 2 * sizeof(float));
            std::memcpy(second, reinterpret_cast<const float*>(&nearest) + 2, 2 * sizeof(float));
            found_ |= bitsOf(passed);
        } else {
            group.forEach([&](int k, int x, int y) {
                float& stored = *rows_.at(x, y);
                const unsigned passed = bitsOf(passes(splat(stored), z)) >> k & 1U;
                stored = passed != 0 ? z[k] : stored;
                found_ |= passed;
            });
        }
    }

    bool wantsMore() const { return true; }

    bool found() const { return found_ != 0; }

private:
    static Mask4 passes(Float4 stored, Float4 z) {
        return kStartsEmpty ? ~(stored < z) & (z == z) : stored >= z;
    }

    DepthRows rows_;
    const SampleGrid& grid_;
    unsigned found_ = 0;
};

/// Hands every sample to a callback, one by one, and writes those that pass.
class SampleWriter {
public:
    SampleWriter(const DepthRows& rows, bool unique, MeshDepthMap::DepthFunc callback, void* data,
                 const MeshDepthMap::SampleTriInfo* info)
        : rows_(rows),
          unique_(unique),
          callback_(callback),
          data_(data),
          info_(info) {}

    void take(const PixelGroup& group, Float4 z, bool) {
        group.forEach([&](int k, int x, int y) { writeSample(x, y, z[k]); });
    }

    bool wantsMore() const { return true; }

    bool found() const { return found_; }

private:
    void writeSample(int x, int y, float z) {
        float& stored = *rows_.at(x, y);
        const bool passes = stored >= z;
        const bool isAgain = unique_ && stored == z;
        if (isAgain)
            z = std::nextafter(z, 0.0F);
        if (callback_)
            callback_(data_, x, y, z, info_);
        if (passes)
            stored = z;
        found_ |= passes && !isAgain;
    }

    DepthRows rows_;
    bool unique_;
    MeshDepthMap::DepthFunc callback_;
    void* data_;
    const MeshDepthMap::SampleTriInfo* info_;
    bool found_ = false;
};

/// Looks for one sample that passes.
class SampleTester {
public:
    explicit SampleTester(const DepthRows& rows) : rows_(rows) {}

    void take(const PixelGroup& group, Float4 z, bool) {
        group.forEach([&](int k, int x, int y) { found_ |= *rows_.at(x, y) >= z[k]; });
    }

    bool wantsMore() const { return !found_; }

    bool found() const { return found_; }

private:
    DepthRows rows_;
    bool found_ = false;
};

/// Counts samples.
class SampleCounter {
public:
    explicit SampleCounter(const DepthRows& rows) : rows_(rows) {}

    void take(const PixelGroup& group, Float4 z, bool front) {
        group.forEach([&](int k, int x, int y) {
            ++total_;
            passed_[front] += *rows_.at(x, y) >= z[k];
        });
    }

    bool wantsMore() const { return true; }

    void addTo(MeshDepthMap::FragmentCount& counts) const {
        counts.front += static_cast<int>(passed_[true]);
        counts.back += static_cast<int>(passed_[false]);
        counts.total += static_cast<int>(total_);
    }

private:
    DepthRows rows_;
    std::int64_t passed_[2]{};
    std::int64_t total_ = 0;
};

/// A mesh that is ready to be drawn, by several threads at once.
struct Drawing {
    const DrawingStyle& style;
    const CompactMesh& mesh;
    const MapVertex* vertices;
    const Clip::TriangleAlgorithm& clip;

    template <class Target>
    void draw(const qvUtil::IndexRange& triangles, Target& target) const {
        Clip::TriangleAlgorithm ownClip = clip; // it keeps the state of a walk
        drawTriangles(TrianglePainter(style, mesh, vertices, ownClip, target), triangles);
    }
};

/// Counts the samples of one slice of the triangles a thread.
class CountAlg final : public qvUtil::ThreadedAlg {
public:
    CountAlg(const Drawing& drawing, const DepthRows& rows) : drawing_(drawing), rows_(rows) {}

    void initialize(int numThreads) override { slots_.assign(numThreads, SampleCounter(rows_)); }

    void threadFunc(int thread, int numThreads) override {
        SampleCounter counter(rows_);
        drawing_.draw(qvUtil::sliceOf(drawing_.mesh.getNumTriangles(), thread, numThreads),
                      counter);
        slots_[thread] = counter;
    }

    void getCounts(MeshDepthMap::FragmentCount& counts) const {
        for (const SampleCounter& counter : slots_)
            counter.addTo(counts);
    }

private:
    const Drawing& drawing_;
    DepthRows rows_;
    std::vector<SampleCounter> slots_;
};

/// Maps for the threads that draw beside the first one, kept for the next time.
using SpareMaps = std::vector<std::unique_ptr<float[]>>;

/// Draws one slice of the triangles a thread: the first one to the map itself, others each to a
/// spare one.
class DrawAlg final : public qvUtil::ThreadedAlg {
public:
    DrawAlg(const Drawing& drawing, const DepthRows& rows, std::size_t numPixels, SpareMaps& spares)
        : drawing_(drawing),
          rows_(rows),
          numPixels_(numPixels),
          spares_(spares) {}

    void initialize(int numThreads) override {
        // Clearing and merging a map takes as long as drawing so many small triangles.
        constexpr std::int64_t kPixelsPerTriangle = 16;
        const std::int64_t worthwhile = kPixelsPerTriangle * drawing_.mesh.getNumTriangles() /
                                        static_cast<std::int64_t>(numPixels_);
        numSlices_ = static_cast<int>(std::clamp<std::int64_t>(worthwhile, 1, numThreads));
        while (static_cast<int>(spares_.size()) < numSlices_ - 1)
            spares_.push_back(std::make_unique_for_overwrite<float[]>(numPixels_));
    }

    void threadFunc(int thread, int) override {
        if (thread >= numSlices_)
            return;
        const qvUtil::IndexRange slice =
            qvUtil::sliceOf(drawing_.mesh.getNumTriangles(), thread, numSlices_);
        if (thread == 0) {
            NearestWriter<false> writer(rows_, drawing_.style.grid);
            drawing_.draw(slice, writer);
            found_ = writer.found();
            return;
        }
        float* const spare = spares_[thread - 1].get();
        std::fill_n(spare, numPixels_, std::numeric_limits<float>::quiet_NaN());
        NearestWriter<true> collector({spare, rows_.width}, drawing_.style.grid);
        drawing_.draw(slice, collector);
    }

    int getNumSlices() const { return numSlices_; }

    /// Whether a sample of the first slice passed.
    bool found() const { return found_; }

private:
    const Drawing& drawing_;
    DepthRows rows_;
    std::size_t numPixels_;
    SpareMaps& spares_;
    int numSlices_ = 1;
    bool found_ = false;
};

/// Writes the spare maps to the map itself, in the order of their triangles: the result is that of
/// drawing them one after the other, down to the sign of a zero.
class MergeAlg final : public qvUtil::ThreadedAlg {
public:
    MergeAlg(const SpareMaps& spares, int numSpares, const DepthRows& rows, int height)
        : spares_(spares),
          numSpares_(numSpares),
          rows_(rows),
          height_(height) {}

    void initialize(int numThreads) override { slots_.assign(numThreads, 0); }

    void threadFunc(int thread, int numThreads) override {
        const auto [firstRow, endRow] = qvUtil::sliceOf(height_, thread, numThreads);
        const auto begin = rows_.at(0, firstRow) - rows_.depths,
                   end = rows_.at(0, endRow) - rows_.depths;
        constexpr std::ptrdiff_t kBlock = 4096; // stays in the cache from one spare to the next
        int found = 0;
        for (auto block = begin; block < end; block += kBlock) {
            for (int s = 0; s < numSpares_; ++s)
                found |= merge(spares_[s].get(), block, std::min(end, block + kBlock));
        }
        slots_[thread] = found;
    }

    bool found() const {
        return std::any_of(slots_.begin(), slots_.end(), [](int found) { return found != 0; });
    }

private:
    int merge(const float* spare, std::ptrdiff_t begin, std::ptrdiff_t end) const {
        int found = 0;
        for (auto i = begin; i < end; ++i) {
            const bool passes = rows_.depths[i] >= spare[i];
            rows_.depths[i] = passes ? spare[i] : rows_.depths[i];
            found |= int{passes};
        }
        return found;
    }

    const SpareMaps& spares_;
    int numSpares_;
    DepthRows rows_;
    int height_;
    std::vector<int> slots_;
};

} // namespace

class MeshDepthMap::Impl {
public:
    Impl(int w, int h)
        : width(std::max(w, 0)),
          height(std::max(h, 0)),
          grid(width, height, 0.5F),
          depths(numPixels() > 0 ? std::make_unique_for_overwrite<float[]>(numPixels()) : nullptr) {
    }

    std::size_t numPixels() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }

    bool rasterize(const ProjMatrixFlt& m, const CompactMesh& mesh, FragmentCount* counts) {
        if (counts)
            *counts = {};
        if (mesh.getNumVertices() < 3 || numPixels() == 0)
            return false;
        project(m, mesh);
        if (writing)
            return callback || unique ? drawInOrder(mesh) : draw(mesh);
        return counts ? count(mesh, *counts) : test(mesh);
    }

    int width, height;
    SampleGrid grid;
    std::unique_ptr<float[]> depths;
    MapFrame frame;
    Clip::TriangleAlgorithm clip;
    bool writing = false;
    bool unique = false;
    bool polygonOffset = false;
    float polygonOffsetFactor = 1.0F;
    DepthFunc callback = nullptr;
    void* callbackData = nullptr;
    std::unique_ptr<SampleTriInfo> info;

private:
    DepthRows rows() const { return {depths.get(), width}; }

    void project(const ProjMatrixFlt& m, const CompactMesh& mesh) {
        const int numVertices = mesh.getNumVertices();
        if (vertices_.size() < numVertices)
            vertices_ = Array<MapVertex>(numVertices);
        ProjectToMapAlg projection(mesh, m, frame, vertices_.data());
        qvUtil::ThreadPool::getFor(numVertices).run(projection);
    }

    bool draw(const CompactMesh& mesh) {
        const DrawingStyle style{grid, frame, polygonOffset, polygonOffsetFactor, nullptr};
        const Drawing drawing{style, mesh, vertices_.data(), clip};
        DrawAlg drawAlg(drawing, rows(), numPixels(), spares_);
        qvUtil::ThreadPool& pool = qvUtil::ThreadPool::getFor(mesh.getNumTriangles());
        pool.run(drawAlg);
        if (drawAlg.getNumSlices() == 1)
            return drawAlg.found();
        MergeAlg merge(spares_, drawAlg.getNumSlices() - 1, rows(), height);
        pool.run(merge);
        return drawAlg.found() || merge.found();
    }

    bool drawInOrder(const CompactMesh& mesh) {
        if (info)
            info->mesh = &mesh;
        const DrawingStyle style{grid, frame, polygonOffset, polygonOffsetFactor, info.get()};
        SampleWriter writer(rows(), unique, callback, callbackData, info.get());
        drawTriangles(TrianglePainter(style, mesh, vertices_.data(), clip, writer),
                      {0, mesh.getNumTriangles()});
        return writer.found();
    }

    bool test(const CompactMesh& mesh) {
        const DrawingStyle style{grid, frame, false, 0.0F, nullptr};
        SampleTester tester(rows());
        drawTriangles(TrianglePainter(style, mesh, vertices_.data(), clip, tester),
                      {0, mesh.getNumTriangles()});
        return tester.found();
    }

    bool count(const CompactMesh& mesh, FragmentCount& counts) {
        const DrawingStyle style{grid, frame, false, 0.0F, nullptr};
        const Drawing drawing{style, mesh, vertices_.data(), clip};
        CountAlg countAlg(drawing, rows());
        qvUtil::ThreadPool::getFor(mesh.getNumTriangles()).run(countAlg);
        countAlg.getCounts(counts);
        return counts.front != 0 || counts.back != 0;
    }

    Array<MapVertex> vertices_; // kept, like the maps, for the next time
    SpareMaps spares_;
};

MeshDepthMap::MeshDepthMap(int width, int height) : impl_(std::make_unique<Impl>(width, height)) {}

MeshDepthMap::~MeshDepthMap() = default;

void MeshDepthMap::setWriting(bool writing) { impl_->writing = writing; }

bool MeshDepthMap::isWriting() const { return impl_->writing; }

void MeshDepthMap::setUnique(bool unique) { impl_->unique = unique; }

void MeshDepthMap::setViewport(const Range2d& r) {
    impl_->frame = {narrow(r.width() / impl_->width), narrow(r.height() / impl_->height),
                    narrow(r.minX), narrow(r.minY)};
}

void MeshDepthMap::setPolygonOffset(bool on, float factor) {
    impl_->polygonOffset = on;
    impl_->polygonOffsetFactor = factor;
}

void MeshDepthMap::setDepthCB(DepthFunc callback, void* data, bool wantInfo) {
    impl_->callback = callback;
    impl_->callbackData = data;
    if (!wantInfo)
        impl_->info.reset();
    else if (!impl_->info)
        impl_->info = std::make_unique<SampleTriInfo>();
}

bool MeshDepthMap::rasterize(const ProjMatrix& m, const CompactMesh& mesh, FragmentCount* counts) {
    return impl_->rasterize(ProjMatrixFlt(m), mesh, counts);
}

int MeshDepthMap::getWidth() const { return impl_->width; }

int MeshDepthMap::getHeight() const { return impl_->height; }

float* MeshDepthMap::getDepthBuffer() { return impl_->depths.get(); }

const float* MeshDepthMap::getDepthBuffer() const { return impl_->depths.get(); }

Clip::TriangleAlgorithm& MeshDepthMap::getClip() { return impl_->clip; }

} // namespace qvGeom

/// \file
/// The evaluation of a mesh's triangles with what is done to each of them inlined.
#pragma once

#include <algorithm>

#include "qvGeom/foundation/base/ThreadedAlg.h"
#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/view/GeomClip.h"

namespace qvGeom::detail {

/// What an evaluation does, for whoever inlines it or runs it over a part of the triangles.
struct TriangleWalk {
    /// Calls `evaluate` for the triangles of `range` that are asked for, until told to stop.
    /// Returns whether it gave true for any.
    template <class Evaluate>
    static bool forEachTriangle(Clip::TriangleAlgorithm& clip, const CompactMesh& mesh,
                                const qvUtil::IndexRange& range, const Evaluate& evaluate) {
        const BitVector& selection = mesh.getSelectedTriangles();
        const bool filtered = clip.selectedOnly_ && selection.size() > 0;
        const MeshTriangle* triangles = mesh.getTriangles();
        const int end = filtered ? std::min(range.last, selection.size()) : range.last;
        bool any = false;
        clip.goOn_ = true;
        for (int t = range.first; t < end && clip.goOn_; ++t) {
            if (filtered && !selection.test(t))
                continue;
            clip.currentTriangle_ = t;
            any |= evaluate(triangles[t]);
        }
        return any;
    }

    /// Evaluates the triangle of three of the vertices, which have what a Clip::Vertex has, with
    /// `visitor` in the place of the triangle function:
    ///  - bool onInside(int i, int j, int k) takes a triangle whose vertices are all inside;
    ///  - bool onClipped(a, b, c) takes, as HPoint, each triangle of the fan that is left of
    ///  another.
    /// Both return whether to go on.
    template <class Vertex, class Visitor>
    static bool evaluate(Clip::TriangleAlgorithm& clip, const Vertex* vertices, int i, int j, int k,
                         Visitor& visitor) {
        const Vertex &a = vertices[i], &b = vertices[j], &c = vertices[k];
        if ((a.outcode & b.outcode & c.outcode) != 0 || isCulled(clip, a, b, c))
            return false;
        if ((a.outcode | b.outcode | c.outcode) == 0) { // clipping would leave it as it is
            if (clip.goOn_)
                clip.goOn_ = visitor.onInside(i, j, k);
            return true;
        }
        ClipPolygon polygon{
            .count = 3,
            .vertex = {{a.x, a.y, a.z, a.w}, {b.x, b.y, b.z, b.w}, {c.x, c.y, c.z, c.w}}};
        if (clipTriangle(polygon, ClipBox()) == 0)
            return false;
        for (int n = 2; n < polygon.count && clip.goOn_; ++n)
            clip.goOn_ = visitor.onClipped(pointOf(polygon, 0), pointOf(polygon, n - 1),
                                           pointOf(polygon, n));
        return true;
    }

    template <class Vertex>
    static bool isCulled(Clip::TriangleAlgorithm& clip, const Vertex& a, const Vertex& b,
                         const Vertex& c) {
        const float turn = (b.y - c.y) * (a.x - b.x) + (c.x - b.x) * (a.y - b.y);
        clip.frontFacing_ = clip.clockwiseFront_ ? turn < 0.0F : turn >= 0.0F;
        return clip.frontFacing_ ? clip.cullFront_ : clip.cullBack_;
    }

    static qvLinear::HPoint pointOf(const ClipPolygon& polygon, int k) {
        const double* v = polygon.vertex[k];
        return {v[0], v[1], v[2], v[3]};
    }
};

} // namespace qvGeom::detail

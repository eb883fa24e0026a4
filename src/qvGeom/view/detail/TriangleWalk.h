/// \file
/// The evaluation of a mesh's triangles with what is done to each of them inlined.
#pragma once

#include <algorithm>

#include "qvGeom/foundation/geometry/BitVector.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/linear/Point.h"
#include "qvGeom/view/GeomClip.h"

namespace qvGeom::detail {

struct TriangleWalk {
    /// Runs `clip.evaluateMesh()` with `visitor` in the place of the triangle function:
    ///  - void onProjected(const std::vector<Clip::Vertex>&) hears of the projected vertices, once
    ///    and unless all are beyond one side;
    ///  - bool onInside(int i, int j, int k) takes a triangle whose vertices are all inside;
    ///  - bool onClipped(a, b, c) takes, as HPoint, each triangle of the fan that is left of
    ///  another.
    /// The latter two return whether to go on.
    template <class Visitor>
    static bool run(Clip::TriangleAlgorithm& clip, const CompactMesh& mesh,
                    const qvLinear::ProjMatrixFlt& m, Visitor& visitor) {
        if (mesh.getNumVertices() < 3 || Clip::projectVertices(mesh, m, clip.vertices_, false) == 0)
            return false;
        visitor.onProjected(clip.vertices_);
        return forEachTriangle(clip, mesh, [&](const MeshTriangle& t) {
            return evaluate(clip, t[0], t[1], t[2], visitor);
        });
    }

    /// Calls `evaluate` for the triangles that are asked for, until told to stop. Returns whether
    /// it gave true for any.
    template <class Evaluate>
    static bool forEachTriangle(Clip::TriangleAlgorithm& clip, const CompactMesh& mesh,
                                const Evaluate& evaluate) {
        const BitVector& selection = mesh.getSelectedTriangles();
        const bool filtered = clip.selectedOnly_ && selection.size() > 0;
        const MeshTriangle* triangles = mesh.getTriangles();
        const int count =
            filtered ? std::min(mesh.getNumTriangles(), selection.size()) : mesh.getNumTriangles();
        bool any = false;
        clip.goOn_ = true;
        for (int t = 0; t < count && clip.goOn_; ++t) {
            if (filtered && !selection.test(t))
                continue;
            clip.currentTriangle_ = t;
            any |= evaluate(triangles[t]);
        }
        return any;
    }

    template <class Visitor>
    static bool evaluate(Clip::TriangleAlgorithm& clip, int i, int j, int k, Visitor& visitor) {
        const Clip::Vertex &a = clip.vertices_[i], &b = clip.vertices_[j], &c = clip.vertices_[k];
        if ((a.outcode & b.outcode & c.outcode) != 0 || isCulled(clip, a, b, c))
            return false;
        if ((a.outcode | b.outcode | c.outcode) == 0) { // clipping would leave it as it is
            if (clip.goOn_)
                clip.goOn_ = visitor.onInside(i, j, k);
            return true;
        }
        ClipPolygon polygon;
        if (clip.clip(i, j, k, polygon) == 0)
            return false;
        for (int n = 2; n < polygon.count && clip.goOn_; ++n)
            clip.goOn_ = visitor.onClipped(pointOf(polygon, 0), pointOf(polygon, n - 1),
                                           pointOf(polygon, n));
        return true;
    }

    static bool isCulled(Clip::TriangleAlgorithm& clip, const Clip::Vertex& a,
                         const Clip::Vertex& b, const Clip::Vertex& c) {
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

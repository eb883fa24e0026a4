/// \file
/// The corners of one triangle.
#pragma once

namespace qvGeom {

/// Three vertex indices in winding order; edge k runs from corner k to corner (k + 1) mod 3.
struct MeshTriangle {
    int v[3];

    int& operator[](int corner) { return v[corner]; }

    int operator[](int corner) const { return v[corner]; }

    /// The first corner at `vertex`, or -1.
    int cornerAt(int vertex) const {
        return v[0] == vertex ? 0 : v[1] == vertex ? 1 : v[2] == vertex ? 2 : -1;
    }

    /// Whether an edge runs from `a` to `b`, in this direction.
    bool hasEdge(int a, int b) const {
        return (v[0] == a && v[1] == b) || (v[1] == a && v[2] == b) || (v[2] == a && v[0] == b);
    }
};

} // namespace qvGeom

/// \file
/// The corners of one triangle.
#pragma once

namespace qvGeom {

/// Three vertex indices in winding order; edge k runs from corner k to corner (k + 1) mod 3.
struct MeshTriangle {
    int v[3];

    int& operator[](int corner) { return v[corner]; }

    int operator[](int corner) const { return v[corner]; }
};

} // namespace qvGeom

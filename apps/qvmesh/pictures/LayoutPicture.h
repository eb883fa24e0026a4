/// \file
/// Pictures of texture coordinates.
#pragma once

#include <functional>

#include "qvmesh/pictures/Image.h"

namespace qvGeom {
class CompactMesh;
}

namespace qvmesh {

/// Draws the unit square and in it the triangles of a mesh that has UVs, each in its own colour,
/// with their edges, and stronger those of one triangle.
Image drawLayout(const qvGeom::CompactMesh& mesh, const std::function<Colour(int)>& colourOf);

/// Colours the triangles by how large they are in the layout, measured by their size on the
/// surface, and adds a scale.
Image drawStretch(const qvGeom::CompactMesh& mesh);

} // namespace qvmesh

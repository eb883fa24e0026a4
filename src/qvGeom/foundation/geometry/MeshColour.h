/// \file
/// The colour of one vertex.
#pragma once

namespace qvGeom {

/// Red, green, blue and opacity, 0 to 255.
struct MeshColour {
    unsigned char r, g, b, a;
};

} // namespace qvGeom

#include "qvGeom/foundation/geometry/MeshBoundaries.h"

namespace qvGeom {

MeshBoundaries::MeshBoundaries(Array<int>& vertices, Array<int>& lengths)
    : starts_(lengths.size()) {
    vertices_.swap(vertices);
    lengths_.swap(lengths);
    int start = 0;
    for (int loop = 0; loop < lengths_.size(); ++loop) {
        starts_[loop] = start;
        start += lengths_[loop];
    }
}

void MeshBoundaries::swap(MeshBoundaries& other) noexcept {
    vertices_.swap(other.vertices_);
    lengths_.swap(other.lengths_);
    starts_.swap(other.starts_);
}

} // namespace qvGeom

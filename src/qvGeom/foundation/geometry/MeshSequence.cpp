#include "qvGeom/foundation/geometry/MeshSequence.h"

namespace qvGeom {

void MeshSequence::resize(int runs, int points) {
    lengths_.resize(runs);
    points_.resize(points);
    clearStartsAndOffsets();
}

void MeshSequence::swap(MeshSequence& other) noexcept {
    points_.swap(other.points_);
    lengths_.swap(other.lengths_);
    starts_.swap(other.starts_);
}

const int* MeshSequence::getStarts() const {
    if (starts_.size() != lengths_.size()) {
        starts_.resize(lengths_.size());
        int start = 0;
        for (int run = 0; run < lengths_.size(); ++run) {
            starts_[run] = start;
            start += lengths_[run];
        }
    }
    return starts_.data();
}

} // namespace qvGeom

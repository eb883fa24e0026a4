#include "qvGeom/foundation/geometry/Remap.h"

#include <numeric>

#include "qvGeom/foundation/geometry/BitVector.h"

namespace qvGeom {

Remap::Remap(int oldCount, int newCount) : map_(oldCount), newCount_(newCount) {}

void Remap::resize(int oldCount, int newCount) {
    map_.resize(oldCount);
    newCount_ = newCount;
}

void Remap::setSequential() {
    std::iota(map_.begin(), map_.end(), 0);
    newCount_ = map_.size();
}

void Remap::setDeleteMap(const BitVector& deleted) {
    if (deleted.size() == 0) {
        setSequential();
        return;
    }
    map_.resize(deleted.size());
    newCount_ = 0;
    for (int i = 0; i < map_.size(); ++i)
        map_[i] = deleted.test(i) ? -1 : newCount_++;
}

void Remap::operator()(int* indices, int count) const {
    const int* const map = map_.data();
    for (int i = 0; i < count; ++i)
        indices[i] = map[indices[i]];
}

} // namespace qvGeom

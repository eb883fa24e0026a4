#include "qvGeom/foundation/geometry/MeshAdjVertices.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace qvGeom {
namespace {

std::unique_ptr<int[]> copyOf(const int* values, int count) {
    auto copy = std::make_unique<int[]>(static_cast<std::size_t>(count));
    std::copy_n(values, count, copy.get());
    return copy;
}

} // namespace

MeshAdjVertices::MeshAdjVertices(int numVertices, int maxValence, int* offsets, int* data)
    : numVertices_(numVertices),
      maxValence_(maxValence),
      offsets_(offsets),
      data_(data) {}

MeshAdjVertices::MeshAdjVertices(const MeshAdjVertices& other)
    : ReferenceCount(other),
      numVertices_(other.numVertices_),
      maxValence_(other.maxValence_) {
    if (numVertices_ == 0)
        return;
    int length = 0;
    for (int v = 0; v < numVertices_; ++v)
        length = std::max(length, other.offsets_[v] + 1 + other.getCount(v));
    offsets_ = copyOf(other.offsets_.get(), numVertices_);
    data_ = copyOf(other.data_.get(), length);
}

MeshAdjVertices& MeshAdjVertices::operator=(const MeshAdjVertices& other) {
    MeshAdjVertices copy(other);
    swap(copy);
    return *this;
}

void MeshAdjVertices::swap(MeshAdjVertices& other) noexcept {
    std::swap(numVertices_, other.numVertices_);
    std::swap(maxValence_, other.maxValence_);
    offsets_.swap(other.offsets_);
    data_.swap(other.data_);
}

} // namespace qvGeom

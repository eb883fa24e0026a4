#include "qvGeom/foundation/geometry/MeshAttributes.h"

#include <limits>

namespace qvGeom {

MeshAttributes::MeshAttributes(const qvString::CString& name, int numElements)
    : name_(name),
      values_(numElements) {}

void MeshAttributes::getRange(float& smallest, float& largest) const {
    if (!rangeValid_) {
        smallest_ = std::numeric_limits<float>::infinity();
        largest_ = -smallest_;
        for (const float value : values_) {
            if (value < smallest_)
                smallest_ = value;
            if (value > largest_)
                largest_ = value;
        }
        if (smallest_ > largest_)
            smallest_ = largest_ = 0;
        rangeValid_ = true;
    }
    smallest = smallest_;
    largest = largest_;
}

} // namespace qvGeom

/// \file
/// Named channels of floats that ride along with a mesh.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Strings.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// A channel of floats under a name. Its length is its own: edits of the mesh do not change it.
class QVGEOM_API MeshAttributes {
public:
    /// `numElements` zeros.
    MeshAttributes(const qvString::CString& name, int numElements);

    const qvString::CString& getName() const { return name_; }

    int getNumElements() const { return values_.size(); }

    /// The values; null when there are none.
    float* getValues() { return values_.data(); }

    const float* getValues() const { return values_.data(); }

    /// Whether a writer of files should keep the channel; true at first.
    bool isStoreable() const { return storeable_; }

    void setStoreable(bool storeable) { storeable_ = storeable; }

    /// The smallest and the largest value, NaN aside, kept from call to call until
    /// invalidateRange(); both 0 when no value counts.
    void getRange(float& smallest, float& largest) const;

    /// Call after writing values.
    void invalidateRange() { rangeValid_ = false; }

private:
    qvString::CString name_;
    Array<float> values_;
    bool storeable_ = true;
    mutable bool rangeValid_ = false;
    mutable float smallest_ = 0;
    mutable float largest_ = 0;
};

} // namespace qvGeom

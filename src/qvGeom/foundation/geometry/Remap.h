/// \file
/// Renumberings of vertices or triangles.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

class BitVector;

/// Maps every old index to its new one, or to a negative value where the element is deleted.
class QVGEOM_API Remap : public qv::ReferenceCount {
public:
    Remap() = default;
    Remap(int oldCount, int newCount);

    /// Keeps the entries that both sizes have; new ones are 0.
    void resize(int oldCount, int newCount);

    /// Maps one index; the new count stays as it is.
    void set(int oldIndex, int newIndex) { map_[oldIndex] = newIndex; }

    /// Maps every index to itself.
    void setSequential();
    /// Maps the indices whose bit is set to -1 and numbers the others in ascending order, so that
    /// no element moves up. Takes the size of `deleted`; one without bits deletes nothing and
    /// leaves the size.
    void setDeleteMap(const BitVector& deleted);

    /// Replaces each of `count` indices by its new one. Indices are not checked.
    void operator()(int* indices, int count) const;

    /// The new index of `oldIndex`, negative when it is deleted.
    int operator[](int oldIndex) const { return map_[oldIndex]; }

    const Array<int>& getMap() const { return map_; }

    /// One entry per old index, for those who fill many at once; null without any.
    int* entries() { return map_.data(); }

    int getOldCount() const { return map_.size(); }

    /// The number of distinct new indices, as last set.
    int getNewCount() const { return newCount_; }

    void setNewCount(int newCount) { newCount_ = newCount; }

private:
    Array<int> map_;
    int newCount_ = 0;
};

} // namespace qvGeom

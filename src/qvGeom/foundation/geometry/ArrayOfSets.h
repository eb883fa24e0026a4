/// \file
/// Sets of integers, one per element, in two flat arrays.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// Set i holds the members from offset i up to offset i + 1; the last one ends where the list does
/// (there is no sentinel offset).
class QVGEOM_API ArrayOfSets : public qv::ReferenceCount {
public:
    ArrayOfSets() = default;
    /// Room for `sets` offsets and `members` members, all zero; the caller fills them.
    ArrayOfSets(int sets, int members);

    /// Replaces the sets by those that `pairs` pairs describe, a set and then a member each.
    /// Members keep the order of their pairs.
    void assignFromPairs(int sets, int pairs, const int* setsAndMembers);
    /// Replaces the sets by the inverse of `other`: set m holds, ascending, the sets of `other`
    /// that m is a member of, once for each time it is. Large ones run on the shared pool.
    void assignInverse(int sets, const ArrayOfSets& other);
    void swap(ArrayOfSets& other) noexcept;

    int numSets() const { return offsets_.size(); }

    int numMembers() const { return list_.size(); }

    int setSize(int set) const { return static_cast<int>(end(set) - begin(set)); }

    const int* begin(int set) const { return list_.data() + offsets_[set]; }

    const int* end(int set) const {
        return list_.data() + (set + 1 < offsets_.size() ? offsets_[set + 1] : list_.size());
    }

    /// One offset per set, ascending from 0; null without sets.
    int* offsets() { return offsets_.data(); }

    const int* offsets() const { return offsets_.data(); }

    /// The members of all sets back to back; null without members.
    int* list() { return list_.data(); }

    const int* list() const { return list_.data(); }

private:
    Array<int> offsets_;
    Array<int> list_;
};

} // namespace qvGeom

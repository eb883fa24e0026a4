/// \file
/// Runs of vertex indices: triangle strips, triangle fans, line strips.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// Runs of points back to back, one length per run. Copies and assignments take everything along.
class QVGEOM_API MeshSequence {
public:
    /// Keeps what both sizes have of the lengths and of the points; the rest is 0.
    void resize(int runs, int points);
    void swap(MeshSequence& other) noexcept;

    int numRuns() const { return lengths_.size(); }

    int numPoints() const { return points_.size(); }

    /// The points of all runs; null without points.
    int* getPoints() { return points_.data(); }

    const int* getPoints() const { return points_.data(); }

    /// One length per run; null without runs. Call clearStartsAndOffsets() after writing them.
    int* getLengths() { return lengths_.data(); }

    const int* getLengths() const { return lengths_.data(); }

    /// Where each run starts among the points; null without runs. Derived from the lengths by the
    /// first call after they changed, which must therefore not run beside another reader's.
    const int* getStarts() const;

    void clearStartsAndOffsets() { starts_.resize(0); }

private:
    Array<int> points_;
    Array<int> lengths_;
    mutable Array<int> starts_; // empty: not derived yet
};

} // namespace qvGeom

/// \file
/// The boundary loops of a mesh.
#pragma once

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"
#include "qvGeom/foundation/geometry/Array.h"

namespace qvGeom {

/// Loops of vertex indices, back to back in one array. The last vertex of a loop is joined to its
/// first; the first is not repeated.
class QVGEOM_API MeshBoundaries : public qv::ReferenceCount {
public:
    MeshBoundaries() = default;
    /// Takes over both arrays, which are empty afterwards: the vertices of all loops, and one
    /// length per loop.
    MeshBoundaries(Array<int>& vertices, Array<int>& lengths);

    void swap(MeshBoundaries& other) noexcept;

    /// The number of loops.
    int size() const { return starts_.size(); }

    const int* getStart(int loop) const { return vertices_.data() + starts_[loop]; }

    /// One past the last vertex of the loop.
    const int* getEnd(int loop) const { return getStart(loop) + getLength(loop); }

    int getLength(int loop) const { return lengths_[loop]; }

private:
    Array<int> vertices_;
    Array<int> lengths_;
    Array<int> starts_;
};

} // namespace qvGeom

/// \file
/// The neighbour vertices around every vertex of a mesh.
#pragma once

#include <memory>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Reference.h"

namespace qvGeom {

/// Per vertex a count and that many distinct neighbours, never the vertex itself.
class QVGEOM_API MeshAdjVertices : public qv::ReferenceCount {
public:
    MeshAdjVertices() = default;
    /// Takes over both arrays and frees them with delete[]: `offsets[v]` is where in `data` the
    /// count of vertex v stands, its neighbours following. `maxValence` is the largest count.
    MeshAdjVertices(int numVertices, int maxValence, int* offsets, int* data);
    MeshAdjVertices(const MeshAdjVertices& other);
    MeshAdjVertices& operator=(const MeshAdjVertices& other);
    ~MeshAdjVertices() override = default;

    void swap(MeshAdjVertices& other) noexcept;

    int numVertices() const { return numVertices_; }

    int getMaxValence() const { return maxValence_; }

    int getCount(int v) const { return data_[offsets_[v]]; }

    const int* getVertices(int v) const { return &data_[offsets_[v]] + 1; }

private:
    int numVertices_ = 0;
    int maxValence_ = 0;
    std::unique_ptr<int[]> offsets_;
    std::unique_ptr<int[]> data_;
};

} // namespace qvGeom

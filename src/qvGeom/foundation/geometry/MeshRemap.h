/// \file
/// The renumberings that a change notice carries.
#pragma once

namespace qvGeom {

class Remap;

/// How a change renumbered a mesh. Both remaps are borrowed and must outlive this object; either
/// is null when those elements kept their numbers.
class MeshRemap {
public:
    MeshRemap(Remap* vertex, Remap* triangle) : vertex_(vertex), triangle_(triangle) {}

    Remap* getVertexRemap() const { return vertex_; }

    Remap* getTriangleRemap() const { return triangle_; }

private:
    Remap* vertex_;
    Remap* triangle_;
};

} // namespace qvGeom

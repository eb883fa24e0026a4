/// \file
/// What a mesh tells its listeners when it has changed.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/base/Entity.h"
#include "qvGeom/foundation/base/Strings.h"

namespace qvGeom {

class MeshRemap;
class PointMesh;

/// A change notice. An operation makes one, sets what it knows, and hands it to
/// CompactMesh::modified once its work is done; listeners read it while that call lasts.
class QVGEOM_API MeshModification : public qvRTB::EntityModification {
public:
    enum Type {
        Geometry = 0,  ///< positions moved, connectivity is as it was
        Topology = 1,  ///< elements were added, deleted, reordered, renumbered or re-wound
        Attributes = 2 ///< only derived or per-vertex attribute channels changed
    };

    /// `remap` is borrowed, and null unless indices were renumbered.
    MeshModification(const PointMesh* mesh, Type type, MeshRemap* remap = nullptr);

    Type getType() const { return type_; }

    MeshRemap* getRemap() const { return remap_; }

    // Setters: the channel was changed.
    void normalsModified() { flags_ |= kNormalsModified; }

    void uvsModified() { flags_ |= kUvsModified; }

    void stsModified() { flags_ |= kStsModified; }

    void triangleNormalsModified() { flags_ |= kTriangleNormalsModified; }

    void stripsAndFansModified() { flags_ |= kStripsAndFansModified; }

    void linesModified() { flags_ |= kLinesModified; }

    void lineStripsModified() { flags_ |= kLineStripsModified; }

    void polysModified() { flags_ |= kPolysModified; }

    void vertexAttribsModified(const qvString::CString& name);

    // Setters: the channel still fits the changed mesh and need not be computed anew.
    void normalsValid() { flags_ |= kNormalsValid; }

    void triangleNormalsValid() { flags_ |= kTriangleNormalsValid; }

    void uvsValid() { flags_ |= kUvsValid; }

    void stsValid() { flags_ |= kStsValid; }

    void coloursValid() { flags_ |= kColoursValid; }

    bool isNormalsModified() const { return has(kNormalsModified); }

    bool isUvsModified() const { return has(kUvsModified); }

    bool isStsModified() const { return has(kStsModified); }

    bool isTriangleNormalsModified() const { return has(kTriangleNormalsModified); }

    bool isStripsAndFansModified() const { return has(kStripsAndFansModified); }

    bool isLinesModified() const { return has(kLinesModified); }

    bool isLineStripsModified() const { return has(kLineStripsModified); }

    bool isPolysModified() const { return has(kPolysModified); }

    bool isVertexAttribsModified(const qvString::CString& name) const;

    bool isNormalsValid() const { return has(kNormalsValid); }

    bool isTriangleNormalsValid() const { return has(kTriangleNormalsValid); }

    bool isUvsValid() const { return has(kUvsValid); }

    bool isStsValid() const { return has(kStsValid); }

    bool isColoursValid() const { return has(kColoursValid); }

private:
    enum Flag : unsigned {
        kNormalsModified = 1U << 0,
        kUvsModified = 1U << 1,
        kStsModified = 1U << 2,
        kTriangleNormalsModified = 1U << 3,
        kStripsAndFansModified = 1U << 4,
        kLinesModified = 1U << 5,
        kLineStripsModified = 1U << 6,
        kPolysModified = 1U << 7,
        kNormalsValid = 1U << 8,
        kTriangleNormalsValid = 1U << 9,
        kUvsValid = 1U << 10,
        kStsValid = 1U << 11,
        kColoursValid = 1U << 12
    };

    bool has(Flag flag) const { return (flags_ & flag) != 0; }

    Type type_;
    MeshRemap* remap_;
    unsigned flags_ = 0;
    std::vector<qvString::CString> modifiedAttributes_;
};

} // namespace qvGeom

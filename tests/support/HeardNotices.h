/// \file
/// The change notices of one mesh, in words.
#pragma once

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "qvGeom/foundation/base/Signal.h"
#include "qvGeom/foundation/geometry/CompactMesh.h"
#include "qvGeom/foundation/geometry/MeshModification.h"
#include "qvGeom/foundation/geometry/MeshRemap.h"
#include "qvGeom/foundation/geometry/Remap.h"

namespace test {

/// Listens to a mesh and writes down each notice: its type, "remapped" if it has a vertex
/// remap, and every flag that is set, with a semicolon after it.
class HeardNotices : public qvRTB::SignalClient {
public:
    explicit HeardNotices(const qvGeom::CompactMesh& mesh) {
        using Member = qvRTB::FunctionArgMember<HeardNotices, qvRTB::EntityModification&>;
        mesh.getModifiedSignal().addCallback(*this, Member(this, &HeardNotices::hear));
    }

    /// What was heard since the last call.
    std::string take() { return std::exchange(text_, {}); }

    /// The map of the vertices in the last notice that had one.
    const std::vector<int>& vertexMap() const { return vertexMap_; }

private:
    void hear(qvRTB::EntityModification& modification) {
        const auto& notice = dynamic_cast<const qvGeom::MeshModification&>(modification);
        text_ += std::array{"Geometry", "Topology", "Attributes"}[notice.getType()];
        const std::pair<bool, const char*> facts[] = {
            {notice.getRemap() && notice.getRemap()->getVertexRemap(), "remapped"},
            {notice.isNormalsModified(), "normalsModified"},
            {notice.isUvsModified(), "uvsModified"},
            {notice.isStsModified(), "stsModified"},
            {notice.isTriangleNormalsModified(), "triangleNormalsModified"},
            {notice.isStripsAndFansModified(), "stripsAndFansModified"},
            {notice.isLinesModified(), "linesModified"},
            {notice.isLineStripsModified(), "lineStripsModified"},
            {notice.isPolysModified(), "polysModified"},
            {notice.isNormalsValid(), "normalsValid"},
            {notice.isTriangleNormalsValid(), "triangleNormalsValid"},
            {notice.isUvsValid(), "uvsValid"},
            {notice.isStsValid(), "stsValid"},
            {notice.isColoursValid(), "coloursValid"}};
        for (const auto& [holds, name] : facts)
            text_ += holds ? std::string(" ") + name : "";
        text_ += ';';
        if (notice.getRemap() && notice.getRemap()->getVertexRemap()) {
            const auto& map = notice.getRemap()->getVertexRemap()->getMap();
            vertexMap_.assign(map.begin(), map.end());
        }
    }

    std::string text_;
    std::vector<int> vertexMap_;
};

} // namespace test

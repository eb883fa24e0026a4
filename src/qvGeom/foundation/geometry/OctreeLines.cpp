#include "qvGeom/foundation/geometry/OctreeLines.h"

namespace qvGeom {

OctreeLines::OctreeLines(ArrayOfSets& takenOver) { swap(takenOver); }

} // namespace qvGeom

#include "qvGeom/foundation/geometry/OctreeTris.h"

namespace qvGeom {

OctreeTris::OctreeTris(ArrayOfSets& takenOver) { swap(takenOver); }

} // namespace qvGeom

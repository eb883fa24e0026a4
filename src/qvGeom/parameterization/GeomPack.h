/// \file
/// Packing of rectangles into the unit square, as for the charts of a texture.
#pragma once

#include <vector>

#include "qvGeom/Export.h"
#include "qvGeom/foundation/linear/Range.h"

namespace qvGeom {

/// Moves the rectangles to places inside the unit square where none overlaps another, keeping their
/// sizes to within 1e-12. They are placed one by one in the order given, so give the largest first.
///
/// False when one does not fit; those before it have been moved nevertheless, unless the last one
/// is longer than 1 already. An empty list is packed. Each rectangle costs a search of the list of
/// free places, most of which are passed over in blocks.
[[nodiscard]] QVGEOM_API bool pack(std::vector<qvLinear::Range2d>& rects);

/// Packs rectangles of any sizes, longest side first: shrinks all of them together until they fit,
/// then scales the result up about the origin until it spans the unit square. Their sizes relative
/// to one another stay.
///
/// `iterations` is the number of attempts over which the sizes are about halved: the more, the
/// tighter the result and the longer it takes. With 0, what does not fit at once collapses to
/// points at the origin. Prints on the debug channel what it did.
///
/// Nothing is changed when the list is empty, when a rectangle has a side that is not finite, or
/// when `iterations` is negative or so large (some ten million) that the factor rounds to 1.
QVGEOM_API void pack(std::vector<qvLinear::Range2d>& rects, int iterations);

} // namespace qvGeom

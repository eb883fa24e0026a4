/// \file
/// Colours that stand for numbers.
#pragma once

#include <string>
#include <vector>

#include "qvGeom/foundation/linear/Point2.h"

#include "qvmesh/pictures/Image.h"

namespace qvmesh {

class Canvas;

/// Colours for the numbers from 0 to 1, mixed from a row of them at equal distances.
using ColourRamp = std::vector<Colour>;

/// From blue through green and yellow to red.
const ColourRamp& sequentialRamp();
/// From blue through near white to red, for what may be too small or too large.
const ColourRamp& divergingRamp();

/// Numbers beyond 0 and 1 get the colours there.
Colour colourAt(const ColourRamp& ramp, double number);

/// Draws the ramp as an upright bar, 0 at the bottom, with the labels beside it at equal distances
/// from the bottom to the top.
void drawScale(Canvas& canvas, const qvLinear::Point2& min, const qvLinear::Point2& max,
               const ColourRamp& ramp, const std::vector<std::string>& labels, Colour ink);

} // namespace qvmesh

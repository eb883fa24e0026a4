#include "qvmesh/pictures/ColourScale.h"

#include <algorithm>

#include "qvmesh/pictures/Canvas.h"

namespace qvmesh {

const ColourRamp& sequentialRamp() {
    static const ColourRamp ramp = {{84, 118, 200}, {66, 160, 196}, {92, 192, 160}, {176, 214, 112},
                                    {252, 214, 92}, {246, 140, 62}, {204, 40, 50}};
    return ramp;
}

const ColourRamp& divergingRamp() {
    static const ColourRamp ramp = {{44, 90, 170},   {110, 160, 212}, {190, 214, 234},
                                    {246, 244, 240}, {250, 205, 175}, {232, 132, 98},
                                    {178, 40, 50}};
    return ramp;
}

Colour colourAt(const ColourRamp& ramp, double number) {
    const double place = std::clamp(number, 0.0, 1.0) * static_cast<double>(ramp.size() - 1);
    const std::size_t below = std::min(static_cast<std::size_t>(place), ramp.size() - 2);
    return mix(ramp[below], ramp[below + 1], place - static_cast<double>(below));
}

void drawScale(Canvas& canvas, const qvLinear::Point2& min, const qvLinear::Point2& max,
               const ColourRamp& ramp, const std::vector<std::string>& labels, Colour ink) {
    constexpr double kTextHeight = 11;
    constexpr double kTick = 5;
    const int numSteps = static_cast<int>(Canvas::kFineness * (max.y - min.y));
    const auto height = [&](double number) { return max.y - number * (max.y - min.y); };
    for (int i = 0; i < numSteps; ++i) {
        canvas.fillRectangle({min.x, height(static_cast<double>(i + 1) / numSteps)},
                             {max.x, height(static_cast<double>(i) / numSteps)},
                             colourAt(ramp, (i + 0.5) / numSteps));
    }
    for (std::size_t i = 0; i < labels.size(); ++i) {
        const double y = height(static_cast<double>(i) / static_cast<double>(labels.size() - 1));
        canvas.drawLine({max.x, y}, {max.x + kTick, y}, 1, ink);
        canvas.drawText({max.x + 2 * kTick, y - kTextHeight / 2}, kTextHeight, labels[i], ink);
    }
}

} // namespace qvmesh

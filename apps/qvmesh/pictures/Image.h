/// \file
/// Pictures as they are stored.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvmesh {

/// What a screen shows; 255 is full light.
struct Colour {
    std::uint8_t r = 0, g = 0, b = 0;

    bool operator==(const Colour&) const = default;
};

inline constexpr Colour kPaper = {255, 255, 255};
inline constexpr Colour kInk = {40, 44, 52};

/// Goes from one colour to the other as `amount` goes from 0 to 1.
Colour mix(Colour from, Colour to, double amount);

/// Row by row from the top, each from the left.
struct Image {
    int width = 0;
    int height = 0;
    std::vector<Colour> pixels;
};

/// The bytes of a PNG file. Throws Failure.
std::string writePng(const Image& image);

} // namespace qvmesh

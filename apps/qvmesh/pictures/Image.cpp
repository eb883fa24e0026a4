#include "qvmesh/pictures/Image.h"

#include <cmath>
#include <png.h>

#include "qvmesh/Failure.h"

namespace qvmesh {

Colour mix(Colour from, Colour to, double amount) {
    const auto channel = [amount](std::uint8_t a, std::uint8_t b) {
        return static_cast<std::uint8_t>(std::lround(a + amount * (b - a)));
    };
    return {channel(from.r, to.r), channel(from.g, to.g), channel(from.b, to.b)};
}

std::string writePng(const Image& image) {
    static_assert(sizeof(Colour) == 3, "pixels are written as they are stored");
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(image.width);
    png.height = static_cast<png_uint_32>(image.height);
    png.format = PNG_FORMAT_RGB;
    std::string bytes(PNG_IMAGE_PNG_SIZE_MAX(png), '\0');
    png_alloc_size_t size = bytes.size();
    if (!png_image_write_to_memory(&png, bytes.data(), &size, 0, image.pixels.data(), 0, nullptr))
        throw Failure(std::string("the picture could not be made: ") + png.message);
    bytes.resize(size);
    return bytes;
}

} // namespace qvmesh

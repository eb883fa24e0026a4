/// \file
/// What makes two vertices the same: their keys, as words whose order is that of the floats.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qvGeom/foundation/base/internal/OrderedBits.h"
#include "qvGeom/foundation/geometry/PointMesh.h"

namespace qvGeom::detail {

/// The word of every NaN: above that of any number.
inline constexpr std::uint32_t kNaNWord = ~std::uint32_t{0};

/// A key of `Width` floats: 3 for the position, 6 with the normal, 8 with the UV too.
template <int Width>
using VertexKey = std::array<std::uint32_t, Width>;

/// Reads the keys of a mesh's vertices.
template <int Width>
class VertexKeys {
public:
    explicit VertexKeys(const PointMesh& mesh)
        : positions_(mesh.getVerticesRaw()),
          normals_(mesh.getNormalsRaw()),
          uvs_(mesh.getUVsRaw()) {}

    /// Writes the keys of `count` vertices from `first` on.
    void read(int first, int count, VertexKey<Width>* keys) const {
        readChannel<3, 0>(positions_, first, count, keys);
        if constexpr (Width >= 6)
            readChannel<3, 3>(normals_, first, count, keys);
        if constexpr (Width == 8)
            readChannel<2, 6>(uvs_, first, count, keys);
    }

private:
    template <int Size, int At>
    static void readChannel(const float* channel, int first, int count, VertexKey<Width>* keys) {
        const float* const values = channel + static_cast<std::ptrdiff_t>(first) * Size;
        for (int v = 0; v < count; ++v) {
            for (int i = 0; i < Size; ++i)
                keys[v][At + i] = qvUtil::orderedBits(values[v * Size + i]);
        }
    }

    const float* positions_;
    const float* normals_;
    const float* uvs_;
};

template <int Width>
bool hasNaN(const VertexKey<Width>& key) {
    bool found = false;
    for (const std::uint32_t word : key)
        found |= word == kNaNWord;
    return found;
}

/// Word by word: a comparison as bytes would wait for words that were written just before.
template <int Width>
bool areEqual(const VertexKey<Width>& a, const VertexKey<Width>& b) {
    std::uint32_t difference = 0;
    for (std::size_t i = 0; i < Width; ++i)
        difference |= a[i] ^ b[i];
    return difference == 0;
}

/// Both halves of a product folded onto each other: every bit of the result depends on all bits.
inline std::uint64_t foldedProduct(std::uint64_t a, std::uint64_t b) {
    __extension__ using Wide = unsigned __int128;
    const Wide product = static_cast<Wide>(a) * b;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

template <int Width>
std::uint32_t hashOf(const VertexKey<Width>& key) {
    // Odd constants with bits spread evenly; any such would do.
    constexpr std::uint64_t kFirst = 0x9e3779b97f4a7c15;
    constexpr std::uint64_t kSecond = 0xc2b2ae3d27d4eb4f;
    std::uint64_t hash = kSecond;
    for (std::size_t i = 0; i < Width; i += 3) {
        const std::uint64_t low = key[i] | static_cast<std::uint64_t>(key[i + 1]) << 32;
        const std::uint64_t high = i + 2 < Width ? key[i + 2] : 0;
        hash = foldedProduct(low ^ kFirst, high ^ hash);
    }
    return static_cast<std::uint32_t>(hash >> 32 ^ hash);
}

} // namespace qvGeom::detail

/// \file
/// Four floats handled at once.
#pragma once

#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvGeom::detail {

using Float4 = float __attribute__((vector_size(16)));
using Mask4 = std::int32_t __attribute__((vector_size(16)));

inline Float4 splat(float value) { return Float4{value, value, value, value}; }

inline Float4 load(const float* values) {
    Float4 result;
    std::memcpy(&result, values, sizeof result);
    return result;
}

inline void store(float* values, Float4 lanes) { std::memcpy(values, &lanes, sizeof lanes); }

/// Bit k: lane k is set.
inline unsigned bitsOf(Mask4 mask) {
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(mask)));
#else
    return (mask[0] & 1) | (mask[1] & 2) | (mask[2] & 4) | (mask[3] & 8);
#endif
}

} // namespace qvGeom::detail

/// \file
/// Vectors of as many numbers as every 64-bit processor handles at once, for the library's own
/// loops.
#pragma once

#include <cstdint>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qvGeom {

using Float4 = float __attribute__((vector_size(16)));
using Mask4 = std::int32_t __attribute__((vector_size(16)));
using Double2 = double __attribute__((vector_size(16)));
using Mask2 = std::int64_t __attribute__((vector_size(16)));

inline Float4 splat(float value) { return Float4{value, value, value, value}; }

inline Mask4 splat(std::int32_t value) { return Mask4{value, value, value, value}; }

inline Double2 splat(double value) { return Double2{value, value}; }

inline Float4 load(const float* values) {
    Float4 result;
    std::memcpy(&result, values, sizeof result);
    return result;
}

inline Mask4 load(const std::int32_t* values) {
    Mask4 result;
    std::memcpy(&result, values, sizeof result);
    return result;
}

inline void store(float* values, Float4 lanes) { std::memcpy(values, &lanes, sizeof lanes); }

/// Two floats as doubles.
inline Double2 widenPair(const float* values) { return Double2{values[0], values[1]}; }

inline Float4 select(Mask4 mask, Float4 yes, Float4 no) { return mask ? yes : no; }

/// The larger of two numbers, or `known` where `value` is NaN.
inline Float4 raise(Float4 known, Float4 value) {
#if defined(__SSE2__)
    return _mm_max_ps(value, known);
#else
    return value > known ? value : known;
#endif
}

/// The smaller of two numbers, or `known` where `value` is NaN.
inline Float4 lower(Float4 known, Float4 value) {
#if defined(__SSE2__)
    return _mm_min_ps(value, known);
#else
    return value < known ? value : known;
#endif
}

/// Compared by hand: compilers take the lanes apart where 64-bit integers cannot be compared.
inline Mask2 isAtLeast(Double2 value, Double2 least) {
#if defined(__SSE2__)
    return reinterpret_cast<Mask2>(_mm_cmpge_pd(value, least));
#else
    return value >= least;
#endif
}

/// One bit for each lane that is set: bit k for lane k.
inline unsigned bitsOf(Mask4 mask) {
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_ps(reinterpret_cast<__m128>(mask)));
#else
    return (mask[0] & 1U) | (mask[1] & 2U) | (mask[2] & 4U) | (mask[3] & 8U);
#endif
}

inline unsigned bitsOf(Mask2 mask) {
#if defined(__SSE2__)
    return static_cast<unsigned>(_mm_movemask_pd(reinterpret_cast<__m128d>(mask)));
#else
    return static_cast<unsigned>((mask[0] & 1) | (mask[1] & 2));
#endif
}

} // namespace qvGeom

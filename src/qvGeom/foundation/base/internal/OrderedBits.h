/// \file
/// Floating-point numbers as unsigned ones in the same order.
#pragma once

#include <bit>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace qvUtil {

/// Maps a float or a double to a word so that words compare as the numbers do: -0 and +0 to the
/// same, and every NaN to all bits, above any number. Integers only, so that compilers turn a row
/// of them into vector code.
template <class Real>
auto orderedBits(Real value) {
    using Word = std::conditional_t<sizeof(Real) == 4, std::uint32_t, std::uint64_t>;
    constexpr int kSignPlace = 8 * sizeof(Word) - 1;
    constexpr auto kInfinity = std::bit_cast<Word>(std::numeric_limits<Real>::infinity());
    const auto bits = std::bit_cast<Word>(value + Real{0}); // -0 + 0 is +0
    const Word flip = (Word{0} - (bits >> kSignPlace)) | Word{1} << kSignPlace;
    const bool isNaN = bits << 1 > kInfinity << 1;
    return (bits ^ flip) | (Word{0} - Word{isNaN});
}

} // namespace qvUtil

/// \file
/// Numbers out of text.
#pragma once

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <type_traits>

namespace qvmesh {

/// Takes the number at the start of `text`, which a zero byte ends sooner or later, off it. Floats
/// are rounded to nearest, to 0 or infinity where they are out of range. False, and no change,
/// where no number starts, or one that an integer cannot hold.
template <class Number>
[[nodiscard]] bool takeNumber(std::string_view& text, Number& number) {
    const std::size_t sign = text.starts_with('+') ? 1 : 0;
    const char* const begin = text.data() + sign;
    auto [stop, error] = std::from_chars(begin, text.data() + text.size(), number);
    if constexpr (std::is_floating_point_v<Number>) {
        if (error == std::errc::result_out_of_range) {
            number = static_cast<Number>(std::strtof(begin, nullptr));
            error = {};
        }
    }
    if (error != std::errc())
        return false;
    text.remove_prefix(static_cast<std::size_t>(stop - text.data()));
    return true;
}

} // namespace qvmesh

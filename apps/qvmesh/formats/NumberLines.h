/// \file
/// Text in lines of words and numbers, as most plain mesh formats are.
#pragma once

#include <charconv>
#include <string>
#include <string_view>
#include <utility>

namespace qvmesh {

class NumberLines {
public:
    /// Adds a line of the words and numbers, parted by blanks.
    template <class... Items>
    void line(const Items&... items) {
        (add(items), ...);
        text_.back() = '\n';
    }

    std::string take() { return std::move(text_); }

private:
    void add(std::string_view word) { (text_ += word) += ' '; }

    void add(int value) {
        char digits[16];
        add({digits, std::to_chars(digits, digits + sizeof digits, value).ptr});
    }

    /// Nine significant digits tell every float from its neighbours, and leave room for readers
    /// that are a few units off in the last place of a double.
    void add(float value) {
        char digits[24];
        constexpr auto kFormat = std::chars_format::general;
        add({digits, std::to_chars(digits, digits + sizeof digits, value, kFormat, 9).ptr});
    }

    std::string text_;
};

} // namespace qvmesh

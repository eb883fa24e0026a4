/// \file
/// Files of lines of words and numbers.
#pragma once

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string>
#include <string_view>

#include "qvmesh/Failure.h"
#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {

inline std::string inSmallLetters(std::string_view text) {
    std::string small(text);
    std::transform(small.begin(), small.end(), small.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return small;
}

/// Goes through the lines that say something, short of what stands behind a '#'.
class TextLines {
public:
    explicit TextLines(const std::string& path) : path_(path), file_(path) {}

    /// Goes to the next line. False where the file ends.
    bool tryNext() {
        do {
            ++number_;
            if (!std::getline(file_, text_))
                return false;
            rest_ = std::string_view(text_).substr(0, text_.find('#'));
            skipBlanks();
        } while (rest_.empty());
        return true;
    }

    /// The same for a line that must be there.
    void next() {
        if (!tryNext())
            fail("the file ends too early");
    }

    /// Whether the line has been taken whole.
    bool atEnd() const { return rest_.empty(); }

    /// Takes the next word, which is empty at the end of the line. Valid until next().
    std::string_view word() {
        const std::string_view word = rest_.substr(0, rest_.find_first_of(kBlanks));
        rest_.remove_prefix(word.size());
        skipBlanks();
        return word;
    }

    template <class Number>
    Number number() {
        Number value = 0;
        if (!takeNumber(rest_, value) ||
            (!rest_.empty() && kBlanks.find(rest_.front()) == kBlanks.npos))
            fail("a number is missing or out of range");
        skipBlanks();
        return value;
    }

    /// Throws Failure, naming the line.
    [[noreturn]] void fail(const char* fault) const {
        throw Failure(path_ + ":" + std::to_string(number_) + ": " + fault);
    }

private:
    static constexpr std::string_view kBlanks = " \t\r";

    void skipBlanks() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(kBlanks), rest_.size()));
    }

    const std::string path_;
    std::ifstream file_;
    std::string text_;
    std::string_view rest_; // of the text, not yet taken
    int number_ = 0;
};

} // namespace qvmesh

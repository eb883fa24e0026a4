/// \file
/// Text files of numbers, written block by block.
#pragma once

#include <memory>

#include "qvGeom/io/detail/File.h"
#include "qvGeom/io/detail/NumberText.h"

namespace qvGeom::detail {

/// Collects numbers in a large block that goes to the file when it is full.
class TextWriter {
public:
    explicit TextWriter(File file);

    /// Writes a number and the character behind it.
    template <class Number>
    void put(Number value, char behind) {
        if (end_ - cursor_ <= kMaxNumberText)
            flush();
        cursor_ = writeNumber(cursor_, value);
        *cursor_++ = behind;
    }

    /// Closes the file; false when any of the text did not get there.
    [[nodiscard]] bool close();

private:
    void flush();

    File file_;
    std::unique_ptr<char[]> block_;
    char* cursor_;
    char* end_;
    bool complete_ = true;
};

} // namespace qvGeom::detail

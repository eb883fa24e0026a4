/// \file
/// Whole text files in memory, and text files written block by block.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "qvGeom/io/detail/NumberText.h"

namespace qvGeom::detail {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, FileCloser>;

/// The bytes of a file and, behind them, zero bytes for the scanner.
struct FileText {
    std::unique_ptr<char[]> bytes; // null when the file cannot be read
    std::size_t length = 0;
};

/// Reads to the end, whatever kind of file it is: a pipe does not tell its size.
FileText readAll(File file);

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

#include "qvGeom/io/detail/TextFile.h"

#include <cstring>
#include <utility>
#include <sys/stat.h>

#include "qvGeom/io/detail/TextScanner.h"

namespace qvGeom::detail {
namespace {

constexpr std::size_t kBlockSize = 256 * 1024;

/// The size of a regular file, or 0.
std::size_t sizeHint(std::FILE* file) {
    struct stat status;
    const bool isRegular = fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode);
    return isRegular ? static_cast<std::size_t>(status.st_size) : 0;
}

} // namespace

FileText readAll(File file) {
    // Not mapped: a file that another program cuts short meanwhile would then end
    // this one. One byte more than the file has lets the first call see its end.
    std::setvbuf(file.get(), nullptr, _IONBF, 0);
    const std::size_t size = sizeHint(file.get());
    std::size_t capacity = size > 0 ? size + 1 : kBlockSize;
    FileText text;
    while (true) {
        auto bytes = std::make_unique_for_overwrite<char[]>(capacity + TextScanner::kPadding);
        if (text.length > 0)
            std::memcpy(bytes.get(), text.bytes.get(), text.length);
        text.bytes = std::move(bytes);
        text.length +=
            std::fread(text.bytes.get() + text.length, 1, capacity - text.length, file.get());
        if (text.length < capacity)
            break;
        capacity *= 2;
    }
    std::memset(text.bytes.get() + text.length, 0, TextScanner::kPadding);
    return std::ferror(file.get()) ? FileText() : std::move(text);
}

TextWriter::TextWriter(File file)
    : file_(std::move(file)),
      block_(std::make_unique_for_overwrite<char[]>(kBlockSize)),
      cursor_(block_.get()),
      end_(block_.get() + kBlockSize) {
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
}

bool TextWriter::close() {
    flush();
    const bool closed = std::fclose(file_.release()) == 0;
    return complete_ && closed;
}

void TextWriter::flush() {
    const auto length = static_cast<std::size_t>(cursor_ - block_.get());
    complete_ = complete_ && std::fwrite(block_.get(), 1, length, file_.get()) == length;
    cursor_ = block_.get();
}

} // namespace qvGeom::detail

#include "qvGeom/io/detail/TextWriter.h"

#include <cstddef>
#include <utility>

namespace qvGeom::detail {
namespace {

constexpr std::size_t kBlockSize = 256 * 1024;

} // namespace

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

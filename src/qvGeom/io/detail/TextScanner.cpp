#include "qvGeom/io/detail/TextScanner.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <locale.h>
#include <sys/stat.h>
#include <utility>

namespace qvGeom::detail {
namespace {

constexpr std::size_t kWindowSize = 256 * 1024;

// The first of the zero bytes behind the text ends a number without a test for the end, the
// others let eight bytes be loaded at once.
constexpr std::size_t kPadding = 8;

/// The size of a regular file, or 0 when it is not known.
std::int64_t sizeOf(std::FILE* file) {
    struct stat status;
    return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

/// strtof and strtod follow the locale of the process, these two never.
class CLocale {
public:
    CLocale() : locale_(newlocale(LC_ALL_MASK, "C", nullptr)) {}

    ~CLocale() { freelocale(locale_); }

    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

    void convert(const char* text, char** end, float& value) const {
        value = strtof_l(text, end, locale_);
    }

    void convert(const char* text, char** end, double& value) const {
        value = strtod_l(text, end, locale_);
    }

private:
    locale_t locale_;
};

/// The end of the number that starts at `text`, or null when there is none. White space or a zero
/// byte stands at `end`.
const char* convert(const char* text, const char* end, int& value) {
    text += *text == '+' && text[1] != '-'; // from_chars takes a minus only
    const auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() ? stop : nullptr;
}

template <class Real>
const char* convert(const char* text, const char* end, Real& value) {
    const bool negative = *text == '-';
    const char* const magnitude = text + (negative || *text == '+');
    const bool startsAsDecimal = (*magnitude >= '0' && *magnitude <= '9') || *magnitude == '.';
    if (startsAsDecimal && (magnitude[1] | 0x20) != 'x') {
        const auto [stop, error] = std::from_chars(magnitude, end, value);
        if (error == std::errc()) {
            value = negative ? -value : value;
            return stop;
        }
    }

    // Left are nan, inf, hexadecimal and what leaves the range: strtof rounds it to zero or
    // infinity, as scanf does.
    char* stop = nullptr;
    CLocale().convert(text, &stop, value);
    return stop == text ? nullptr : stop;
}

} // namespace

TextScanner::TextScanner(File file)
    : file_(std::move(file)),
      size_(sizeOf(file_.get())),
      capacity_(kWindowSize),
      window_(std::make_unique_for_overwrite<char[]>(capacity_ + kPadding)),
      cursor_(window_.get()),
      end_(window_.get()) {
    // Not mapped: a file that another program cuts short meanwhile would then end this one.
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
    refill();
    if (size_ == 0) {
        while (refill()) {
        }
        size_ = end_ - window_.get();
    }
}

bool TextScanner::atEnd() {
    do
        skipSpace();
    while (cursor_ == end_ && refill());
    return cursor_ == end_ && !readFailed_;
}

std::size_t TextScanner::line() {
    auto lineFeeds = std::count(static_cast<const char*>(window_.get()), cursor_, '\n');
    std::rewind(file_.get());
    for (std::int64_t left = windowStart_; left > 0;) {
        const auto wanted = std::min(static_cast<std::size_t>(left), capacity_);
        const std::size_t length = std::fread(window_.get(), 1, wanted, file_.get());
        if (length == 0)
            break;
        lineFeeds += std::count(window_.get(), window_.get() + length, '\n');
        left -= static_cast<std::int64_t>(length);
    }
    return 1 + static_cast<std::size_t>(lineFeeds);
}

template <class Number>
bool TextScanner::nextUnusual(Number& value) {
    const char* stop;
    do {
        skipSpace();
        stop = std::find_if(cursor_, static_cast<const char*>(end_), isSpace);
    } while (stop == end_ && refill());

    Number converted = 0;
    if (cursor_ == stop || convert(cursor_, stop, converted) != stop)
        return false;
    value = converted;
    cursor_ = stop;
    return true;
}

template bool TextScanner::nextUnusual(int&);
template bool TextScanner::nextUnusual(float&);
template bool TextScanner::nextUnusual(double&);

bool TextScanner::refill() {
    if (isAtEndOfFile_)
        return false;
    const auto kept = static_cast<std::size_t>(end_ - cursor_);
    windowStart_ += cursor_ - window_.get();
    if (kept > capacity_ / 2) {
        auto larger = std::make_unique_for_overwrite<char[]>(2 * capacity_ + kPadding);
        std::memcpy(larger.get(), cursor_, kept);
        window_ = std::move(larger);
        capacity_ *= 2;
    } else {
        std::memmove(window_.get(), cursor_, kept);
    }
    const std::size_t wanted = capacity_ - kept;
    const std::size_t length = std::fread(window_.get() + kept, 1, wanted, file_.get());
    isAtEndOfFile_ = length < wanted;
    readFailed_ = std::ferror(file_.get());
    cursor_ = window_.get();
    end_ = window_.get() + kept + length;
    std::memset(end_, 0, kPadding);
    return true;
}

} // namespace qvGeom::detail

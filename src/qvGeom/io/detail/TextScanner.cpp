#include "qvGeom/io/detail/TextScanner.h"

#include <algorithm>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <locale.h>

namespace qvGeom::detail {
namespace {

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

const char* convertUnusual(const char* text, const char* end, int& value) {
    text += *text == '+' && text[1] != '-'; // from_chars takes a minus only
    const auto [stop, error] = std::from_chars(text, end, value);
    return error == std::errc() ? stop : nullptr;
}

/// The end of the number that starts at `text`, or null when there is none.
/// `end` is the end of the whole text, where a zero byte stands.
template <class Real>
const char* convertUnusual(const char* text, const char* end, Real& value) {
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

    // Left are nan, inf, hexadecimal and what leaves the range: strtof rounds it to
    // zero or infinity, as scanf does. White space is no part of a number here.
    char* stop = nullptr;
    CLocale().convert(text, &stop, value);
    return stop == text ? nullptr : stop;
}

} // namespace

template <class Real>
bool TextScanner::nextUnusual(Real& value) {
    Real converted;
    const char* const stop = convertUnusual(cursor_, end_, converted);
    if (!stop || !isEndOfNumber(stop))
        return false;
    value = converted;
    cursor_ = stop;
    return true;
}

template bool TextScanner::nextUnusual(int&);
template bool TextScanner::nextUnusual(float&);
template bool TextScanner::nextUnusual(double&);

std::size_t TextScanner::line() const {
    return 1 + static_cast<std::size_t>(std::count(begin_, cursor_, '\n'));
}

} // namespace qvGeom::detail

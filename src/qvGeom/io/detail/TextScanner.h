/// \file
/// Reads white-space separated numbers out of a text file.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "qvGeom/io/detail/File.h"

namespace qvGeom::detail {

/// Walks over a text from number to number. A number ends at white space or at the end
/// of the text; anything else behind it makes it no number. Accepts what scanf accepts
/// in the "C" locale, whatever locale is set, and rounds once.
///
/// A regular file is seen through a window, which costs less than the pages of a buffer for
/// all of it. A pipe, which does not tell its size, is taken into memory whole.
class TextScanner {
public:
    explicit TextScanner(File file);

    /// Moves over the next number; false, with the scanner standing at what is
    /// there instead and `value` as it was, when it is none or does not fit.
    [[nodiscard]] bool next(int& value) {
        skipSpace();
        if (isDigit(cursor_[0]) && isSpace(cursor_[1])) { // as the corner count of every triangle
            value = static_cast<int>(digitOf(*cursor_++));
            return true;
        }
        std::uint64_t number = 0;
        const int numDigits = readEight(cursor_, number);
        if (numDigits == 0 || numDigits == 8 || !isSpace(cursor_[numDigits]))
            return nextUnusual(value);
        value = static_cast<int>(number);
        cursor_ += numDigits;
        return true;
    }

    [[nodiscard]] bool next(float& value) { return nextReal(value); }

    [[nodiscard]] bool next(double& value) { return nextReal(value); }

    /// Moves over white space; true when nothing else is left.
    bool atEnd();

    /// Bytes of the file behind the last number read.
    std::int64_t bytesLeft() const { return size_ - windowStart_ - (cursor_ - window_.get()); }

    /// Whether the file could not be read to its end, which then seems to be earlier.
    bool readFailed() const { return readFailed_; }

    /// Line the scanner stands in, from 1. Reads the file again; nothing can be read
    /// from the scanner afterwards.
    std::size_t line();

private:
    /// A decimal number without its sign: mantissa * 10^exponent.
    struct Decimal {
        std::uint64_t mantissa;
        int exponent;
    };

    static bool isDigit(char c) { return digitOf(c) <= 9; }

    static unsigned digitOf(char c) { return static_cast<unsigned char>(c) - unsigned{'0'}; }

    static bool isSpace(char c) {
        return c == ' ' || static_cast<unsigned char>(c) - unsigned{'\t'} <= '\r' - '\t';
    }

    void skipSpace() {
        while (isSpace(*cursor_))
            ++cursor_;
    }

    template <class Real>
    bool nextReal(Real& value) {
        skipSpace();
        const bool negative = *cursor_ == '-';
        const char* p = cursor_ + (negative || *cursor_ == '+');
        Decimal decimal;
        Real magnitude;
        if (!readDecimal(p, decimal) || !isSpace(*p) || !round(decimal, magnitude))
            return nextUnusual(value);
        value = negative ? -magnitude : magnitude;
        cursor_ = p;
        return true;
    }

    /// Appends the digits at `p`, but eight at most, to `number`, modulo 2^64.
    /// Returns how many there are.
    static int readEight(const char* p, std::uint64_t& number);

    /// Moves `p` over an unsigned decimal number of at most 19 digits, which fill
    /// 64 bits; false when something else is there.
    static bool readDecimal(const char*& p, Decimal& decimal);

    /// The nearest number to `decimal`, when cheap arithmetic is sure of it.
    static bool round(const Decimal& decimal, float& value);
    static bool round(const Decimal& decimal, double& value);

    /// The slow way for every other number: signed or long integers; long, huge, tiny and
    /// hexadecimal reals, nan, inf; and any that the window cuts off.
    template <class Number>
    bool nextUnusual(Number& value);

    /// Moves what is behind the cursor to the front of the window, which grows when
    /// that fills half of it, and reads on; false at the end of the file.
    bool refill();

    File file_;
    std::int64_t size_;
    std::int64_t windowStart_ = 0; // position of the window in the file
    std::size_t capacity_;
    std::unique_ptr<char[]> window_;
    const char* cursor_;
    char* end_; // of the text in the window; zero bytes follow
    bool isAtEndOfFile_ = false;
    bool readFailed_ = false;
};

/// 10^exponent, rounded once, for exponents from kMinPower to kMaxPower.
inline constexpr int kMinPower = -37;
inline constexpr int kMaxPower = 22;
inline constexpr double kPowersOfTen[] = {
    1e-37, 1e-36, 1e-35, 1e-34, 1e-33, 1e-32, 1e-31, 1e-30, 1e-29, 1e-28, 1e-27, 1e-26,
    1e-25, 1e-24, 1e-23, 1e-22, 1e-21, 1e-20, 1e-19, 1e-18, 1e-17, 1e-16, 1e-15, 1e-14,
    1e-13, 1e-12, 1e-11, 1e-10, 1e-9,  1e-8,  1e-7,  1e-6,  1e-5,  1e-4,  1e-3,  1e-2,
    1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,   1e7,   1e8,   1e9,   1e10,
    1e11,  1e12,  1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21,  1e22};

inline int TextScanner::readEight(const char* p, std::uint64_t& number) {
    // All bytes at once: the length of numbers varies, so a loop over their digits
    // would end in a branch that nobody can foretell.
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t kScale[] = {1,      10,      100,      1000,     10000,
                                        100000, 1000000, 10000000, 100000000};
    std::uint64_t eight;
    std::memcpy(&eight, p, sizeof eight);
    eight ^= 0x3030303030303030; // a digit becomes its value
    const std::uint64_t above9 = (eight & 0x7f7f7f7f7f7f7f7f) + 0x7676767676767676;
    const int length = std::countr_zero((above9 | eight) & 0x8080808080808080) / 8;
    // The digits move to the high bytes, behind leading zeros, and are joined to
    // pairs, to fours and to one number.
    eight = length == 0 ? 0 : eight << (64 - 8 * length);
    eight = eight * (10 * 256 + 1) >> 8;
    eight = (eight & 0x00ff00ff00ff00ff) * (100 * 65536 + 1) >> 16;
    eight = (eight & 0x0000ffff0000ffff) * (10000 * 4294967296 + 1) >> 32;
    number = number * kScale[length] + eight;
    return length;
}

inline bool TextScanner::readDecimal(const char*& p, Decimal& decimal) {
    std::uint64_t mantissa = 0;
    const char* const first = p;
    while (isDigit(*p))
        mantissa = 10 * mantissa + digitOf(*p++);
    std::ptrdiff_t numDigits = p - first;
    std::ptrdiff_t numDecimals = 0;
    if (*p == '.') {
        const char* const fraction = ++p;
        int length;
        do {
            length = readEight(p, mantissa);
            p += length;
        } while (length == 8);
        numDecimals = p - fraction;
        numDigits += numDecimals;
    }
    if (numDigits < 1 || numDigits > 19)
        return false;
    int exponent = -static_cast<int>(numDecimals);
    if ((*p | 0x20) == 'e') {
        const bool negative = *++p == '-';
        p += negative || *p == '+';
        const char* const digits = p;
        int written = 0;
        for (; isDigit(*p) && p < digits + 4; ++p)
            written = 10 * written + static_cast<int>(digitOf(*p));
        if (p == digits)
            return false;
        exponent += negative ? -written : written;
    }
    decimal = {mantissa, exponent};
    return true;
}

inline bool TextScanner::round(const Decimal& decimal, float& value) {
    // With these exponents no mantissa but 0 leaves the range of normal floats.
    if (decimal.exponent < kMinPower || decimal.exponent > 19)
        return false;
    const double wide =
        static_cast<double>(decimal.mantissa) * kPowersOfTen[decimal.exponent - kMinPower];
    // Three roundings put `wide` at most three units of its last place away. Its
    // lowest 29 bits decide how it narrows: only near their middle, where the
    // number may lie on the other side of the midpoint of two floats, is it open.
    constexpr std::uint64_t kDropped = (1U << 29) - 1;
    constexpr std::uint64_t kMiddle = 1U << 28;
    constexpr std::uint64_t kMargin = 4;
    const std::uint64_t dropped = std::bit_cast<std::uint64_t>(wide) & kDropped;
    value = static_cast<float>(wide);
    return dropped - (kMiddle - kMargin) > 2 * kMargin;
}

inline bool TextScanner::round(const Decimal& decimal, double& value) {
    // Both operands are exact, so the one operation rounds once.
    constexpr std::uint64_t kMaxExact = std::uint64_t{1} << 53;
    if (decimal.mantissa > kMaxExact || decimal.exponent < -kMaxPower ||
        decimal.exponent > kMaxPower)
        return false;
    const auto exact = static_cast<double>(decimal.mantissa);
    value = decimal.exponent < 0 ? exact / kPowersOfTen[-decimal.exponent - kMinPower]
                                 : exact * kPowersOfTen[decimal.exponent - kMinPower];
    return true;
}

} // namespace qvGeom::detail

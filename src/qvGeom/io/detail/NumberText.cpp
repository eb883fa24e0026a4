#include "qvGeom/io/detail/NumberText.h"

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace qvGeom::detail {
namespace {

constexpr int kDigits = 10;                          // significant digits of "%.10g"
constexpr std::uint64_t kTenDigits = 10'000'000'000; // 10^kDigits

/// A number as d.ddddddddd * 10^exponent, its digits as one integer.
struct Decimal {
    std::uint64_t digits;
    int exponent;
};

// Exponents for which 10^(kDigits - 1 - exponent) = 5^n * 2^n has n >= 0 and a
// 5^n that 64 bits hold.
constexpr int kMinExponent = -18;
constexpr int kMaxExponent = 9;

struct PowersOfFive {
    std::uint64_t power[kMaxExponent - kMinExponent + 1];

    constexpr PowersOfFive() : power{1} {
        for (int n = 1; n <= kMaxExponent - kMinExponent; ++n)
            power[n] = 5 * power[n - 1];
    }
};

constexpr PowersOfFive kPowersOfFive;

/// 10^exponent, rounded once, from kMinExponent to kMaxExponent + 1.
constexpr double kPowersOfTen[] = {1e-18, 1e-17, 1e-16, 1e-15, 1e-14, 1e-13, 1e-12, 1e-11,
                                   1e-10, 1e-9,  1e-8,  1e-7,  1e-6,  1e-5,  1e-4,  1e-3,
                                   1e-2,  1e-1,  1e0,   1e1,   1e2,   1e3,   1e4,   1e5,
                                   1e6,   1e7,   1e8,   1e9,   1e10};

/// Rounds `value`, which lies from 10^kMinExponent up to 10^(kMaxExponent + 1), to
/// ten digits: exactly, ties to even.
Decimal roundToDecimal(double value) {
    // log10(2) = 0.30103 times the binary exponent is the decimal one or one less.
    const auto bits = std::bit_cast<std::uint64_t>(value);
    const int binary = static_cast<int>(bits >> 52) - 1023;
    int exponent = binary * 1233 >> 12;
    exponent += value >= kPowersOfTen[exponent + 1 - kMinExponent];

    // value * 10^n = mantissa * 5^n / 2^shift, with a quotient of ten digits.
    __extension__ using Wide = unsigned __int128; // the exact product has up to 116 bits
    const int n = kDigits - 1 - exponent;
    const int shift = 52 - binary - n;
    const std::uint64_t mantissa = (bits & 0xfffffffffffff) | 0x10000000000000;
    const Wide product = Wide{mantissa} * kPowersOfFive.power[n];
    const auto quotient = static_cast<std::uint64_t>(product >> shift);
    const Wide rest = product - (Wide{quotient} << shift);
    const Wide half = Wide{1} << (shift - 1);
    const bool up = rest > half || (rest == half && (quotient & 1));
    const std::uint64_t digits = quotient + up;
    return digits == kTenDigits ? Decimal{kTenDigits / 10, exponent + 1}
                                : Decimal{digits, exponent};
}

/// The eight digits of `value` as text, the first in the lowest byte.
std::uint64_t eightDigits(std::uint32_t value) {
    // Halved again and again, all parts at once; x * 10486 >> 20 is x / 100 up to
    // 9999 and x * 103 >> 10 is x / 10 up to 99.
    std::uint64_t parts = value / 10000 | std::uint64_t{value % 10000} << 32;
    std::uint64_t upper = (parts * 10486 >> 20) & 0x0000007f0000007f;
    parts = upper | (parts - 100 * upper) << 16;
    upper = (parts * 103 >> 10) & 0x000f000f000f000f;
    parts = upper | (parts - 10 * upper) << 8;
    return parts | 0x3030303030303030;
}

/// The digits of a Decimal as text.
struct DigitText {
    char text[2 * kDigits]; // the second half only fills up copies of fixed length
    int length;             // without trailing zeros

    explicit DigitText(std::uint64_t digits) {
        static_assert(std::endian::native == std::endian::little);
        const auto top = static_cast<unsigned>(digits / 100'000'000);
        text[0] = static_cast<char>('0' + top / 10);
        text[1] = static_cast<char>('0' + top % 10);
        const std::uint64_t low = eightDigits(static_cast<std::uint32_t>(digits % 100'000'000));
        std::memcpy(text + 2, &low, sizeof low);
        std::memset(text + kDigits, 0, kDigits);
        const int zeros = std::countl_zero(low & 0x0f0f0f0f0f0f0f0f) / 8;
        length = kDigits - zeros;
        if (zeros == 8)
            length = text[1] == '0' ? 1 : 2;
    }
};

/// 1.25e-05: no point when there is one digit, at least two digits of exponent.
/// Here the exponent has never more.
char* writeScientific(char* out, const DigitText& digits, int exponent) {
    out[0] = digits.text[0];
    out[1] = '.';
    std::memcpy(out + 2, digits.text + 1, kDigits);
    out += digits.length == 1 ? 1 : digits.length + 1;
    const int size = exponent < 0 ? -exponent : exponent;
    *out++ = 'e';
    *out++ = exponent < 0 ? '-' : '+';
    *out++ = static_cast<char>('0' + size / 10);
    *out++ = static_cast<char>('0' + size % 10);
    return out;
}

} // namespace

char* writeNumber(char* out, double value) {
    *out = '-';
    out += std::signbit(value);
    const double magnitude = std::fabs(value);
    if (magnitude == 0) {
        *out = '0';
        return out + 1;
    }
    if (!(magnitude >= kPowersOfTen[0] && magnitude < static_cast<double>(kTenDigits)))
        return std::to_chars(out, out + kMaxNumberText - 1, magnitude, std::chars_format::general,
                             kDigits)
            .ptr;

    const Decimal decimal = roundToDecimal(magnitude);
    const DigitText digits(decimal.digits);
    const int exponent = decimal.exponent;
    if (exponent < -4 || exponent >= kDigits)
        return writeScientific(out, digits, exponent);
    if (exponent < 0) {
        std::memset(out, '0', 5); // as many as there may be, the point's place included
        out[1] = '.';
        out += 1 - exponent;
        std::memcpy(out, digits.text, kDigits);
        return out + digits.length;
    }
    const int whole = exponent + 1;
    std::memcpy(out, digits.text, kDigits);
    out[whole] = '.';
    std::memcpy(out + whole + 1, digits.text + whole, kDigits);
    return out + (digits.length > whole ? digits.length + 1 : whole);
}

char* writeNumber(char* out, int value) {
    return std::to_chars(out, out + kMaxNumberText, value).ptr;
}

} // namespace qvGeom::detail

#include "qvmesh/Limits.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {
namespace {

/// Takes what is a `Number` from beginning to end and meets the condition; `what` tells of both.
template <class Number, class Condition>
CLI::Validator validator(const std::string& what, const Condition& condition) {
    const auto check = [what, condition](const std::string& text) {
        std::string_view rest = text;
        Number value = 0;
        if (takeNumber(rest, value) && rest.empty() && condition(value))
            return std::string();
        return "takes " + what + ", not '" + text + "'";
    };
    return {check, "", ""};
}

std::string range(int least, int most) {
    return " from " + std::to_string(least) + " to " + std::to_string(most);
}

} // namespace

CLI::Validator wholeNumber(int least, int most) {
    return validator<std::int64_t>("a whole number" + range(least, most), [=](std::int64_t value) {
        return least <= value && value <= most;
    });
}

CLI::Validator number(int least, int most) {
    return validator<double>("a number" + range(least, most),
                             [=](double value) { return least <= value && value <= most; });
}

CLI::Validator notNegative() {
    return validator<double>("a number that is not negative",
                             [](double value) { return value >= 0 && std::isfinite(value); });
}

CLI::Validator aboveZero() {
    return validator<double>("a number above 0",
                             [](double value) { return value > 0 && std::isfinite(value); });
}

CLI::Validator fileName() {
    const auto check = [](const std::string& text) {
        return text.empty() ? std::string("takes the name of a file") : std::string();
    };
    return {check, "", ""};
}

} // namespace qvmesh

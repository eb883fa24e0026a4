#include "qvmesh/NumberList.h"

#include <algorithm>
#include <cmath>

#include "qvmesh/Failure.h"
#include "qvmesh/formats/ParseNumber.h"

namespace qvmesh {

std::vector<double> toNumbers(const std::string& option, std::string_view text) {
    constexpr std::string_view kSeparators = " \t\r\n,";
    std::vector<double> numbers;
    while (true) {
        text.remove_prefix(std::min(text.find_first_not_of(kSeparators), text.size()));
        if (text.empty())
            return numbers;
        const std::string word(text.substr(0, text.find_first_of(kSeparators)));
        if (!takeNumber(text, numbers.emplace_back()) || !std::isfinite(numbers.back()) ||
            (!text.empty() && kSeparators.find(text.front()) == kSeparators.npos))
            throw Failure(std::string(option).append(": '").append(word).append("' is no number"));
    }
}

} // namespace qvmesh

/// \file
/// Options that take several numbers.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvmesh {

/// The finite numbers in the text, parted by blanks, line ends or commas. Throws Failure, in which
/// it names the option.
std::vector<double> toNumbers(const std::string& option, std::string_view text);

} // namespace qvmesh

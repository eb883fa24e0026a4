/// \file
/// The two ways in which a command ends early.
#pragma once

#include <stdexcept>

namespace qvmesh {

/// What the user asked for cannot be done; the text, one line, says what is wrong with what.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The user has asked to stop.
struct Cancelled {};

} // namespace qvmesh

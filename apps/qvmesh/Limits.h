/// \file
/// What the value of an option may be.
#pragma once

namespace CLI {
class Validator;
}

namespace qvmesh {

/// Takes whole numbers from `least` to `most`.
CLI::Validator wholeNumber(int least, int most);

/// Takes numbers from `least` to `most`.
CLI::Validator number(int least, int most);

/// Takes finite numbers from 0 on.
CLI::Validator notNegative();

/// Takes finite numbers above 0.
CLI::Validator aboveZero();

/// Takes all but the empty text.
CLI::Validator fileName();

} // namespace qvmesh

/// \file
/// The program as a whole: from the command line to the exit code.
#pragma once

namespace qvmesh {

/// Runs the command that the arguments name. Returns 0, or 2 after one line on standard error when
/// that cannot be done, or 130 when the user has stopped it.
int runProgram(int argc, char** argv);

} // namespace qvmesh

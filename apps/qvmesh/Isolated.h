/// \file
/// Reading files with code that a damaged one may crash.
#pragma once

#include <string>

#include "qvmesh/formats/Formats.h"

namespace qvUtil {
class Progress;
}

namespace qvmesh {

using Reader = MeshData (*)(const std::string& path);

/// Runs `reader` in a child process with limits on memory and time, so that it takes nothing with
/// it when it crashes, and can be stopped at any moment. Throws Failure or Cancelled.
MeshData readIsolated(Reader reader, const std::string& path, qvUtil::Progress& progress);

} // namespace qvmesh

/// \file
/// Output that nobody wants to read between results.
#pragma once

#include "qvGeom/foundation/base/Diagnostics.h"

namespace bench {

/// Swallows what users are told, while it lives.
class SilentOutput {
public:
    SilentOutput() {
        qvOS::AppOutput::getInstance().setSink([](void*, bool, const char*) {}, nullptr);
    }

    SilentOutput(const SilentOutput&) = delete;
    SilentOutput& operator=(const SilentOutput&) = delete;

    ~SilentOutput() { qvOS::AppOutput::getInstance().setSink(nullptr, nullptr); }
};

} // namespace bench

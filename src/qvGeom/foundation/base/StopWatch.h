/// \file
/// Elapsed time in seconds.
#pragma once

#include <chrono>

#include "qvGeom/Export.h"

namespace qvOS {

/// A watch that stands at 0 until started. Wall time, from a clock that never
/// goes back.
class QVGEOM_API StopWatch {
public:
    /// Runs on from where the watch stands; no effect on a running one.
    void start();

    /// Stops the watch and returns the time it shows, the same until it is started
    /// again.
    double stop();

    /// Returns the time like `stop` and leaves the watch stopped at 0.
    double clear();

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point started_;
    Clock::duration elapsed_{0};
    bool running_ = false;
};

} // namespace qvOS

#include "qvGeom/foundation/base/StopWatch.h"

namespace qvOS {

void StopWatch::start() {
    if (running_)
        return;
    started_ = Clock::now();
    running_ = true;
}

double StopWatch::stop() {
    if (running_)
        elapsed_ += Clock::now() - started_;
    running_ = false;
    return std::chrono::duration<double>(elapsed_).count();
}

double StopWatch::clear() {
    const double seconds = stop();
    elapsed_ = Clock::duration::zero();
    return seconds;
}

} // namespace qvOS

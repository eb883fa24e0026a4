/// \file
/// The moving bar that shows how far a command is.
#pragma once

#include <chrono>

namespace qvUtil {
class Progress;
}

namespace qvmesh {

/// Draws a bar on standard error while it lives, if that is a terminal, and wipes it at the end.
class ProgressBar {
public:
    explicit ProgressBar(qvUtil::Progress& progress);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

private:
    void draw(double fraction, const char* caption);

    qvUtil::Progress& progress_;
    std::chrono::steady_clock::time_point nextDraw_;
    bool drawn_ = false;
};

} // namespace qvmesh

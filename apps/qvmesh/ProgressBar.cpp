#include "qvmesh/ProgressBar.h"

#include <cstdio>
#include <string>
#include <unistd.h>

#include "qvGeom/foundation/base/Progress.h"

namespace qvmesh {
namespace {

using Clock = std::chrono::steady_clock;

// Algorithms report far more often than an eye can follow; a job done before is not worth a bar.
constexpr auto kDrawInterval = std::chrono::milliseconds(100);
constexpr int kBarWidth = 40;

} // namespace

ProgressBar::ProgressBar(qvUtil::Progress& progress)
    : progress_(progress),
      nextDraw_(Clock::now() + kDrawInterval) {
    if (!isatty(STDERR_FILENO))
        return;
    const auto draw = [](void* bar, double fraction, const char* caption) {
        static_cast<ProgressBar*>(bar)->draw(fraction, caption);
    };
    progress_.setCallback(draw, this);
}

ProgressBar::~ProgressBar() {
    progress_.setCallback(nullptr, nullptr);
    if (drawn_)
        std::fputs("\r\033[K", stderr);
}

void ProgressBar::draw(double fraction, const char* caption) {
    const Clock::time_point now = Clock::now();
    if (now < nextDraw_)
        return;
    nextDraw_ = now + kDrawInterval;
    drawn_ = true;

    std::string bar(kBarWidth, ' ');
    bar.replace(0, static_cast<std::size_t>(fraction * kBarWidth),
                static_cast<std::size_t>(fraction * kBarWidth), '=');
    std::fprintf(stderr, "\r[%s] %3.0f %%  %s\033[K", bar.c_str(), 100 * fraction, caption);
    std::fflush(stderr);
}

} // namespace qvmesh

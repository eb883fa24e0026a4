/// \file
/// A progress that cancels itself.
#pragma once

#include <vector>

#include "qvGeom/foundation/base/Progress.h"

namespace test {

/// Records the fractions it hears, and is cancelled by the n-th report; n = 0 is
/// cancelled from the start, a negative n never.
class CancelAfter {
public:
    explicit CancelAfter(int reports) : reportsLeft_(reports) {
        progress_.setCallback([](void* user, double fraction,
                                 const char*) { static_cast<CancelAfter*>(user)->hear(fraction); },
                              this);
        if (reports == 0)
            progress_.cancel();
    }

    CancelAfter(const CancelAfter&) = delete;
    CancelAfter& operator=(const CancelAfter&) = delete;

    qvUtil::Progress& progress() { return progress_; }

    const std::vector<double>& fractions() const { return fractions_; }

private:
    void hear(double fraction) {
        fractions_.push_back(fraction);
        if (--reportsLeft_ == 0)
            progress_.cancel();
    }

    qvUtil::Progress progress_;
    std::vector<double> fractions_;
    int reportsLeft_;
};

} // namespace test

/// \file
/// What a command works with while it runs.
#pragma once

#include <functional>

#include "qvmesh/Report.h"

namespace qvUtil {
class Progress;
}

namespace qvmesh {

/// One run of a command: it goes from stage to stage, each timed, and gathers a report.
class Job {
public:
    using Work = std::function<void(qvUtil::Progress&)>;

    explicit Job(qvUtil::Progress& progress) : progress_(progress) {}

    /// Runs `work` as the next `share` of the whole. Throws Cancelled if the user has asked to
    /// stop.
    void stage(const char* name, double share, const Work& work);

    Report& report() { return report_; }

    /// Throws Failure when standard output does not take it.
    void printReport(Report::Style style) const;

    /// The report leaves standard output to a mesh that is written there.
    void reportToStandardError() { reportStream_ = stderr; }

private:
    qvUtil::Progress& progress_;
    Report report_;
    std::FILE* reportStream_ = stdout;
};

} // namespace qvmesh

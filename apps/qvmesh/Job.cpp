#include "qvmesh/Job.h"

#include "qvGeom/foundation/base/Progress.h"
#include "qvGeom/foundation/base/StopWatch.h"

#include "qvmesh/Failure.h"

namespace qvmesh {

void Job::stage(const char* name, double share, const Work& work) {
    qvUtil::Progress progress;
    progress_.subPhase(share, progress);
    progress.setCaption(name);

    qvOS::StopWatch watch;
    watch.start();
    work(progress);
    report_.addStage(name, watch.clear());

    if (progress.cancelled())
        throw Cancelled();
    progress.set(1);
}

void Job::printReport(Report::Style style) const {
    report_.print(reportStream_, style);
    if (std::fflush(reportStream_) != 0 || std::ferror(reportStream_))
        throw Failure("the result could not be printed");
}

} // namespace qvmesh

#include "qvGeom/foundation/base/Diagnostics.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

#include "qvGeom/foundation/base/StopWatch.h"

#include "support/CapturedOutput.h"

using qvGeom::debugChannel;
using qvOS::AppOutput;

TEST(DebugChannel, isSilentUntilEnabledAndPrintsWhole) {
    testing::internal::CaptureStderr();
    debugChannel().print("nothing %d\n", 1);
    debugChannel().setEnabled(true);
    debugChannel().print("to stderr %d", 2);
    debugChannel().setEnabled(false);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "to stderr 2");

    const std::string longLine(100000, 'x');
    test::CapturedOutput output;
    debugChannel().print("%s|%d  %f s\n", longLine.c_str(), 7, 0.25);
    EXPECT_EQ(output.debug(), longLine + "|7  0.250000 s\n");
    EXPECT_EQ(output.debugWithoutSeconds(), longLine + "|7  S s\n");
}

TEST(AppOutput, addsALineEndOnlyWhereOneIsMissing) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    AppOutput::getInstance().info("%d vertices", 3);
    AppOutput::getInstance().info("done\n");
    AppOutput::getInstance().error("bad %s", "file");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "3 vertices\ndone\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "bad file\n");

    test::CapturedOutput output;
    AppOutput::getInstance().info("as printed");
    EXPECT_EQ(output.info(), "as printed");
}

TEST(StopWatch, standsStillUnlessStarted) {
    qvOS::StopWatch watch;
    EXPECT_EQ(watch.stop(), 0);
    watch.start();
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    const double first = watch.stop();
    EXPECT_GE(first, 0.002);
    EXPECT_EQ(watch.clear(), first);
    EXPECT_EQ(watch.clear(), 0);
}

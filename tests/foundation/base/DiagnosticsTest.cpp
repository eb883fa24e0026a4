#include "qvGeom/foundation/base/Diagnostics.h"

#include <gtest/gtest.h>

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
}

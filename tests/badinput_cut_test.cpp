// Cut lines that reach far outside the binary image.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(BadInputCut, ACutLineFarOutsideTheImageIsClipped)
{
    const int far = std::numeric_limits<int>::max();
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(testimages::Grey(2, 43, 255), {{-43, -far}, {0, 0}}, out), 0);
    EXPECT_EQ(out.size(), cv::Size(43, 2));
}

// The most negative int as a coordinate makes OpenCV's thick line divide by
// zero: the process dies of SIGFPE (found by fuzzing AlgManulCut). Enable
// once the cut keeps its points off INT_MIN.
TEST(BadInputCut, DISABLED_ACutLineToTheMostNegativeCoordinateDoesNotCrash)
{
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(testimages::Grey(2, 43, 255),
                          {{-43, std::numeric_limits<int>::min()}, {0, 0}}, out),
              0);
    EXPECT_EQ(out.size(), cv::Size(43, 2));
}

} // namespace

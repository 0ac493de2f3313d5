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

// Coordinates of about ±2³⁰ and beyond make OpenCV's thick line divide by
// zero: the process dies of SIGFPE (found by fuzzing AlgManulCut). Enable once
// the cut keeps its points nearer (clipping the polyline to the image grown
// by the line's thickness would do).
TEST(BadInputCut, DISABLED_ACutLineToTheEndsOfTheIntegerRangeDoesNotCrash)
{
    const int least = std::numeric_limits<int>::min();
    const int most = std::numeric_limits<int>::max();
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(testimages::Grey(2, 43, 255), {{-43, least}, {0, 0}}, out), 0);
    ASSERT_EQ(AlgManulCut(cv::Mat(1, 1, CV_8UC2, cv::Scalar::all(255)),
                          {{-1, 1}, {-most, -most}, {-1, -1}}, out),
              0);
    const int far = 1 << 30;
    ASSERT_EQ(
        AlgManulCut(cv::Mat(1, 1, CV_8UC2, cv::Scalar::all(255)), {{101, -far}, {-far, -far}}, out),
        0);
}

} // namespace

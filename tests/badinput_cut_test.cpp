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

// Coordinates of about ±2³⁰ and beyond make the library's thick line divide by
// zero (found by fuzzing AlgManulCut); the cut shortens such segments first.
TEST(BadInputCut, ACutLineToTheEndsOfTheIntegerRangeDoesNotCrash)
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

TEST(BadInputCut, AFarReachingLineCutsWhatItsNearPartCuts)
{
    // A vertical line from far above down to row 3 clears the same pixels as
    // one that starts just above the image.
    const int least = std::numeric_limits<int>::min();
    cv::Mat far, near;
    ASSERT_EQ(AlgManulCut(testimages::Grey(8, 8, 255), {{4, least}, {4, 3}}, far), 0);
    ASSERT_EQ(AlgManulCut(testimages::Grey(8, 8, 255), {{4, -50}, {4, 3}}, near), 0);
    EXPECT_TRUE(testimages::SameImage(far, near));
    EXPECT_EQ(far.at<uchar>(0, 4), 0);
    EXPECT_EQ(far.at<uchar>(3, 4), 0);
    EXPECT_EQ(far.at<uchar>(6, 4), 255);
}

} // namespace

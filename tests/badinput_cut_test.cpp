// Cut lines that reach far outside the binary image (those to the ends of the
// integer range, which once crashed the thick line, are fuzzing regressions).

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

TEST(BadInputCut, AFarReachingLineCutsWhatItsNearPartCuts)
{
    const int least = std::numeric_limits<int>::min();
    cv::Mat far, near;
    // A vertical line from far above down to row 3 clears the same pixels as
    // one that starts just above the image.
    ASSERT_EQ(AlgManulCut(testimages::Grey(8, 8, 255), {{4, least}, {4, 3}}, far), 0);
    ASSERT_EQ(AlgManulCut(testimages::Grey(8, 8, 255), {{4, -50}, {4, 3}}, near), 0);
    EXPECT_TRUE(testimages::SameImage(far, near));
    EXPECT_EQ(far.at<uchar>(0, 4), 0);
    EXPECT_EQ(far.at<uchar>(3, 4), 0);
    EXPECT_EQ(far.at<uchar>(6, 4), 255);
}

} // namespace

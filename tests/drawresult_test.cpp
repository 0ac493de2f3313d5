// Painting contours into a colour copy of an image.

#include "autocount/alg/alg.h"
#include "support/testimages.h"

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

namespace {

/// The outline of the 3×3 block from (2,2) to (4,4).
ContourList Square()
{
    return {{{2, 2}, {2, 3}, {2, 4}, {3, 4}, {4, 4}, {4, 3}, {4, 2}, {3, 2}}};
}

cv::Vec3b At(const cv::Mat& image, int x, int y)
{
    return image.at<cv::Vec3b>(y, x);
}

TEST(AlgDrawResult, NoContoursLeaveTheOutputAloneAndAnUnknownModeOnlyCopies)
{
    cv::Mat grey = testimages::Grey(8, 8, 40);
    cv::Mat dst;
    EXPECT_EQ(AlgDrawResult(grey, {}, ALG_DRAW_OUTLINE, 1, 2, 3, dst), 2);
    EXPECT_TRUE(dst.empty());
    for (int mode : {40, 43, 0}) {
        SCOPED_TRACE(mode);
        dst.release();
        EXPECT_EQ(AlgDrawResult(grey, Square(), mode, 255, 0, 0, dst), 3);
        EXPECT_TRUE(testimages::SameImage(dst, testimages::Colour(8, 8, 40, 40, 40)));
    }
}

TEST(AlgDrawResult, OutlineUsesRedGreenBlueArgumentsAsBgrPixelsOnACopy)
{
    cv::Mat colour = testimages::Colour(8, 8, 1, 2, 3);
    cv::Mat dst;
    ASSERT_EQ(AlgDrawResult(colour, Square(), ALG_DRAW_OUTLINE, 200, 100, 50, dst), 0);
    const cv::Vec3b drawn(50, 100, 200);
    EXPECT_EQ(At(dst, 2, 2), drawn);
    EXPECT_EQ(At(dst, 3, 3), cv::Vec3b(1, 2, 3));    // inside stays
    EXPECT_EQ(At(colour, 2, 2), cv::Vec3b(1, 2, 3)); // the source is untouched

    // Filled mode paints the 9 pixels of the block.
    ASSERT_EQ(AlgDrawResult(colour, Square(), ALG_DRAW_FILLED, 10, 20, 30, dst), 0);
    cv::Mat painted;
    cv::inRange(dst, cv::Scalar(30, 20, 10), cv::Scalar(30, 20, 10), painted);
    EXPECT_EQ(cv::countNonZero(painted), 9);
}

} // namespace

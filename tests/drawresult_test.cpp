// Painting contours into a colour copy of an image.

#include "autocount/alg/alg.h"
#include "support/testimages.h"

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

TEST(AlgDrawResult, EmptySourceLeavesTheOutputAlone)
{
    cv::Mat dst = testimages::Grey(2, 2, 7);
    const uchar* before = dst.data;
    EXPECT_EQ(AlgDrawResult(cv::Mat(), Square(), ALG_DRAW_OUTLINE, 1, 2, 3, dst), 1);
    EXPECT_EQ(AlgDrawResult(cv::Mat(0, 5, CV_8UC3), Square(), ALG_DRAW_OUTLINE, 1, 2, 3, dst), 1);
    EXPECT_EQ(dst.data, before);
}

TEST(AlgDrawResult, NoContoursLeavesTheOutputAlone)
{
    cv::Mat dst;
    EXPECT_EQ(AlgDrawResult(testimages::Grey(8, 8), {}, ALG_DRAW_OUTLINE, 1, 2, 3, dst), 2);
    EXPECT_TRUE(dst.empty());
}

TEST(AlgDrawResult, AnUnknownModeStillMakesTheColourCopy)
{
    cv::Mat grey = testimages::Grey(8, 8, 40);
    cv::Mat dst;
    for (int mode : {40, 43, 0}) {
        SCOPED_TRACE(mode);
        dst.release();
        EXPECT_EQ(AlgDrawResult(grey, Square(), mode, 255, 0, 0, dst), 3);
        EXPECT_TRUE(testimages::SameImage(dst, testimages::Colour(8, 8, 40, 40, 40)));
    }
}

TEST(AlgDrawResult, OutlineUsesRedGreenBlueArgumentsAsBgrPixels)
{
    cv::Mat grey = testimages::Grey(8, 8, 0);
    cv::Mat dst;
    ASSERT_EQ(AlgDrawResult(grey, Square(), ALG_DRAW_OUTLINE, 200, 100, 50, dst), 0);
    ASSERT_EQ(dst.type(), CV_8UC3);
    const cv::Vec3b colour(50, 100, 200);
    EXPECT_EQ(At(dst, 2, 2), colour);
    EXPECT_EQ(At(dst, 4, 3), colour);
    EXPECT_EQ(At(dst, 3, 4), colour);
    EXPECT_EQ(At(dst, 3, 3), cv::Vec3b(0, 0, 0)); // inside stays
    EXPECT_EQ(At(dst, 5, 5), cv::Vec3b(0, 0, 0));
    EXPECT_EQ(cv::countNonZero(grey), 0); // the source is untouched
}

TEST(AlgDrawResult, FilledModeFillsTheInside)
{
    cv::Mat dst;
    ASSERT_EQ(AlgDrawResult(testimages::Grey(8, 8, 0), Square(), ALG_DRAW_FILLED, 10, 20, 30, dst),
              0);
    int painted = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            if (At(dst, x, y) == cv::Vec3b(30, 20, 10))
                ++painted;
    EXPECT_EQ(painted, 9);
    EXPECT_EQ(At(dst, 3, 3), cv::Vec3b(30, 20, 10));
}

TEST(AlgDrawResult, AColourSourceIsCopiedNotShared)
{
    cv::Mat colour = testimages::Colour(8, 8, 1, 2, 3);
    cv::Mat dst;
    ASSERT_EQ(AlgDrawResult(colour, Square(), ALG_DRAW_OUTLINE, 255, 255, 255, dst), 0);
    EXPECT_NE(dst.data, colour.data);
    EXPECT_EQ(At(colour, 2, 2), cv::Vec3b(1, 2, 3));
    EXPECT_EQ(At(dst, 2, 2), cv::Vec3b(255, 255, 255));
    EXPECT_EQ(At(dst, 0, 0), cv::Vec3b(1, 2, 3));
}

} // namespace

// Cut lines drawn into the binary image, and the closing that merges pieces.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

using testimages::SameImage;

int Pieces(const cv::Mat& binary)
{
    cv::Mat labels;
    return cv::connectedComponents(binary, labels, 8) - 1;
}

// True when every pixel farther than @p margin rows from row @p row kept the
// value 255.
bool UntouchedAwayFromRow(const cv::Mat& image, int row, int margin)
{
    for (int r = 0; r < image.rows; ++r)
        if (std::abs(r - row) > margin && cv::countNonZero(image.row(r) != 255) > 0)
            return false;
    return true;
}

TEST(ManualCutTest, TwoPointsDrawOneLineTwoPixelsThick)
{
    const cv::Mat object = testimages::Grey(20, 30, 255);
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(object, {{0, 10}, {29, 10}}, out), 0);
    EXPECT_EQ(cv::countNonZero(object != 255), 0); // the input is copied
    EXPECT_EQ(Pieces(out), 2);
    EXPECT_EQ(cv::countNonZero(out.row(10)), 0);
    EXPECT_TRUE(UntouchedAwayFromRow(out, 10, 1));
    // Thickness 2 in the library's terms: the line covers its own row and
    // the rows on either side (3 zero rows at every column).
    for (int c = 0; c < 30; ++c) {
        const int zeros = 20 - cv::countNonZero(out.col(c));
        EXPECT_EQ(zeros, 3) << "column " << c;
    }
}

TEST(ManualCutTest, NPointsDrawNMinusOneSegments)
{
    cv::Mat object = testimages::Grey(40, 40, 255);
    cv::Mat out;
    // An L from the top edge down the middle, then right to the edge: it cuts
    // off the upper right quarter.
    ASSERT_EQ(AlgManulCut(object, {{20, 0}, {20, 20}, {39, 20}}, out), 0);
    EXPECT_EQ(Pieces(out), 2);
    for (int y = 0; y <= 20; ++y)
        EXPECT_EQ(out.at<uchar>(y, 20), 0);
    for (int x = 20; x < 40; ++x)
        EXPECT_EQ(out.at<uchar>(20, x), 0);
    // The two segments only: no line from the last point back to the first.
    EXPECT_EQ(out.at<uchar>(10, 30), 255);
}

TEST(ManualCutTest, OnePointDrawsNothing)
{
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(testimages::Grey(10, 10, 255), {{5, 5}}, out), 0);
    EXPECT_TRUE(SameImage(out, testimages::Grey(10, 10, 255)));
}

TEST(ManualCutTest, ChannelCodes)
{
    const cv::Mat keep = testimages::Grey(3, 3, 9);
    cv::Mat out = keep;
    EXPECT_EQ(AlgManulCut(cv::Mat(), {{0, 0}, {1, 1}}, out), 1);
    EXPECT_EQ(AlgManulCut(testimages::Colour(10, 10, 255, 255, 255), {{0, 5}, {9, 5}}, out), 2);
    EXPECT_EQ(out.data, keep.data);

    // Two and four channels are cut, every channel to 0.
    for (int channels : {2, 4}) {
        cv::Mat multi(10, 10, CV_8UC(channels), cv::Scalar::all(200));
        ASSERT_EQ(AlgManulCut(multi, {{0, 5}, {9, 5}}, out), 0);
        EXPECT_EQ(out.channels(), channels);
        std::vector<cv::Mat> planes;
        cv::split(out, planes);
        for (const cv::Mat& plane : planes)
            EXPECT_EQ(cv::countNonZero(plane.row(5)), 0);
    }
}

TEST(MergeTest, ClosesGapsOfTwoPixelsAndKeepsWiderOnes)
{
    // Two blocks 2 pixels apart become one rectangle; a 3-pixel gap stays.
    cv::Mat binary = testimages::Grey(20, 40, 0);
    binary(cv::Rect(0, 2, 10, 6)).setTo(255);
    binary(cv::Rect(12, 2, 10, 6)).setTo(255);
    binary(cv::Rect(0, 12, 10, 6)).setTo(255);
    binary(cv::Rect(13, 12, 10, 6)).setTo(255);
    cv::Mat expected = binary.clone();
    expected(cv::Rect(10, 2, 2, 6)).setTo(255);

    cv::Mat out;
    ASSERT_EQ(AlgMerge(binary, out), 0);
    EXPECT_TRUE(SameImage(out, expected));
}

TEST(MergeTest, InPlaceOnTheSameImage)
{
    cv::Mat binary = testimages::Grey(10, 20, 0);
    binary(cv::Rect(0, 2, 8, 6)).setTo(255);
    binary(cv::Rect(10, 2, 8, 6)).setTo(255);
    ASSERT_EQ(AlgMerge(binary, binary), 0);
    EXPECT_EQ(cv::countNonZero(binary), 18 * 6);
}

TEST(MergeTest, ChannelCodes)
{
    const cv::Mat keep = testimages::Grey(3, 3, 9);
    cv::Mat out = keep;
    EXPECT_EQ(AlgMerge(cv::Mat(), out), 1);
    EXPECT_EQ(AlgMerge(cv::Mat(5, 5, CV_8UC2, cv::Scalar::all(255)), out), 2);
    EXPECT_EQ(AlgMerge(testimages::Colour(5, 5, 255, 255, 255), out), 2);
    EXPECT_EQ(AlgMerge(cv::Mat(5, 5, CV_8UC4, cv::Scalar::all(255)), out), 2);
    EXPECT_EQ(out.data, keep.data);
}

} // namespace

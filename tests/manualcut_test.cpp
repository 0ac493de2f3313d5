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

TEST(ManualCutTest, TwoPointsDrawOneLineTwoPixelsThick)
{
    const cv::Mat object = testimages::Grey(20, 30, 255);
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(object, {{0, 10}, {29, 10}}, out), 0);
    EXPECT_EQ(cv::countNonZero(object != 255), 0); // the input is copied
    // Thickness 2 in the library's terms: the line covers its own row and
    // the rows on either side, and nothing else.
    EXPECT_EQ(cv::countNonZero(out.rowRange(9, 12)), 0);
    EXPECT_EQ(cv::countNonZero(out), 17 * 30);
}

TEST(ManualCutTest, NPointsDrawNMinusOneSegments)
{
    cv::Mat object = testimages::Grey(40, 40, 255);
    cv::Mat out;
    // An L from the top edge down the middle, then right to the edge: it cuts
    // off the upper right quarter.
    ASSERT_EQ(AlgManulCut(object, {{20, 0}, {20, 20}, {39, 20}}, out), 0);
    EXPECT_EQ(Pieces(out), 2);
    EXPECT_EQ(cv::countNonZero(out.col(20).rowRange(0, 21)), 0);
    EXPECT_EQ(cv::countNonZero(out.row(20).colRange(20, 40)), 0);
    // The two segments only: no line from the last point back to the first.
    EXPECT_EQ(out.at<uchar>(10, 30), 255);
}

TEST(ManualCutTest, OnePointDrawsNothingAndChannelsDecideTheCode)
{
    cv::Mat out;
    ASSERT_EQ(AlgManulCut(testimages::Grey(10, 10, 255), {{5, 5}}, out), 0);
    EXPECT_TRUE(SameImage(out, testimages::Grey(10, 10, 255)));

    const cv::Mat keep = out;
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

TEST(MergeTest, ClosesGapsOfTwoPixelsInPlaceAndKeepsWiderOnes)
{
    // Two blocks 2 pixels apart become one rectangle; a 3-pixel gap stays.
    cv::Mat binary = testimages::Grey(20, 40, 0);
    binary(cv::Rect(0, 2, 10, 6)).setTo(255);
    binary(cv::Rect(12, 2, 10, 6)).setTo(255);
    binary(cv::Rect(0, 12, 10, 6)).setTo(255);
    binary(cv::Rect(13, 12, 10, 6)).setTo(255);
    cv::Mat expected = binary.clone();
    expected(cv::Rect(10, 2, 2, 6)).setTo(255);
    ASSERT_EQ(AlgMerge(binary, binary), 0);
    EXPECT_TRUE(SameImage(binary, expected));
}

} // namespace

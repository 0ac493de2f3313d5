// The automatic cut: objects rebuilt from their outlines, cores from the
// erosion ladder, the watershed and the cleared boundaries.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <random>

namespace {

using testimages::SameImage;

int Pieces(const cv::Mat& binary)
{
    cv::Mat labels;
    return cv::connectedComponents(binary, labels, 8) - 1; // without the background
}

// What a single object without a neck comes back as: itself plus the
// background pixels of its bounding box that have a 4-neighbour in it (they
// lie at level 255 and are labelled as the flood's first ring).
cv::Mat WithFringe(const cv::Mat& object)
{
    std::vector<cv::Point> points;
    cv::findNonZero(object, points);
    const cv::Rect box = cv::boundingRect(points);
    cv::Mat grown;
    cv::dilate(object, grown, cv::getStructuringElement(cv::MORPH_CROSS, {3, 3}));
    cv::Mat expected = object.clone();
    grown(box).copyTo(expected(box));
    return expected;
}

TEST(AutoCutTest, ObjectsWithoutANeckComeBackWithTheirFringeOnePixelThickOnesVanish)
{
    cv::Mat a = testimages::Grey(50, 50, 0);
    cv::Mat b = testimages::Grey(50, 50, 0);
    testimages::Disc(a, {15, 15}, 10);
    testimages::Disc(b, {33, 31}, 10);   // the two boxes overlap
    testimages::Disc(b, {33, 31}, 4, 0); // a hole, filled
    cv::Mat input = a | b;
    input(cv::Rect(3, 46, 18, 1)).setTo(255); // one pixel tall
    input(cv::Rect(47, 2, 1, 10)).setTo(255); // one pixel wide
    input.at<uchar>(35, 3) = 255;             // one pixel
    const cv::Mat before = input.clone();
    cv::Mat filled = b.clone();
    testimages::Disc(filled, {33, 31}, 4);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(input, out), 0);
    EXPECT_TRUE(SameImage(out, WithFringe(a) | WithFringe(filled)));
    EXPECT_TRUE(SameImage(input, before));
}

TEST(AutoCutTest, DiscsJoinedByANeckComeBackAsTwoPieces)
{
    cv::Mat binary = testimages::Grey(60, 110, 0);
    testimages::Disc(binary, {30, 28}, 18);
    testimages::Disc(binary, {80, 28}, 18);
    binary(cv::Rect(30, 25, 51, 7)).setTo(255);
    ASSERT_EQ(Pieces(binary), 1);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    EXPECT_EQ(Pieces(out), 2);
    // Only cut lines are removed from the object itself.
    const int removed = cv::countNonZero(binary & ~out);
    EXPECT_GT(removed, 0);
    EXPECT_LT(removed, 30);
}

TEST(AutoCutTest, UprightRectangleThatFillsItsBoxLosesOnlyItsCorners)
{
    // The box has no background pixel; the distance map still falls off
    // towards its edge, and only the four corners, at level 255 with no
    // lower 4-neighbour, stay unreached.
    cv::Mat binary = testimages::Grey(30, 50, 0);
    binary(cv::Rect(10, 5, 20, 12)).setTo(255);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    cv::Mat expected = binary.clone();
    for (const cv::Point corner : {cv::Point(10, 5), {29, 5}, {10, 16}, {29, 16}})
        expected.at<uchar>(corner) = 0;
    EXPECT_TRUE(SameImage(out, expected));
    ASSERT_EQ(AlgAutoCutROI(testimages::Grey(12, 20, 255), out), 0);
    EXPECT_TRUE(SameImage(out, expected(cv::Rect(10, 5, 20, 12))));
}

// Many objects, a third of them touching, cut with one thread and with all.
TEST(AutoCutTest, ParallelCutIsBitIdenticalToASequentialOne)
{
    cv::Mat binary = testimages::Grey(400, 600, 0);
    std::mt19937 random(7);
    std::uniform_int_distribution<int> radius(6, 16);
    for (int y = 25; y < 400; y += 50) {
        for (int x = 25; x < 600; x += 50) {
            const int r = radius(random);
            testimages::Disc(binary, {x, y}, r);
            if ((x / 50 + y / 50) % 3 == 0)
                testimages::Disc(binary, {x + r + 4, y + 3}, r - 1);
        }
    }
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    cv::Mat sequential;
    ASSERT_EQ(AlgAutoCut(binary, sequential), 0);
    cv::setNumThreads(std::max(2, threads));
    cv::Mat parallel;
    ASSERT_EQ(AlgAutoCut(binary, parallel), 0);
    cv::setNumThreads(threads);
    EXPECT_TRUE(SameImage(parallel, sequential));
    EXPECT_GT(Pieces(sequential), Pieces(binary));
}

} // namespace

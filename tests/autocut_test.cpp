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

cv::Rect ObjectBox(const cv::Mat& binary)
{
    std::vector<cv::Point> points;
    cv::findNonZero(binary, points);
    return cv::boundingRect(points);
}

// What a single object without a neck comes back as: itself plus the
// background pixels of its bounding box that have a 4-neighbour in it (they
// lie at level 255 and are labelled as the flood's first ring).
cv::Mat WithFringe(const cv::Mat& object)
{
    const cv::Rect box = ObjectBox(object);
    cv::Mat expected = object.clone();
    for (int r = box.y; r < box.y + box.height; ++r) {
        for (int c = box.x; c < box.x + box.width; ++c) {
            if (object.at<uchar>(r, c))
                continue;
            const bool touches = (r > 0 && object.at<uchar>(r - 1, c)) ||
                                 (r + 1 < object.rows && object.at<uchar>(r + 1, c)) ||
                                 (c > 0 && object.at<uchar>(r, c - 1)) ||
                                 (c + 1 < object.cols && object.at<uchar>(r, c + 1));
            if (touches)
                expected.at<uchar>(r, c) = 255;
        }
    }
    return expected;
}

TEST(AutoCutTest, ResultCodesAndUntouchedOutput)
{
    const cv::Mat keep = testimages::Grey(2, 2, 7);
    cv::Mat out = keep;
    EXPECT_EQ(AlgAutoCut(cv::Mat(), out), 1);
    EXPECT_EQ(AlgAutoCutROI(cv::Mat(), out), 1);
    // Three channels: 1 from the whole-image cut, 2 from the one-object cut.
    EXPECT_EQ(AlgAutoCut(testimages::Colour(10, 10, 255, 255, 255), out), 1);
    EXPECT_EQ(AlgAutoCutROI(testimages::Colour(10, 10, 255, 255, 255), out), 2);
    EXPECT_EQ(out.data, keep.data);
    EXPECT_TRUE(SameImage(out, testimages::Grey(2, 2, 7)));
}

TEST(AutoCutTest, AllZeroInputGivesAllZeroOutput)
{
    cv::Mat out;
    EXPECT_EQ(AlgAutoCut(testimages::Grey(20, 30, 0), out), 0);
    EXPECT_TRUE(SameImage(out, testimages::Grey(20, 30, 0)));
    EXPECT_EQ(AlgAutoCutROI(testimages::Grey(20, 30, 0), out), 0);
    EXPECT_TRUE(SameImage(out, testimages::Grey(20, 30, 0)));
}

TEST(AutoCutTest, DiscWithoutNeckComesBackWholeWithItsFringe)
{
    cv::Mat binary = testimages::Grey(50, 50, 0);
    testimages::Disc(binary, {25, 25}, 15);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    EXPECT_TRUE(SameImage(out, WithFringe(binary)));
    EXPECT_EQ(out.at<uchar>(10, 10), 0); // the box corner is not 4-adjacent
}

TEST(AutoCutTest, OverlappingBoxesKeepBothObjects)
{
    cv::Mat a = testimages::Grey(50, 50, 0);
    cv::Mat b = testimages::Grey(50, 50, 0);
    testimages::Disc(a, {15, 15}, 10);
    testimages::Disc(b, {33, 31}, 10);
    ASSERT_TRUE(ObjectBox(a).contains({24, 22}) && ObjectBox(b).contains({24, 22}));
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(a | b, out), 0);
    EXPECT_TRUE(SameImage(out, WithFringe(a) | WithFringe(b)));
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
    EXPECT_EQ(out.at<uchar>(28, 30), 255);
    EXPECT_EQ(out.at<uchar>(28, 80), 255);
    // Only cut lines are removed from the object itself.
    cv::Mat removed = binary & ~out;
    EXPECT_GT(cv::countNonZero(removed), 0);
    EXPECT_LT(cv::countNonZero(removed), 30);
}

TEST(AutoCutTest, ObjectsOnePixelThickVanish)
{
    cv::Mat binary = testimages::Grey(20, 30, 0);
    binary(cv::Rect(3, 5, 18, 1)).setTo(255);  // one pixel tall
    binary(cv::Rect(25, 8, 1, 10)).setTo(255); // one pixel wide
    binary.at<uchar>(15, 5) = 255;             // one pixel
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    EXPECT_TRUE(SameImage(out, testimages::Grey(20, 30, 0)));
}

TEST(AutoCutTest, HolesAreFilled)
{
    cv::Mat disc = testimages::Grey(40, 40, 0);
    testimages::Disc(disc, {20, 20}, 12);
    cv::Mat ring = disc.clone();
    testimages::Disc(ring, {20, 20}, 5, 0);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(ring, out), 0);
    EXPECT_TRUE(SameImage(out, WithFringe(disc)));
}

TEST(AutoCutTest, UprightRectangleThatFillsItsBoxSurvives)
{
    // The object's box has no background pixel. Its distance map still
    // falls off towards the box edge, so the rectangle comes back; only its
    // four corners, at level 255 with no lower 4-neighbour, stay unreached.
    cv::Mat binary = testimages::Grey(30, 50, 0);
    binary(cv::Rect(10, 5, 20, 12)).setTo(255);
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    cv::Mat expected = binary.clone();
    expected.at<uchar>(5, 10) = 0;
    expected.at<uchar>(5, 29) = 0;
    expected.at<uchar>(16, 10) = 0;
    expected.at<uchar>(16, 29) = 0;
    EXPECT_TRUE(SameImage(out, expected));

    cv::Mat piece;
    ASSERT_EQ(AlgAutoCutROI(testimages::Grey(12, 20, 255), piece), 0);
    EXPECT_TRUE(SameImage(piece, expected(cv::Rect(10, 5, 20, 12))));
}

TEST(AutoCutTest, InputIsNotModified)
{
    cv::Mat binary = testimages::Grey(40, 40, 0);
    testimages::Disc(binary, {20, 20}, 12);
    testimages::Disc(binary, {20, 20}, 4, 0);
    const cv::Mat before = binary.clone();
    cv::Mat out;
    ASSERT_EQ(AlgAutoCut(binary, out), 0);
    EXPECT_TRUE(SameImage(binary, before));
    EXPECT_NE(out.data, binary.data);
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

// The module's seeded flooding: seed labelling, the level order, the stop at
// level 255 and the tie-breaks, on tiny images worked out by hand.

#include "autocount/alg/alg.h"

#include "support/testimages.h"

#include <gtest/gtest.h>

namespace {

using testimages::SameImage;

cv::Mat Bytes(int rows, int cols, std::initializer_list<int> values)
{
    cv::Mat m(rows, cols, CV_8UC1);
    auto it = values.begin();
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < cols; ++c)
            m.at<uchar>(r, c) = static_cast<uchar>(*it++);
    return m;
}

cv::Mat Flood(const cv::Mat& relief, cv::Mat& seeds)
{
    cv::Mat labels;
    AlgWatershed(relief, seeds, labels);
    return labels;
}

TEST(WatershedTest, OneSeedFloodsBelow255AndLabelsOnlyTheFirstRingOf255)
{
    // The open basin (levels 0..20 in the top-left 3 × 3) is flooded; of the
    // 255 plateau only the pixels with a 4-neighbour in the basin are
    // labelled; (3, 3), a diagonal neighbour, and everything further out stay
    // unreached.
    cv::Mat relief = testimages::Grey(5, 7, 255);
    relief(cv::Rect(0, 0, 3, 3)).setTo(0);
    relief.at<uchar>(1, 1) = 10;
    relief.at<uchar>(1, 2) = 20;
    cv::Mat seeds = testimages::Grey(5, 7, 0);
    seeds.at<uchar>(1, 1) = 1;
    cv::Mat expected = testimages::Grey(5, 7, 0);
    expected(cv::Rect(0, 0, 4, 3)).setTo(1);
    expected(cv::Rect(0, 3, 3, 1)).setTo(1);
    EXPECT_TRUE(SameImage(Flood(relief, seeds), expected));
    EXPECT_EQ(seeds.at<uchar>(1, 1), 127);
}

TEST(WatershedTest, EnclosedPlateauOf255KeepsItsInsideUnreached)
{
    cv::Mat relief = testimages::Grey(5, 5, 0);
    relief(cv::Rect(1, 1, 3, 3)).setTo(255);
    cv::Mat seeds = testimages::Grey(5, 5, 0);
    seeds.at<uchar>(4, 4) = 1;
    cv::Mat expected = testimages::Grey(5, 5, 1);
    expected.at<uchar>(2, 2) = 0;
    EXPECT_TRUE(SameImage(Flood(relief, seeds), expected));
}

TEST(WatershedTest, LowerLevelsFloodFirstAndTiesGoToTheLowerLabel)
{
    cv::Mat seeds = Bytes(1, 5, {1, 0, 0, 0, 1});
    // Both floods reach the middle pixel in the same pass; region 1 drains
    // its batch first.
    EXPECT_TRUE(SameImage(Flood(testimages::Grey(1, 5, 0), seeds), Bytes(1, 5, {1, 1, 1, 2, 2})));
    EXPECT_TRUE(SameImage(seeds, Bytes(1, 5, {127, 0, 0, 0, 127})));
    // Square: the whole anti-diagonal is contested and goes to region 1.
    seeds = Bytes(3, 3, {1, 0, 0, 0, 0, 0, 0, 0, 1});
    EXPECT_TRUE(SameImage(Flood(testimages::Grey(3, 3, 0), seeds),
                          Bytes(3, 3, {1, 1, 1, 1, 1, 2, 1, 2, 2})));
    // Region 2 crosses the valley at level 10 before region 1 leaves level 0
    // for 50; at level 50 region 1 still takes the middle pixel first.
    seeds = Bytes(1, 7, {1, 0, 0, 0, 0, 0, 1});
    EXPECT_TRUE(SameImage(Flood(Bytes(1, 7, {0, 50, 50, 50, 10, 10, 0}), seeds),
                          Bytes(1, 7, {1, 1, 1, 2, 2, 2, 2})));
    // Region 2 reaches level 50 first (at level 0 it labels (0, 4)); region 1
    // only gets there from level 10. The turns at 50 still go in label order:
    // region 1 drains (0, 2) and takes (0, 3), so region 2's (0, 4) finds it
    // labelled.
    seeds = Bytes(1, 6, {1, 0, 0, 0, 0, 1});
    EXPECT_TRUE(SameImage(Flood(Bytes(1, 6, {0, 10, 50, 50, 50, 0}), seeds),
                          Bytes(1, 6, {1, 1, 1, 1, 2, 2})));
}

TEST(WatershedTest, OnlyOnesSeedEightConnectedRegionsLabelledInRasterOrder)
{
    // The diagonal pair is one region; the pixel at (0, 3) is found first.
    // Seed values other than 1 mark nothing and stay as they are.
    cv::Mat seeds = Bytes(3, 4, {0, 2, 0, 1, 1, 0, 0, 254, 0, 1, 127, 0});
    cv::Mat labels = testimages::Grey(2, 2, 9); // replaced, whatever it held
    AlgWatershed(testimages::Grey(3, 4, 255), seeds, labels);
    EXPECT_TRUE(SameImage(labels, Bytes(3, 4, {0, 0, 0, 1, 2, 0, 0, 0, 0, 2, 0, 0})));
    EXPECT_TRUE(SameImage(seeds, Bytes(3, 4, {0, 2, 0, 127, 127, 0, 0, 254, 0, 127, 127, 0})));
}

TEST(WatershedTest, The256thRegionIsWrittenAsZeroAndOtherFloodsOverwriteIt)
{
    // Seeds at the even columns 0..510 (regions 1..256) and at column 514
    // (region 257, label 1). Only columns 509..515 lie below 255, so only
    // region 257 floods (seeds on level 255 never do), and it runs over the
    // 256th seed at column 510.
    const int cols = 516;
    cv::Mat relief = testimages::Grey(1, cols, 255);
    relief(cv::Rect(509, 0, 7, 1)).setTo(0);
    cv::Mat seeds = testimages::Grey(1, cols, 0);
    for (int c = 0; c <= 510; c += 2)
        seeds.at<uchar>(0, c) = 1;
    seeds.at<uchar>(0, 514) = 1;

    const cv::Mat labels = Flood(relief, seeds);
    cv::Mat expected = testimages::Grey(1, cols, 0);
    for (int c = 0; c <= 508; c += 2)
        expected.at<uchar>(0, c) = static_cast<uchar>(c / 2 + 1);
    expected(cv::Rect(509, 0, 7, 1)).setTo(1);
    EXPECT_TRUE(SameImage(labels, expected));
    EXPECT_EQ(seeds.at<uchar>(0, 510), 127);
    EXPECT_EQ(seeds.at<uchar>(0, 514), 127);
}

TEST(WatershedTest, The256thRegionAloneInAClosedBasinEnds)
{
    // 32 × 32 single-pixel seeds on the even rows and columns of a 64 × 64
    // image; labels wrap, so regions 256, 512, 768 and 1024 read 0. Region
    // 256, at (14, 62), sits alone in a basin of level 0 walled by 255; no
    // other flood can enter it. The call must end, and the basin stays 0.
    cv::Mat relief = testimages::Grey(64, 64, 255);
    relief(cv::Rect(61, 13, 3, 3)).setTo(0);
    cv::Mat seeds = testimages::Grey(64, 64, 0);
    cv::Mat expected = testimages::Grey(64, 64, 0);
    for (int i = 0; i < 32; ++i) {
        for (int j = 0; j < 32; ++j) {
            seeds.at<uchar>(2 * i, 2 * j) = 1;
            expected.at<uchar>(2 * i, 2 * j) = static_cast<uchar>((i * 32 + j + 1) % 256);
        }
    }
    ASSERT_EQ(expected.at<uchar>(14, 62), 0);

    EXPECT_TRUE(SameImage(Flood(relief, seeds), expected));
    EXPECT_EQ(cv::countNonZero(seeds == 127), 1024);
    EXPECT_EQ(cv::countNonZero(seeds == 1), 0);
}

} // namespace

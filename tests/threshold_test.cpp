// Otsu threshold, automatic and manual binarisation through a region mask.

#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <climits>
#include <vector>

namespace {

using testimages::Grey;
using testimages::SameImage;

// 4 × 4: left half 50, right half 200.
cv::Mat TwoLevels()
{
    cv::Mat image = Grey(4, 4, 50);
    image(cv::Rect(2, 0, 2, 4)).setTo(200);
    return image;
}

TEST(AlgOtsu, TiesKeepTheFirstSplitAndTheLargerVarianceWins)
{
    // t < 50: w0 = 0, so 0/0 = NaN never wins; 50 <= t < 200 all give the
    // same σ and the first of them is kept; t >= 200: w1 = 0, NaN again.
    int threshold = -7;
    ASSERT_EQ(AlgOtsu(TwoLevels(), threshold), 0);
    EXPECT_EQ(threshold, 50);

    // Values 0, 100, 255, 255 (p = 1/4, 1/4, 1/2).
    // Split after 0:   means 0 and 610/3,  σ = (610/3)² · 3/16 ≈ 7752.
    // Split after 100: means 50 and 255,   σ = 205² · 1/4 ≈ 10506: wins at t = 100.
    ASSERT_EQ(AlgOtsu((cv::Mat_<uchar>(1, 4) << 0, 100, 255, 255), threshold), 0);
    EXPECT_EQ(threshold, 100);

    // A uniform image keeps the caller's value.
    threshold = 77;
    ASSERT_EQ(AlgOtsu(Grey(5, 5, 120), threshold), 0);
    EXPECT_EQ(threshold, 77);

    // Only the sub-image counts: the zeros around it would make three levels.
    cv::Mat parent = Grey(8, 8, 0);
    TwoLevels().copyTo(parent(cv::Rect(2, 2, 4, 4)));
    ASSERT_EQ(AlgOtsu(parent(cv::Rect(2, 2, 4, 4)), threshold), 0);
    EXPECT_EQ(threshold, 50);
}

TEST(AlgAuto2Bw, ColourInputUsesRedFirstGreyWeights)
{
    // Bytes (250, 0, 0) weigh 0.299·250 → 75 red first (29 blue first);
    // beside grey 50 the threshold is 50 red first (29 blue first).
    cv::Mat image = testimages::Colour(2, 2, 50, 50, 50);
    image.at<cv::Vec3b>(0, 1) = cv::Vec3b(250, 0, 0);
    cv::Mat bw;
    int threshold = -1;
    ASSERT_EQ(AlgAuto2Bw(image, cv::Mat(), ALG_BRIGHT_OBJECTS, bw, threshold), 0);
    EXPECT_EQ(threshold, 50);
    cv::Mat expected = Grey(2, 2);
    expected.at<uchar>(0, 1) = 255;
    EXPECT_TRUE(SameImage(bw, expected));
}

TEST(AlgAuto2Bw, OutsideTheMaskAFreshOutputIsZeroAndAnOutputOfTheRightSizeKept)
{
    const cv::Mat image = TwoLevels();
    cv::Mat mask = Grey(4, 4);
    mask(cv::Rect(0, 0, 4, 2)).setTo(255); // top half
    int threshold = -1;

    // A fresh output is zero outside the mask.
    cv::Mat fresh;
    ASSERT_EQ(AlgAuto2Bw(image, mask, ALG_BRIGHT_OBJECTS, fresh, threshold), 0);
    cv::Mat expected = Grey(4, 4);
    expected(cv::Rect(2, 0, 2, 2)).setTo(255);
    EXPECT_TRUE(SameImage(fresh, expected));

    // An output of the source's size keeps its buffer and, outside the mask,
    // what it held.
    cv::Mat kept = Grey(4, 4, 7);
    const uchar* buffer = kept.data;
    ASSERT_EQ(AlgAuto2Bw(image, mask, ALG_BRIGHT_OBJECTS, kept, threshold), 0);
    expected(cv::Rect(0, 2, 4, 2)).setTo(7);
    EXPECT_EQ(kept.data, buffer);
    EXPECT_TRUE(SameImage(kept, expected));
}

TEST(AlgAuto2Bw, UnknownPolarityFailsAfterWritingTheThreshold)
{
    cv::Mat bw = Grey(1, 1, 3);
    int threshold = -1;
    EXPECT_EQ(AlgAuto2Bw(TwoLevels(), cv::Mat(), 3, bw, threshold), 1);
    EXPECT_EQ(threshold, 50);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));
}

// A uniform image keeps the caller's threshold, however far out it is.
TEST(AlgAuto2Bw, UniformImageKeepsTheCallersThreshold)
{
    const cv::Mat uniform = Grey(3, 20, 7);
    for (int t : {INT_MIN, -1, 6, 7, 255, INT_MAX}) {
        for (int polarity : {ALG_BRIGHT_OBJECTS, ALG_DARK_OBJECTS}) {
            cv::Mat dst;
            int threshold = t;
            ASSERT_EQ(AlgAuto2Bw(uniform, cv::Mat(), polarity, dst, threshold), 0);
            EXPECT_EQ(threshold, t);
            const bool object = polarity == ALG_BRIGHT_OBJECTS ? 7 > t : 7 <= t;
            EXPECT_TRUE(SameImage(dst, Grey(3, 20, object ? 255 : 0))) << t << " " << polarity;
        }
    }
}

TEST(AlgManual2Bw, BandIncludesBothBoundsAndIsEmptyWhenReversed)
{
    cv::Mat image = (cv::Mat_<uchar>(1, 4) << 99, 100, 150, 151);
    cv::Mat bw;
    ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), 100, 150, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, (cv::Mat_<uchar>(1, 4) << 0, 255, 255, 0)));

    ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), 151, 99, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, Grey(1, 4)));

    // Outside the mask is zero even where the output held other values.
    cv::Mat mask = Grey(4, 4);
    mask(cv::Rect(1, 1, 2, 2)).setTo(255);
    bw = Grey(4, 4, 7);
    ASSERT_EQ(AlgManual2Bw(TwoLevels(), mask, 0, 255, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, mask));
}

TEST(AlgManual2Bw, RejectsBadCodesWithoutTouchingTheOutput)
{
    const cv::Mat colour = testimages::Colour(2, 2, 1, 2, 3);
    cv::Mat bw = Grey(1, 1, 3);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, 23, ALG_PLANE_0, bw), 1);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, ALG_SPACE_PLANES, ALG_PLANE_HUE, bw), 2);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, ALG_SPACE_HSI, ALG_PLANE_2, bw), 2);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));
}

TEST(Binarisation, SameResultOnOneThreadAndWithoutWideVectors)
{
    cv::Mat grey(600, 900, CV_8UC1), colour(600, 900, CV_8UC3), mask(600, 900, CV_8UC1);
    cv::RNG rng(12345);
    rng.fill(grey, cv::RNG::NORMAL, 110, 40);
    rng.fill(colour, cv::RNG::UNIFORM, 0, 256);
    rng.fill(mask, cv::RNG::UNIFORM, 0, 2);
    auto run = [&](std::vector<cv::Mat>& out) {
        out.assign(6, cv::Mat());
        int t[2] = {-1, -1};
        AlgAuto2Bw(grey, mask, ALG_BRIGHT_OBJECTS, out[0], t[0]);
        AlgAuto2Bw(colour, cv::Mat(), ALG_DARK_OBJECTS, out[1], t[1]);
        AlgManual2Bw(colour, mask, 40, 180, ALG_SPACE_PLANES, ALG_PLANE_2, out[2]);
        for (int k = 0; k < 3; ++k)
            AlgManual2Bw(colour, mask, 40, 180, ALG_SPACE_HSI, ALG_PLANE_HUE + k, out[3 + k]);
        out.push_back((cv::Mat_<int>(1, 2) << t[0], t[1]));
    };
    std::vector<cv::Mat> many, one, narrow;
    run(many);
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    run(one);
    cv::setNumThreads(threads);
    cv::setUseOptimized(false); // the path of processors without 256-bit vectors
    run(narrow);
    cv::setUseOptimized(true);
    for (size_t k = 0; k < many.size(); ++k)
        EXPECT_TRUE(SameImage(many[k], one[k]) && SameImage(many[k], narrow[k])) << k;
}

} // namespace

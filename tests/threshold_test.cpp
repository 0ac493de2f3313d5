// Otsu threshold, automatic and manual binarisation through a region mask.

#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <climits>

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

// 255 where @p image equals @p value, 0 elsewhere.
cv::Mat Where(const cv::Mat& image, int value)
{
    return image == value;
}

// ------------------------------------------------------------------- Otsu

TEST(AlgOtsu, TwoLevelsGiveTheLowerLevel)
{
    // t < 50: w0 = 0, so 0/0 = NaN never wins; 50 <= t < 200 all give the
    // same σ and the first of them is kept; t >= 200: w1 = 0, NaN again.
    int threshold = -7;
    ASSERT_EQ(AlgOtsu(TwoLevels(), threshold), 0);
    EXPECT_EQ(threshold, 50);
}

TEST(AlgOtsu, PicksTheSplitWithTheLargerBetweenClassVariance)
{
    // Values 0, 100, 255, 255 (p = 1/4, 1/4, 1/2).
    // Split after 0:   means 0 and 610/3,  σ = (610/3)² · 3/16 ≈ 7752.
    // Split after 100: means 50 and 255,   σ = 205² · 1/4 ≈ 10506: wins at t = 100.
    cv::Mat image = (cv::Mat_<uchar>(1, 4) << 0, 100, 255, 255);
    int threshold = -1;
    ASSERT_EQ(AlgOtsu(image, threshold), 0);
    EXPECT_EQ(threshold, 100);
}

TEST(AlgOtsu, UniformImageKeepsTheCallersValue)
{
    int threshold = 77;
    ASSERT_EQ(AlgOtsu(Grey(5, 5, 120), threshold), 0);
    EXPECT_EQ(threshold, 77);
}

TEST(AlgOtsu, CountsOnlyTheSubImage)
{
    // Around the 50/200 block lie zeros, which would make three levels.
    cv::Mat parent = Grey(8, 8, 0);
    TwoLevels().copyTo(parent(cv::Rect(2, 2, 4, 4)));
    int threshold = -1;
    ASSERT_EQ(AlgOtsu(parent(cv::Rect(2, 2, 4, 4)), threshold), 0);
    EXPECT_EQ(threshold, 50);
}

TEST(AlgOtsu, EmptyImageFailsAndLeavesTheThreshold)
{
    int threshold = 9;
    EXPECT_EQ(AlgOtsu(cv::Mat(), threshold), 1);
    EXPECT_EQ(threshold, 9);
}

// ------------------------------------------------------------ automatic

TEST(AlgAuto2Bw, BrightObjectsLieAboveTheThresholdDarkOnesAtOrBelow)
{
    const cv::Mat image = TwoLevels();
    cv::Mat bright, dark;
    int t1 = -1, t2 = -1;
    ASSERT_EQ(AlgAuto2Bw(image, cv::Mat(), ALG_BRIGHT_OBJECTS, bright, t1), 0);
    ASSERT_EQ(AlgAuto2Bw(image, cv::Mat(), ALG_DARK_OBJECTS, dark, t2), 0);
    EXPECT_EQ(t1, 50);
    EXPECT_EQ(t2, 50);
    // The pixels of value T are background when bright, object when dark.
    EXPECT_TRUE(SameImage(bright, Where(image, 200)));
    EXPECT_TRUE(SameImage(dark, Where(image, 50)));
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

TEST(AlgAuto2Bw, UniformImageBinarisesWithTheIncomingThreshold)
{
    cv::Mat bw;
    int threshold = 100;
    ASSERT_EQ(AlgAuto2Bw(Grey(3, 3, 120), cv::Mat(), ALG_BRIGHT_OBJECTS, bw, threshold), 0);
    EXPECT_EQ(threshold, 100);
    EXPECT_TRUE(SameImage(bw, Grey(3, 3, 255)));
}

TEST(AlgAuto2Bw, MaskedCopyKeepsOrZeroesTheOutside)
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

    // An output of the right size keeps its pixels outside the mask.
    cv::Mat kept = Grey(4, 4, 7);
    const uchar* buffer = kept.data;
    ASSERT_EQ(AlgAuto2Bw(image, mask, ALG_BRIGHT_OBJECTS, kept, threshold), 0);
    EXPECT_EQ(kept.data, buffer);
    expected(cv::Rect(0, 2, 4, 2)).setTo(7);
    EXPECT_TRUE(SameImage(kept, expected));

    // Any non-zero mask byte selects; an empty mask selects everything.
    mask.setTo(1);
    ASSERT_EQ(AlgAuto2Bw(image, mask, ALG_BRIGHT_OBJECTS, kept, threshold), 0);
    EXPECT_TRUE(SameImage(kept, Where(image, 200)));
    ASSERT_EQ(AlgAuto2Bw(image, cv::Mat(), ALG_DARK_OBJECTS, kept, threshold), 0);
    EXPECT_TRUE(SameImage(kept, Where(image, 50)));
}

TEST(AlgAuto2Bw, UnknownPolarityFailsAfterWritingTheThreshold)
{
    cv::Mat bw = Grey(1, 1, 3);
    int threshold = -1;
    EXPECT_EQ(AlgAuto2Bw(TwoLevels(), cv::Mat(), 3, bw, threshold), 1);
    EXPECT_EQ(threshold, 50);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));

    threshold = -1;
    EXPECT_EQ(AlgAuto2Bw(cv::Mat(), cv::Mat(), ALG_BRIGHT_OBJECTS, bw, threshold), -1);
    EXPECT_EQ(threshold, -1);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));
}

// --------------------------------------------------------------- manual

TEST(AlgManual2Bw, BandIncludesBothBoundsAndIsEmptyWhenReversed)
{
    cv::Mat image = (cv::Mat_<uchar>(1, 4) << 99, 100, 150, 151);
    cv::Mat bw;
    ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), 100, 150, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, (cv::Mat_<uchar>(1, 4) << 0, 255, 255, 0)));

    ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), 151, 99, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, Grey(1, 4)));

    // One channel: the codes are not looked at.
    ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), 0, 255, 99, 98, bw), 0);
    EXPECT_TRUE(SameImage(bw, Grey(1, 4, 255)));
}

TEST(AlgManual2Bw, PixelPlanesAndHsiPlanes)
{
    // Bytes 10, 20, 30: pixel planes 10, 20, 30; H 21, S 127, I 20.
    const cv::Mat image = testimages::Colour(2, 3, 10, 20, 30);
    const cv::Mat all = Grey(2, 3, 255);
    const cv::Mat none = Grey(2, 3);
    struct Case
    {
        int space, plane, value;
    };
    const Case cases[] = {
        {ALG_SPACE_PLANES, ALG_PLANE_0, 10},        {ALG_SPACE_PLANES, ALG_PLANE_1, 20},
        {ALG_SPACE_PLANES, ALG_PLANE_2, 30},        {ALG_SPACE_HSI, ALG_PLANE_HUE, 21},
        {ALG_SPACE_HSI, ALG_PLANE_SATURATION, 127}, {ALG_SPACE_HSI, ALG_PLANE_INTENSITY, 20},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "plane " << c.plane);
        cv::Mat bw;
        ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), c.value, c.value, c.space, c.plane, bw), 0);
        EXPECT_TRUE(SameImage(bw, all));
        ASSERT_EQ(AlgManual2Bw(image, cv::Mat(), c.value + 1, 255, c.space, c.plane, bw), 0);
        EXPECT_TRUE(SameImage(bw, none));
    }
}

TEST(AlgManual2Bw, OutsideTheMaskIsAlwaysZero)
{
    cv::Mat mask = Grey(4, 4);
    mask(cv::Rect(1, 1, 2, 2)).setTo(255);
    cv::Mat bw = Grey(4, 4, 7);
    ASSERT_EQ(AlgManual2Bw(TwoLevels(), mask, 0, 255, ALG_SPACE_PLANES, ALG_PLANE_0, bw), 0);
    EXPECT_TRUE(SameImage(bw, mask));

    // Same through a colour plane, and an empty mask selects everything.
    const cv::Mat colour = testimages::Colour(4, 4, 10, 20, 30);
    ASSERT_EQ(AlgManual2Bw(colour, mask, 20, 20, ALG_SPACE_PLANES, ALG_PLANE_1, bw), 0);
    EXPECT_TRUE(SameImage(bw, mask));
    ASSERT_EQ(AlgManual2Bw(colour, cv::Mat(), 20, 20, ALG_SPACE_PLANES, ALG_PLANE_1, bw), 0);
    EXPECT_TRUE(SameImage(bw, Grey(4, 4, 255)));
}

TEST(AlgManual2Bw, RejectsBadInputWithoutTouchingTheOutput)
{
    const cv::Mat colour = testimages::Colour(2, 2, 1, 2, 3);
    cv::Mat bw = Grey(1, 1, 3);
    EXPECT_EQ(AlgManual2Bw(cv::Mat(), cv::Mat(), 0, 255, ALG_SPACE_PLANES, ALG_PLANE_0, bw), -1);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, 23, ALG_PLANE_0, bw), 1);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, ALG_SPACE_PLANES, ALG_PLANE_HUE, bw), 2);
    EXPECT_EQ(AlgManual2Bw(colour, cv::Mat(), 0, 255, ALG_SPACE_HSI, ALG_PLANE_2, bw), 2);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));
}

// ------------------------------------------------------------ threading

TEST(Binarisation, SameResultOnOneThread)
{
    cv::Mat grey(600, 900, CV_8UC1), colour(600, 900, CV_8UC3), mask(600, 900, CV_8UC1);
    cv::RNG rng(12345);
    rng.fill(grey, cv::RNG::NORMAL, 110, 40);
    rng.fill(colour, cv::RNG::UNIFORM, 0, 256);
    rng.fill(mask, cv::RNG::UNIFORM, 0, 2);

    auto run = [&](cv::Mat out[4], int thresholds[2]) {
        thresholds[0] = thresholds[1] = -1;
        AlgAuto2Bw(grey, mask, ALG_BRIGHT_OBJECTS, out[0], thresholds[0]);
        AlgAuto2Bw(colour, cv::Mat(), ALG_DARK_OBJECTS, out[1], thresholds[1]);
        AlgManual2Bw(colour, mask, 40, 180, ALG_SPACE_PLANES, ALG_PLANE_2, out[2]);
        AlgManual2Bw(colour, mask, 40, 180, ALG_SPACE_HSI, ALG_PLANE_HUE, out[3]);
    };
    cv::Mat many[4], one[4];
    int manyT[2], oneT[2];
    run(many, manyT);
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    run(one, oneT);
    cv::setNumThreads(threads);
    EXPECT_EQ(manyT[0], oneT[0]);
    EXPECT_EQ(manyT[1], oneT[1]);
    for (int k = 0; k < 4; ++k)
        EXPECT_TRUE(SameImage(many[k], one[k])) << k;
}

// The band rule written out pixel by pixel: 255 where low <= v <= high.
cv::Mat PlainBand(const cv::Mat& plane, long long low, long long high)
{
    cv::Mat out(plane.size(), CV_8UC1);
    for (int y = 0; y < plane.rows; ++y)
        for (int x = 0; x < plane.cols; ++x) {
            const int v = plane.at<uchar>(y, x);
            out.at<uchar>(y, x) = (low <= v && v <= high) ? 255 : 0;
        }
    return out;
}

// @p inside where the mask is non-zero, @p outside elsewhere.
cv::Mat Through(const cv::Mat& mask, const cv::Mat& inside, const cv::Mat& outside)
{
    cv::Mat out = outside.clone();
    inside.copyTo(out, mask);
    return out;
}

TEST(Binarisation, BandMatchesThePlainRuleForAnyBoundsAndWidth)
{
    cv::RNG rng(99);
    const int bounds[] = {INT_MIN, -1, 0, 1, 37, 128, 254, 255, 256, INT_MAX};
    for (int width : {5, 16, 31, 70}) {
        SCOPED_TRACE(width);
        cv::Mat colour(23, width + 3, CV_8UC3), mask(23, width + 3, CV_8UC1);
        rng.fill(colour, cv::RNG::UNIFORM, 0, 256);
        rng.fill(mask, cv::RNG::UNIFORM, 0, 3); // 0, 1, 2: any non-zero selects
        // Sub-images: rows that do not follow each other in memory.
        const cv::Rect part(2, 0, width, 23);
        const cv::Mat src = colour(part), m = mask(part);
        cv::Mat planes[3];
        cv::split(src, planes);
        cv::Mat hsi[3]; // checked pixel by pixel against the rule elsewhere
        ASSERT_EQ(AlgRGB2HSI(src, hsi[0], hsi[1], hsi[2]), 0);
        const cv::Mat zero = Grey(23, width);
        for (int low : bounds)
            for (int high : bounds) {
                SCOPED_TRACE(testing::Message() << low << ".." << high);
                for (int k = 0; k < 3; ++k) {
                    cv::Mat bw;
                    ASSERT_EQ(
                        AlgManual2Bw(src, m, low, high, ALG_SPACE_PLANES, ALG_PLANE_0 + k, bw), 0);
                    EXPECT_TRUE(SameImage(bw, Through(m, PlainBand(planes[k], low, high), zero)));
                }
                for (int k = 0; k < 3; ++k) {
                    cv::Mat bw;
                    ASSERT_EQ(AlgManual2Bw(src, m, low, high, ALG_SPACE_HSI, ALG_PLANE_HUE + k, bw),
                              0);
                    EXPECT_TRUE(SameImage(bw, Through(m, PlainBand(hsi[k], low, high), zero)));
                    ASSERT_EQ(AlgManual2Bw(src, cv::Mat(), low, high, ALG_SPACE_HSI,
                                           ALG_PLANE_HUE + k, bw),
                              0);
                    EXPECT_TRUE(SameImage(bw, PlainBand(hsi[k], low, high)));
                }
                cv::Mat bw;
                ASSERT_EQ(AlgManual2Bw(planes[1], cv::Mat(), low, high, 0, 0, bw), 0);
                EXPECT_TRUE(SameImage(bw, PlainBand(planes[1], low, high)));
            }
    }
}

TEST(Binarisation, HsiBandWithoutWideVectors)
{
    // The 128-bit vector path, which processors without 256-bit vectors take,
    // for each plane that the band computes on its own.
    cv::Mat colour(30, 301, CV_8UC3), mask(30, 301, CV_8UC1);
    cv::RNG rng(17);
    rng.fill(colour, cv::RNG::UNIFORM, 0, 256);
    rng.fill(mask, cv::RNG::UNIFORM, 0, 2);
    cv::Mat hsi[3];
    ASSERT_EQ(AlgRGB2HSI(colour, hsi[0], hsi[1], hsi[2]), 0);
    for (int k = 0; k < 3; ++k) {
        cv::setUseOptimized(false);
        cv::Mat bw;
        const int status =
            AlgManual2Bw(colour, mask, 30, 140, ALG_SPACE_HSI, ALG_PLANE_HUE + k, bw);
        cv::setUseOptimized(true);
        ASSERT_EQ(status, 0);
        EXPECT_TRUE(SameImage(bw, Through(mask, PlainBand(hsi[k], 30, 140), Grey(30, 301)))) << k;
    }
}

TEST(Binarisation, AutomaticBandKeepsTheOutputOutsideTheMask)
{
    cv::RNG rng(5);
    for (int width : {7, 16, 45}) {
        SCOPED_TRACE(width);
        cv::Mat grey(19, width, CV_8UC1), mask(19, width, CV_8UC1), old(19, width, CV_8UC1);
        rng.fill(grey, cv::RNG::NORMAL, 120, 50);
        rng.fill(mask, cv::RNG::UNIFORM, 0, 2);
        rng.fill(old, cv::RNG::UNIFORM, 0, 256);
        for (int polarity : {ALG_BRIGHT_OBJECTS, ALG_DARK_OBJECTS}) {
            cv::Mat dst = old.clone();
            int t = -1;
            ASSERT_EQ(AlgAuto2Bw(grey, mask, polarity, dst, t), 0);
            const cv::Mat band = polarity == ALG_BRIGHT_OBJECTS ? PlainBand(grey, t + 1LL, 255)
                                                                : PlainBand(grey, 0, t);
            EXPECT_TRUE(SameImage(dst, Through(mask, band, old))) << polarity;
        }
    }
    // A uniform image keeps the caller's threshold, however far out it is.
    const cv::Mat uniform = Grey(3, 20, 7);
    for (int t : {INT_MIN, -1, 6, 7, 255, INT_MAX}) {
        for (int polarity : {ALG_BRIGHT_OBJECTS, ALG_DARK_OBJECTS}) {
            cv::Mat dst;
            int threshold = t;
            ASSERT_EQ(AlgAuto2Bw(uniform, cv::Mat(), polarity, dst, threshold), 0);
            const bool object = polarity == ALG_BRIGHT_OBJECTS ? 7 > t : 7 <= t;
            EXPECT_TRUE(SameImage(dst, Grey(3, 20, object ? 255 : 0))) << t << " " << polarity;
        }
    }
}

} // namespace

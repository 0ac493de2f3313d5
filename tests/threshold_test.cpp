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

// The band rule: 255 where low <= v <= high.
cv::Mat PlainBand(const cv::Mat& plane, long long low, long long high)
{
    return (plane >= double(low)) & (plane <= double(high));
}

// @p inside where the mask is non-zero, @p outside elsewhere.
cv::Mat Through(const cv::Mat& mask, const cv::Mat& inside, const cv::Mat& outside)
{
    cv::Mat out = outside.clone();
    inside.copyTo(out, mask);
    return out;
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

TEST(AlgAuto2Bw, FreshOutputIsZeroOutsideTheMask)
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
}

TEST(AlgAuto2Bw, UnknownPolarityFailsAfterWritingTheThreshold)
{
    cv::Mat bw = Grey(1, 1, 3);
    int threshold = -1;
    EXPECT_EQ(AlgAuto2Bw(TwoLevels(), cv::Mat(), 3, bw, threshold), 1);
    EXPECT_EQ(threshold, 50);
    EXPECT_TRUE(SameImage(bw, Grey(1, 1, 3)));
}

TEST(AlgAuto2Bw, RandomImagesFollowTheBandAndUniformKeepsTheCallersThreshold)
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
            const uchar* buffer = dst.data;
            int t = -1;
            ASSERT_EQ(AlgAuto2Bw(grey, mask, polarity, dst, t), 0);
            EXPECT_EQ(dst.data, buffer); // the right size: kept, and kept outside the mask
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

TEST(AlgManual2Bw, BandMatchesThePlainRuleForAnyBoundsAndWidth)
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
        const cv::Mat src = colour(part), m = mask(part), zero = Grey(23, width);
        cv::Mat planes[6];
        cv::split(src, planes);
        ASSERT_EQ(AlgRGB2HSI(src, planes[3], planes[4], planes[5]), 0);
        for (int low : bounds)
            for (int high : bounds) {
                SCOPED_TRACE(testing::Message() << low << ".." << high);
                for (int k = 0; k < 6; ++k) {
                    const int space = k < 3 ? ALG_SPACE_PLANES : ALG_SPACE_HSI;
                    const int plane = k < 3 ? ALG_PLANE_0 + k : ALG_PLANE_HUE + k - 3;
                    const cv::Mat band = PlainBand(planes[k], low, high);
                    cv::Mat bw;
                    ASSERT_EQ(AlgManual2Bw(src, m, low, high, space, plane, bw), 0);
                    EXPECT_TRUE(SameImage(bw, Through(m, band, zero))) << k;
                    ASSERT_EQ(AlgManual2Bw(src, cv::Mat(), low, high, space, plane, bw), 0);
                    EXPECT_TRUE(SameImage(bw, band)) << k;
                }
                cv::Mat bw;
                ASSERT_EQ(AlgManual2Bw(planes[1], cv::Mat(), low, high, 0, 0, bw), 0);
                EXPECT_TRUE(SameImage(bw, PlainBand(planes[1], low, high)));
            }
    }
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

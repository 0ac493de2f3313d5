// Grey conversion with the 14-bit weights that the counting rules fix.

#include "autocount/alg/opencv24.h"
#include "support/testimages.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <cstdint>

namespace {

// Counts the pixels of @p grey that differ from the weighted sum of @p image's
// first three bytes with weights w0..w2.
int Mismatches(const cv::Mat& image, const cv::Mat& grey, int w0, int w1, int w2)
{
    int bad = 0;
    for (int y = 0; y < image.rows; ++y) {
        const uchar* p = image.ptr<uchar>(y);
        for (int x = 0; x < image.cols; ++x, p += image.channels())
            bad += grey.at<uchar>(y, x) != ((w0 * p[0] + w1 * p[1] + w2 * p[2] + 8192) >> 14);
    }
    return bad;
}

TEST(GreyConversion, MatchesFourteenBitWeights)
{
    // (1868·p0 + 9617·p1 + 4899·p2 + 8192) >> 14 and the mirrored weights.
    // 250,0,0: 467000+8192 = 475192 >> 14 = 29 (0.114·250 = 28.5 rounds up);
    // 201,1,0: 375468+9617+8192 = 393277 >> 14 = 24.
    const int cases[][5] = {
        {250, 0, 0, 29, 75},  {201, 1, 0, 24, 61}, {0, 0, 250, 75, 29},
        {10, 20, 30, 22, 18}, {0, 0, 0, 0, 0},     {255, 255, 255, 255, 255},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c[0] << "," << c[1] << "," << c[2]);
        cv::Mat pixel = testimages::Colour(1, 1, c[0], c[1], c[2]), bgr, rgb;
        cv24::GreyFromBgr(pixel, bgr);
        cv24::GreyFromRgb(pixel, rgb);
        EXPECT_EQ(bgr.at<uchar>(0, 0), c[3]);
        EXPECT_EQ(rgb.at<uchar>(0, 0), c[4]);
    }
    cv::Mat grey;
    EXPECT_THROW(cv24::GreyFromBgr(testimages::Grey(2, 2), grey), cv::Exception);
    EXPECT_THROW(cv24::GreyFromBgr(cv::Mat(), grey), cv::Exception);
}

TEST(GreyConversion, EveryColourAndSubImageMatchesTheWeightedSum)
{
    // Every blue, green, red triple once, 4096 × 4096 pixels; with four
    // channels the fourth byte runs through all values too and is ignored.
    for (int channels : {3, 4}) {
        SCOPED_TRACE(channels);
        cv::Mat image(4096, 4096, CV_8UC(channels)), bgr, rgb;
        uchar* p = image.data;
        for (uint32_t k = 0; k < (1u << 24); ++k, p += channels) {
            p[0] = static_cast<uchar>(k);
            p[1] = static_cast<uchar>(k >> 8);
            p[2] = static_cast<uchar>(k >> 16);
            if (channels == 4)
                p[3] = static_cast<uchar>(k * 7);
        }
        cv24::GreyFromBgr(image, bgr);
        cv24::GreyFromRgb(image, rgb);
        EXPECT_EQ(Mismatches(image, bgr, 1868, 9617, 4899), 0);
        EXPECT_EQ(Mismatches(image, rgb, 4899, 9617, 1868), 0);
        // The 128-bit vector path, which processors without 256-bit vectors take.
        cv::setUseOptimized(false);
        cv24::GreyFromBgr(image, bgr);
        cv::setUseOptimized(true);
        EXPECT_EQ(Mismatches(image, bgr, 1868, 9617, 4899), 0);
    }
    // Rows that are not a multiple of the vector width and do not follow
    // each other in memory.
    cv::Mat image(40, 101, CV_8UC3);
    cv::randu(image, 0, 256);
    for (int width : {1, 15, 16, 17, 33, 99}) {
        cv::Mat grey;
        cv24::GreyFromBgr(image(cv::Rect(1, 3, width, 30)), grey);
        EXPECT_EQ(Mismatches(image(cv::Rect(1, 3, width, 30)), grey, 1868, 9617, 4899), 0) << width;
    }
}

} // namespace

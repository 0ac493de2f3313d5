// Hue, saturation and intensity planes: exact bytes of known colours, and
// the fast conversion against a plain per-pixel evaluation of the rule.

#include "support/hsireference.h"
#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

using testimages::Grey;
using testimages::SameImage;

// The three planes of @p image, which must convert.
std::vector<cv::Mat> Planes(const cv::Mat& image)
{
    std::vector<cv::Mat> hsi(3);
    EXPECT_EQ(AlgRGB2HSI(image, hsi[0], hsi[1], hsi[2]), 0);
    return hsi;
}

void ExpectSamePlanes(const std::vector<cv::Mat>& a, const std::vector<cv::Mat>& b)
{
    for (int k = 0; k < 3; ++k)
        EXPECT_TRUE(SameImage(a[k], b[k])) << "plane " << k;
}

TEST(AlgRGB2HSI, KnownColours)
{
    // Grey, black and white have no hue or saturation. The pure colours lie
    // at 0, 1/3 and 2/3 of the circle (·255 = 0, 85, 170) with intensity
    // 255/3 = 85. For bytes 10, 20, 30: den = √300/255, cos θ = 15/√300 =
    // √3/2, θ = π/6, h = 1/12 → 21.25 → 21; s = 1 − 30/60 = 0.5 → 127.5 → 127;
    // i = 20/255 → 20.
    const int cases[][6] = {
        {128, 128, 128, 0, 0, 128}, {0, 0, 0, 0, 0, 0},       {255, 255, 255, 0, 0, 255},
        {0, 0, 255, 0, 255, 85},    {0, 255, 0, 85, 255, 85}, {255, 0, 0, 170, 255, 85},
        {10, 20, 30, 21, 127, 20},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c[0] << "," << c[1] << "," << c[2]);
        ExpectSamePlanes(Planes(testimages::Colour(2, 3, c[0], c[1], c[2])),
                         {Grey(2, 3, c[3]), Grey(2, 3, c[4]), Grey(2, 3, c[5])});
    }
}

TEST(AlgRGB2HSI, EveryColourMatchesThePlainRuleWithAndWithoutWideVectors)
{
    // Every one of the 2^24 colours, once, as a 4096 × 4096 image.
    cv::Mat image(4096, 4096, CV_8UC3);
    uchar* p = image.data;
    for (uint32_t k = 0; k < (1u << 24); ++k, p += 3) {
        p[0] = static_cast<uchar>(k);
        p[1] = static_cast<uchar>(k >> 8);
        p[2] = static_cast<uchar>(k >> 16);
    }
    const std::vector<cv::Mat> hsi = Planes(image);
    int mismatches = 0, first = -1;
    for (int k = 0; k < (1 << 24); ++k) {
        uchar e[3];
        hsireference::Pixel(image.data + 3 * k, e);
        if (e[0] != hsi[0].data[k] || e[1] != hsi[1].data[k] || e[2] != hsi[2].data[k])
            first = mismatches++ ? first : k;
    }
    EXPECT_EQ(mismatches, 0) << "first at blue, green, red = " << first % 256 << ", "
                             << first / 256 % 256 << ", " << first / 65536;

    // The 128-bit vector path, which processors without 256-bit vectors take.
    cv::setUseOptimized(false);
    const std::vector<cv::Mat> narrow = Planes(image);
    cv::setUseOptimized(true);
    ExpectSamePlanes(narrow, hsi);
}

} // namespace

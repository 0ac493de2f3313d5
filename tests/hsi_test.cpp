// Hue, saturation and intensity planes: exact bytes of known colours, and
// the fast conversion against a plain per-pixel evaluation of the rule.

#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace {

using testimages::Grey;
using testimages::SameImage;

// The rule written out pixel by pixel with no shortcuts: single-precision
// steps, double where the rule says so, truncation toward zero, NaN to 0.
uchar Truncated(float v)
{
    return std::isnan(v) ? 0 : static_cast<uchar>(static_cast<int32_t>(v));
}

void ReferencePixel(const uchar* p, uchar out[3])
{
    const double twoPi = 6.283185307179586;
    const float b = static_cast<float>(p[0] / 255.0);
    const float g = static_cast<float>(p[1] / 255.0);
    const float r = static_cast<float>(p[2] / 255.0);
    const float den = std::sqrt((r - g) * (r - g) + (g - b) * (r - b));
    float h = 0.0f;
    if (den != 0.0f) {
        const float theta = std::acos(((r - g) + (r - b)) * 0.5f / den);
        const double angle = g >= b ? theta : twoPi - theta;
        h = static_cast<float>(angle / twoPi);
    }
    const float sum = r + g + b;
    float s = 0.0f;
    if (sum != 0.0f)
        s = static_cast<float>(1.0 - 3.0 * std::min(b, std::min(g, r)) / sum);
    out[0] = Truncated(h * 255.0f);
    out[1] = Truncated(s * 255.0f);
    out[2] = Truncated(sum / 3 * 255.0f);
}

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
        ReferencePixel(image.data + 3 * k, e);
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

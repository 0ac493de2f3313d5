// Hue, saturation and intensity planes: exact bytes of known colours, and
// the fast conversion against a plain per-pixel evaluation of the rule.

#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <opencv2/core/utility.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

// The rule written out pixel by pixel with no shortcuts: single-precision
// steps, double where the rule says so, truncation toward zero, NaN to 0.
uchar Truncated(float v)
{
    return std::isnan(v) ? 0 : static_cast<uchar>(static_cast<int32_t>(v));
}

void ReferencePixel(const uchar* p, uchar& hByte, uchar& sByte, uchar& iByte)
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
    const float i = sum / 3;
    hByte = Truncated(h * 255.0f);
    sByte = Truncated(s * 255.0f);
    iByte = Truncated(i * 255.0f);
}

struct HsiCase
{
    int b, g, r;
    int h, s, i;
};

TEST(AlgRGB2HSI, KnownColours)
{
    // Grey, black and white have no hue or saturation. The pure colours lie
    // at 0, 1/3 and 2/3 of the circle (·255 = 0, 85, 170) with intensity
    // 255/3 = 85. For bytes 10, 20, 30: den = √300/255, cos θ = 15/√300 =
    // √3/2, θ = π/6, h = 1/12 → 21.25 → 21; s = 1 − 30/60 = 0.5 → 127.5 → 127;
    // i = 20/255 → 20.
    const HsiCase cases[] = {
        {128, 128, 128, 0, 0, 128}, {0, 0, 0, 0, 0, 0},       {255, 255, 255, 0, 0, 255},
        {0, 0, 255, 0, 255, 85},    {0, 255, 0, 85, 255, 85}, {255, 0, 0, 170, 255, 85},
        {10, 20, 30, 21, 127, 20},
    };
    for (const HsiCase& c : cases) {
        SCOPED_TRACE(testing::Message() << c.b << "," << c.g << "," << c.r);
        cv::Mat h, s, i;
        ASSERT_EQ(AlgRGB2HSI(testimages::Colour(2, 3, c.b, c.g, c.r), h, s, i), 0);
        ASSERT_EQ(h.type(), CV_8UC1);
        ASSERT_EQ(h.size(), cv::Size(3, 2));
        EXPECT_TRUE(testimages::SameImage(h, testimages::Grey(2, 3, c.h)));
        EXPECT_TRUE(testimages::SameImage(s, testimages::Grey(2, 3, c.s)));
        EXPECT_TRUE(testimages::SameImage(i, testimages::Grey(2, 3, c.i)));
    }
}

// Every one of the 2^24 colours, once, as a 4096 × 4096 image.
cv::Mat AllColours()
{
    cv::Mat image(4096, 4096, CV_8UC3);
    uchar* p = image.data;
    for (uint32_t k = 0; k < (1u << 24); ++k, p += 3) {
        p[0] = static_cast<uchar>(k);
        p[1] = static_cast<uchar>(k >> 8);
        p[2] = static_cast<uchar>(k >> 16);
    }
    return image;
}

TEST(AlgRGB2HSI, EveryColourMatchesThePlainRule)
{
    const cv::Mat image = AllColours();
    cv::Mat h, s, i;
    ASSERT_EQ(AlgRGB2HSI(image, h, s, i), 0);
    const uchar* p = image.data;
    int mismatches = 0;
    for (int k = 0; k < (1 << 24) && mismatches < 10; ++k, p += 3) {
        uchar eh, es, ei;
        ReferencePixel(p, eh, es, ei);
        if (eh != h.data[k] || es != s.data[k] || ei != i.data[k]) {
            ++mismatches;
            ADD_FAILURE() << "bytes " << int(p[0]) << "," << int(p[1]) << "," << int(p[2]) << ": "
                          << int(h.data[k]) << " " << int(s.data[k]) << " " << int(i.data[k])
                          << " instead of " << int(eh) << " " << int(es) << " " << int(ei);
        }
    }
    EXPECT_EQ(mismatches, 0);
}

TEST(AlgRGB2HSI, EveryColourMatchesThePlainRuleWithoutWideVectors)
{
    // The 128-bit vector path, which processors without 256-bit vectors take.
    const cv::Mat image = AllColours();
    cv::setUseOptimized(false);
    cv::Mat h, s, i;
    const int status = AlgRGB2HSI(image, h, s, i);
    cv::setUseOptimized(true);
    ASSERT_EQ(status, 0);
    cv::Mat eh, es, ei;
    ASSERT_EQ(AlgRGB2HSI(image, eh, es, ei), 0); // checked against the rule above
    EXPECT_TRUE(testimages::SameImage(h, eh));
    EXPECT_TRUE(testimages::SameImage(s, es));
    EXPECT_TRUE(testimages::SameImage(i, ei));
}

TEST(AlgRGB2HSI, SameResultOnOneThreadAndOnASubImage)
{
    cv::Mat image(300, 700, CV_8UC3);
    cv::randu(image, 0, 256);
    cv::Mat h, s, i;
    ASSERT_EQ(AlgRGB2HSI(image, h, s, i), 0);

    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    cv::Mat h1, s1, i1;
    const int status = AlgRGB2HSI(image, h1, s1, i1);
    cv::setNumThreads(threads);
    ASSERT_EQ(status, 0);
    EXPECT_TRUE(testimages::SameImage(h, h1));
    EXPECT_TRUE(testimages::SameImage(s, s1));
    EXPECT_TRUE(testimages::SameImage(i, i1));

    // A sub-image (rows not contiguous) is walked row by row.
    const cv::Rect part(13, 7, 500, 200);
    cv::Mat hp, sp, ip;
    ASSERT_EQ(AlgRGB2HSI(image(part), hp, sp, ip), 0);
    EXPECT_TRUE(testimages::SameImage(hp, h(part)));
    EXPECT_TRUE(testimages::SameImage(sp, s(part)));
    EXPECT_TRUE(testimages::SameImage(ip, i(part)));
}

TEST(AlgRGB2HSI, OutputsAreNewImages)
{
    cv::Mat h = testimages::Grey(2, 3, 9), s = h, i = h;
    const cv::Mat old = h;
    ASSERT_EQ(AlgRGB2HSI(testimages::Colour(2, 3, 0, 0, 255), h, s, i), 0);
    EXPECT_NE(h.data, old.data);
    EXPECT_TRUE(testimages::SameImage(old, testimages::Grey(2, 3, 9)));
}

TEST(AlgRGB2HSI, OutputsOfTheRightSizeGiveTheSamePlanes)
{
    // Outputs that already have the size, some shared with other images and
    // one passed for all three planes: every plane is complete and nothing
    // that another image holds is written.
    cv::Mat image(37, 45, CV_8UC3);
    cv::randu(image, 0, 256);
    cv::Mat h, s, i;
    ASSERT_EQ(AlgRGB2HSI(image, h, s, i), 0);

    cv::Mat h2 = testimages::Grey(37, 45, 7), s2 = testimages::Grey(37, 45, 7), i2 = s2;
    const cv::Mat held = s2;
    ASSERT_EQ(AlgRGB2HSI(image, h2, s2, i2), 0);
    EXPECT_TRUE(testimages::SameImage(h2, h));
    EXPECT_TRUE(testimages::SameImage(s2, s));
    EXPECT_TRUE(testimages::SameImage(i2, i));
    EXPECT_TRUE(testimages::SameImage(held, testimages::Grey(37, 45, 7)));

    cv::Mat all = testimages::Grey(37, 45, 7);
    ASSERT_EQ(AlgRGB2HSI(image, all, all, all), 0);
    EXPECT_TRUE(testimages::SameImage(all, i));
}

TEST(AlgRGB2HSI, RejectsEmptyAndNonThreeChannelInputWithoutTouchingOutputs)
{
    cv::Mat h = testimages::Grey(1, 1, 9), s = h, i = h;
    EXPECT_EQ(AlgRGB2HSI(cv::Mat(), h, s, i), -1);
    EXPECT_EQ(AlgRGB2HSI(testimages::Grey(2, 2), h, s, i), 2);
    EXPECT_EQ(AlgRGB2HSI(cv::Mat(2, 2, CV_8UC4, cv::Scalar::all(1)), h, s, i), 2);
    EXPECT_EQ(h.size(), cv::Size(1, 1));
    EXPECT_EQ(h.at<uchar>(0, 0), 9);
    EXPECT_EQ(s.data, h.data);
    EXPECT_EQ(i.data, h.data);
}

} // namespace

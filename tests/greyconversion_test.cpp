// Grey conversion with the 14-bit weights that the counting rules fix.

#include "autocount/alg/opencv24.h"
#include "support/testimages.h"

#include <gtest/gtest.h>

namespace {

struct GreyCase
{
    int p0, p1, p2;
    int bgr; // conversion code 6: blue first
    int rgb; // conversion code 7: red first
};

// (1868·p0 + 9617·p1 + 4899·p2 + 8192) >> 14 and the mirrored weights.
// 250,0,0: 467000+8192 = 475192 >> 14 = 29 (0.114·250 = 28.5 rounds up);
// 201,1,0: 375468+9617+8192 = 393277 >> 14 = 24.
const GreyCase kCases[] = {
    {250, 0, 0, 29, 75},  {201, 1, 0, 24, 61}, {0, 0, 250, 75, 29},
    {10, 20, 30, 22, 18}, {0, 0, 0, 0, 0},     {255, 255, 255, 255, 255},
};

TEST(GreyConversion, MatchesFourteenBitWeights)
{
    for (const GreyCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.p0 << "," << c.p1 << "," << c.p2);
        cv::Mat pixel = testimages::Colour(1, 1, c.p0, c.p1, c.p2);
        cv::Mat bgr, rgb;
        cv24::GreyFromBgr(pixel, bgr);
        cv24::GreyFromRgb(pixel, rgb);
        ASSERT_EQ(bgr.type(), CV_8UC1);
        EXPECT_EQ(bgr.at<uchar>(0, 0), c.bgr);
        EXPECT_EQ(rgb.at<uchar>(0, 0), c.rgb);
    }
}

TEST(GreyConversion, IgnoresTheFourthByte)
{
    cv::Mat pixel(1, 1, CV_8UC4, cv::Scalar(250, 0, 0, 200));
    cv::Mat grey;
    cv24::GreyFromBgr(pixel, grey);
    EXPECT_EQ(grey.at<uchar>(0, 0), 29);
}

TEST(GreyConversion, RejectsOneChannelAndEmptyImages)
{
    cv::Mat grey;
    EXPECT_THROW(cv24::GreyFromBgr(testimages::Grey(2, 2), grey), cv::Exception);
    EXPECT_THROW(cv24::GreyFromBgr(cv::Mat(), grey), cv::Exception);
}

} // namespace

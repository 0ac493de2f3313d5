// The controller's histogram and thresholding operations.

#include "autocount/alg/opencv24.h"
#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace {

using testimages::Grey;
using testimages::SameImage;
using M = AutoCountManager;

using Histogram = std::array<int, 256>;

// 1000 in bin @p at, 0 elsewhere.
Histogram Spike(int at)
{
    Histogram h{};
    h[at] = 1000;
    return h;
}

// 4 × 4: left half 50, right half 200.
cv::Mat TwoLevels()
{
    cv::Mat image = Grey(4, 4, 50);
    image(cv::Rect(2, 0, 2, 4)).setTo(200);
    return image;
}

// The same as colour pixels with equal bytes; their blue-first grey is the
// byte itself (the weights sum to 2^14).
cv::Mat TwoLevelsColour()
{
    cv::Mat colour;
    cv::merge(std::vector<cv::Mat>(3, TwoLevels()), colour);
    return colour;
}

class SegmentationTest : public ControllerTest
{
protected:
    Histogram HistogramOf(int channel)
    {
        Histogram h;
        h.fill(-1);
        manager->GetHistogramData(channel, h.data());
        return h;
    }

    std::pair<int, int> Thresholds()
    {
        std::pair<int, int> t;
        manager->GetThreshold(t.first, t.second);
        return t;
    }

    const cv::Mat& Binary() { return manager->GetBinaryImage(); }

    // The binary image is shown inverted, and it is the image shown.
    void ExpectShown()
    {
        EXPECT_TRUE(canvas.LastShownInverted());
        EXPECT_EQ(canvas.LastShown().data, Binary().data);
    }
};

// ------------------------------------------------------------- histogram

TEST_F(SegmentationTest, ColourChannelsOfAUniformImage)
{
    // Bytes (10, 20, 30), blue first. Grey: (1868·10 + 9617·20 + 4899·30 +
    // 8192) >> 14 = 22. Red is the third byte, blue the first. Library HSV:
    // V = 30, S = 255·20/30 = 170, H = 60°·(20−10)/20 = 30°, stored halved: 15.
    StartWith(testimages::Colour(3, 5, 10, 20, 30));
    const int expected[] = {22, 30, 20, 10, 15, 170, 30};
    const int channels[] = {M::CHANNEL_GREY,     M::CHANNEL_RED, M::CHANNEL_GREEN,
                            M::CHANNEL_BLUE,     M::CHANNEL_HUE, M::CHANNEL_SATURATION,
                            M::CHANNEL_INTENSITY};
    for (int k = 0; k < 7; ++k)
        EXPECT_EQ(HistogramOf(channels[k]), Spike(expected[k])) << channels[k];
}

TEST_F(SegmentationTest, BinsScaleToTheTallestWithThirtyTwoBitTruncation)
{
    // Three pixels of 10, one of 20, two of 30: 1000, 333 (1000/3), 666.
    StartWith((cv::Mat_<uchar>(2, 3) << 10, 10, 10, 20, 30, 30));
    Histogram expected{};
    expected[10] = 1000;
    expected[20] = 333;
    expected[30] = 666;
    EXPECT_EQ(HistogramOf(M::CHANNEL_GREY), expected);
    // Blue is the first plane, which a one-channel image has.
    EXPECT_EQ(HistogramOf(M::CHANNEL_BLUE), expected);

    // 2 200 000 pixels in one bin: 2 200 000 · 1000 wraps to
    // 2 200 000 000 − 2^32 = −2 094 967 296, and / 2 200 000 → −952.
    StartWith(Grey(2200, 1000, 9));
    EXPECT_EQ(HistogramOf(M::CHANNEL_GREY)[9], -952);
}

TEST_F(SegmentationTest, HistogramStoresTheChannelAndResegments)
{
    StartWith(testimages::Colour(3, 5, 10, 20, 30));
    M::segmentMode = M::SEGMENT_MANUAL;
    M::lowThresh = M::highThresh = 10;
    // Red histogram reads the third byte (30), the red band the first (10).
    EXPECT_EQ(HistogramOf(M::CHANNEL_RED), Spike(30));
    EXPECT_EQ(M::histogramChannel, M::CHANNEL_RED);
    EXPECT_EQ(canvas.ShowCount(), 1);
    ExpectShown();
    EXPECT_TRUE(SameImage(Binary(), Grey(3, 5, 255)));

    // An out-of-range channel is stored as well; nothing is counted.
    EXPECT_EQ(HistogramOf(9), Histogram{});
    EXPECT_EQ(M::histogramChannel, 9);
    EXPECT_TRUE(SameImage(Binary(), Grey(3, 5)));
}

// ---------------------------------------------------------- automatic

TEST_F(SegmentationTest, AutomaticModesReportTheBand)
{
    const cv::Mat image = TwoLevels();
    StartWith(image);
    manager->SetSegmentMode(M::SEGMENT_AUTO_BRIGHT);
    EXPECT_EQ(Thresholds(), std::make_pair(50, 255));
    EXPECT_TRUE(SameImage(Binary(), image == 200));

    manager->SetSegmentMode(M::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 50));
    EXPECT_TRUE(SameImage(Binary(), image == 50));
    EXPECT_EQ(canvas.ShowCount(), 2);
    ExpectShown();

    // An unknown mode shows an all-zero image.
    manager->SetSegmentMode(3);
    EXPECT_TRUE(SameImage(Binary(), Grey(4, 4)));
    ExpectShown();
}

TEST_F(SegmentationTest, UniformSourceKeepsThePreviousBound)
{
    StartWith(Grey(3, 3, 120));
    M::highThresh = 77;
    manager->SetSegmentMode(M::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 77));
    EXPECT_TRUE(SameImage(Binary(), Grey(3, 3))); // 120 > 77

    M::lowThresh = 100;
    manager->SetSegmentMode(M::SEGMENT_AUTO_BRIGHT);
    EXPECT_EQ(Thresholds(), std::make_pair(100, 255));
    EXPECT_TRUE(SameImage(Binary(), Grey(3, 3, 255))); // 120 > 100
}

TEST_F(SegmentationTest, ColourSourceIsGreyedBlueFirst)
{
    // (250, 0, 0) is 29 blue first (75 red first); beside grey 50, T = 29.
    cv::Mat image = testimages::Colour(2, 2, 50, 50, 50);
    image.at<cv::Vec3b>(1, 0) = cv::Vec3b(250, 0, 0);
    StartWith(image);
    manager->SetSegmentMode(M::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 29));
    cv::Mat expected = Grey(2, 2);
    expected.at<uchar>(1, 0) = 255;
    EXPECT_TRUE(SameImage(Binary(), expected));
}

// -------------------------------------------------------------- manual

TEST_F(SegmentationTest, ManualBandFollowsTheBoundsUnclamped)
{
    const cv::Mat image = TwoLevels();
    StartWith(TwoLevelsColour());
    M::highThresh = 100;
    manager->SetSegmentMode(M::SEGMENT_MANUAL);
    EXPECT_TRUE(SameImage(Binary(), image == 50));

    manager->SetLowThreshold(200);
    EXPECT_EQ(Thresholds(), std::make_pair(200, 100));
    EXPECT_TRUE(SameImage(Binary(), Grey(4, 4)));

    manager->SetHighThreshold(300);
    EXPECT_TRUE(SameImage(Binary(), image == 200));
    EXPECT_EQ(canvas.ShowCount(), 3);
    ExpectShown();
}

TEST_F(SegmentationTest, ManualChannelsUseTheBandPlanes)
{
    // Bytes (10, 20, 30): red and blue read the first and third byte here;
    // hue, saturation and intensity are the module's own (21, 127, 20).
    StartWith(testimages::Colour(2, 2, 10, 20, 30));
    M::segmentMode = M::SEGMENT_MANUAL;
    const int values[] = {22, 10, 20, 30, 21, 127, 20};
    for (int channel = 0; channel < 7; ++channel) {
        SCOPED_TRACE(channel);
        M::histogramChannel = channel;
        M::highThresh = values[channel];
        manager->SetLowThreshold(values[channel]);
        EXPECT_TRUE(SameImage(Binary(), Grey(2, 2, 255)));
        manager->SetLowThreshold(values[channel] + 1);
        EXPECT_TRUE(SameImage(Binary(), Grey(2, 2)));
    }
    // No channel beyond 6: nothing computed, all zero.
    M::histogramChannel = 7;
    manager->SetLowThreshold(0);
    EXPECT_TRUE(SameImage(Binary(), Grey(2, 2)));
}

TEST_F(SegmentationTest, EmptyAndOneChannelSources)
{
    StartWith(cv::Mat());
    manager->SetSegmentMode(M::SEGMENT_AUTO_DARK);
    EXPECT_TRUE(Binary().empty());
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 255));

    // Manual grey on a one-channel source passes the library's error on.
    StartWith(Grey(2, 2, 5));
    M::segmentMode = M::SEGMENT_MANUAL;
    EXPECT_THROW(manager->ImageSegment(), cv::Exception);
}

TEST_F(SegmentationTest, SegmentingDiscardsRefinementAndBackRecomputes)
{
    const cv::Mat image = TwoLevels();
    StartWith(TwoLevelsColour());
    manager->SetSegmentMode(M::SEGMENT_MANUAL); // band 0..255
    manager->MorphologyOperation(M::MORPHOLOGY_ERODE);
    M::lowThresh = 150;
    const int shown = canvas.ShowCount();
    manager->Back(M::STEP_SEGMENT);
    EXPECT_TRUE(SameImage(Binary(), image == 200));
    EXPECT_EQ(canvas.ShowCount(), shown + 2);
    ExpectShown();
}

TEST_F(SegmentationTest, EarlierBinaryImagesHeldElsewhereNeverChange)
{
    // The slider reuses the memory of a binary image only once nothing else
    // holds it: images a host kept from earlier steps stay as they were.
    cv::Mat colour(40, 70, CV_8UC3), grey;
    cv::randu(colour, 0, 256);
    StartWith(colour);
    cv24::GreyFromBgr(colour, grey); // the 14-bit weights, checked on their own
    M::segmentMode = M::SEGMENT_MANUAL;
    M::highThresh = 255;

    std::vector<std::pair<cv::Mat, cv::Mat>> kept; // image as held, copy taken then
    for (int low = 0; low < 250; low += 10) {
        manager->SetLowThreshold(low);
        ASSERT_TRUE(SameImage(Binary(), grey >= low)) << low;
        if (low % 30 == 0)
            kept.emplace_back(Binary(), Binary().clone());
        ExpectShown();
    }
    for (const auto& [held, copy] : kept)
        EXPECT_TRUE(SameImage(held, copy));
}

} // namespace

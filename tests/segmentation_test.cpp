// The controller's histogram and thresholding operations.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <array>
#include <utility>
#include <vector>

namespace {

using testimages::Grey;
using testimages::SameImage;

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
    cv::cvtColor(TwoLevels(), colour, cv::COLOR_GRAY2BGR);
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

    // The binary image is shown inverted, and it is the image shown.
    void ExpectShown()
    {
        EXPECT_TRUE(canvas.LastShownInverted());
        EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);
    }
};

// ------------------------------------------------------------- histogram

TEST_F(SegmentationTest, ColourChannelsOfAUniformImage)
{
    // Bytes (10, 20, 30), blue first. Grey: (1868·10 + 9617·20 + 4899·30 +
    // 8192) >> 14 = 22. Red is the third byte, blue the first. Library HSV:
    // V = 30, S = 255·20/30 = 170, H = 60°·(20−10)/20 = 30°, stored halved: 15.
    StartWith(testimages::Colour(3, 5, 10, 20, 30));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_GREY), Spike(22));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_RED), Spike(30));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_GREEN), Spike(20));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_BLUE), Spike(10));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_HUE), Spike(15));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_SATURATION), Spike(170));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_INTENSITY), Spike(30));
}

TEST_F(SegmentationTest, BinsScaleToTheTallestWithTruncation)
{
    // Three pixels of 10, one of 20, two of 30: 1000, 333 (1000/3), 666.
    cv::Mat image = (cv::Mat_<uchar>(2, 3) << 10, 10, 10, 20, 30, 30);
    StartWith(image);
    Histogram expected{};
    expected[10] = 1000;
    expected[20] = 333;
    expected[30] = 666;
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_GREY), expected);
    // Blue is the first plane, which a one-channel image has.
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_BLUE), expected);
}

TEST_F(SegmentationTest, ScalingUsesThirtyTwoBitArithmetic)
{
    // 2 200 000 pixels in one bin: 2 200 000 · 1000 wraps to
    // 2 200 000 000 − 2^32 = −2 094 967 296, and / 2 200 000 → −952.
    StartWith(Grey(2200, 1000, 9));
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_GREY)[9], -952);
}

TEST_F(SegmentationTest, LibraryHueNeverPassesBin180)
{
    cv::Mat image(64, 64, CV_8UC3);
    cv::randu(image, 0, 256);
    StartWith(image);
    const Histogram h = HistogramOf(AutoCountManager::CHANNEL_HUE);
    int high = 0, low = 0;
    for (int k = 0; k < 256; ++k)
        (k > 180 ? high : low) += h[k];
    EXPECT_EQ(high, 0);
    EXPECT_GT(low, 0);
}

TEST_F(SegmentationTest, HistogramStoresTheChannelAndResegments)
{
    StartWith(testimages::Colour(3, 5, 10, 20, 30));
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    AutoCountManager::lowThresh = 10;
    AutoCountManager::highThresh = 10;
    // Red histogram reads the third byte (30), the red band the first (10).
    EXPECT_EQ(HistogramOf(AutoCountManager::CHANNEL_RED), Spike(30));
    EXPECT_EQ(AutoCountManager::histogramChannel, AutoCountManager::CHANNEL_RED);
    EXPECT_EQ(canvas.ShowCount(), 1);
    ExpectShown();
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(3, 5, 255)));

    // An out-of-range channel is stored as well; nothing is counted.
    EXPECT_EQ(HistogramOf(9), Histogram{});
    EXPECT_EQ(AutoCountManager::histogramChannel, 9);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(3, 5)));
}

// ---------------------------------------------------------- automatic

TEST_F(SegmentationTest, AutomaticModesReportTheBand)
{
    const cv::Mat image = TwoLevels();
    StartWith(image);
    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    EXPECT_EQ(Thresholds(), std::make_pair(50, 255));
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), image == 200));
    ExpectShown();

    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 50));
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), image == 50));
    EXPECT_EQ(canvas.ShowCount(), 2);
    ExpectShown();
}

TEST_F(SegmentationTest, ColourSourceIsGreyedBlueFirst)
{
    // (250, 0, 0) is 29 blue first (75 red first); beside grey 50, T = 29.
    cv::Mat image = testimages::Colour(2, 2, 50, 50, 50);
    image.at<cv::Vec3b>(1, 0) = cv::Vec3b(250, 0, 0);
    StartWith(image);
    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 29));
    cv::Mat expected = Grey(2, 2);
    expected.at<uchar>(1, 0) = 255;
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), expected));
}

TEST_F(SegmentationTest, UniformSourceKeepsThePreviousBound)
{
    StartWith(Grey(3, 3, 120));
    AutoCountManager::highThresh = 77;
    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 77));
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(3, 3))); // 120 > 77

    AutoCountManager::lowThresh = 100;
    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    EXPECT_EQ(Thresholds(), std::make_pair(100, 255));
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(3, 3, 255))); // 120 > 100
}

TEST_F(SegmentationTest, EmptySourceGivesAnEmptyBinaryImage)
{
    StartWith(cv::Mat());
    manager->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    EXPECT_TRUE(manager->GetBinaryImage().empty());
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_EQ(Thresholds(), std::make_pair(0, 255));
}

// -------------------------------------------------------------- manual

TEST_F(SegmentationTest, ManualBandFollowsTheBoundsUnclamped)
{
    const cv::Mat image = TwoLevels();
    StartWith(TwoLevelsColour());
    AutoCountManager::highThresh = 100;
    manager->SetSegmentMode(AutoCountManager::SEGMENT_MANUAL);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), image == 50));

    manager->SetLowThreshold(200);
    EXPECT_EQ(Thresholds(), std::make_pair(200, 100));
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(4, 4)));

    manager->SetHighThreshold(300);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), image == 200));
    EXPECT_EQ(canvas.ShowCount(), 3);
    ExpectShown();
}

TEST_F(SegmentationTest, ManualChannelsUseTheBandPlanes)
{
    // Bytes (10, 20, 30): red and blue read the first and third byte here;
    // hue, saturation and intensity are the module's own (21, 127, 20).
    StartWith(testimages::Colour(2, 2, 10, 20, 30));
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    const int values[] = {22, 10, 20, 30, 21, 127, 20};
    for (int channel = 0; channel < 7; ++channel) {
        SCOPED_TRACE(channel);
        AutoCountManager::histogramChannel = channel;
        AutoCountManager::highThresh = values[channel];
        manager->SetLowThreshold(values[channel]);
        EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(2, 2, 255)));
        manager->SetLowThreshold(values[channel] + 1);
        EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(2, 2)));
    }
    // No channel beyond 6: nothing computed, all zero.
    AutoCountManager::histogramChannel = 7;
    manager->SetLowThreshold(0);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(2, 2)));
}

TEST_F(SegmentationTest, ManualGreyOnAOneChannelSourcePassesTheLibraryError)
{
    StartWith(Grey(2, 2, 5));
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    EXPECT_THROW(manager->ImageSegment(), cv::Exception);
}

TEST_F(SegmentationTest, UnknownModeShowsAnAllZeroImage)
{
    StartWith(TwoLevels());
    manager->SetSegmentMode(3);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), Grey(4, 4)));
    ExpectShown();
}

TEST_F(SegmentationTest, SegmentingDiscardsRefinementAndBackRecomputes)
{
    const cv::Mat image = TwoLevels();
    StartWith(TwoLevelsColour());
    manager->SetSegmentMode(AutoCountManager::SEGMENT_MANUAL); // band 0..255
    manager->MorphologyOperation(AutoCountManager::MORPHOLOGY_ERODE);
    AutoCountManager::lowThresh = 150;
    const int shown = canvas.ShowCount();
    manager->Back(AutoCountManager::STEP_SEGMENT);
    EXPECT_TRUE(SameImage(manager->GetBinaryImage(), image == 200));
    EXPECT_EQ(canvas.ShowCount(), shown + 2);
    ExpectShown();
}

TEST_F(SegmentationTest, EarlierBinaryImagesHeldElsewhereNeverChange)
{
    // The slider reuses the memory of a binary image only once nothing else
    // holds it: images a host kept from earlier steps stay as they were.
    cv::Mat colour(40, 70, CV_8UC3);
    cv::randu(colour, 0, 256);
    StartWith(colour);
    cv::Mat grey;
    cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
    AutoCountManager::segmentMode = AutoCountManager::SEGMENT_MANUAL;
    AutoCountManager::highThresh = 255;

    std::vector<std::pair<cv::Mat, cv::Mat>> kept; // image as held, copy taken then
    for (int low = 0; low < 250; low += 10) {
        manager->SetLowThreshold(low);
        const cv::Mat& binary = manager->GetBinaryImage();
        cv::Mat expected = Grey(40, 70);
        for (int y = 0; y < 40; ++y)
            for (int x = 0; x < 70; ++x) {
                // The 14-bit weights may differ from the library's by one
                // level; compare against the module's own conversion rule.
                const cv::Vec3b p = colour.at<cv::Vec3b>(y, x);
                const int v = (1868 * p[0] + 9617 * p[1] + 4899 * p[2] + 8192) >> 14;
                expected.at<uchar>(y, x) = v >= low ? 255 : 0;
            }
        ASSERT_TRUE(SameImage(binary, expected)) << low;
        if (low % 30 == 0)
            kept.emplace_back(binary, binary.clone());
        ExpectShown();
    }
    for (const auto& [held, copy] : kept)
        EXPECT_TRUE(SameImage(held, copy));
}

} // namespace

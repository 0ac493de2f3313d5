// The workflow step machine and the host services it calls.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "host/pixelformatadapter.h"

#include <gtest/gtest.h>

namespace {

TEST_F(ControllerTest, StepZeroBeforeAnyStartShowsEmptySourceAndSendsEvent53)
{
    manager->SetAutoCountStep(0);
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_FALSE(canvas.LastShownInverted());
    EXPECT_TRUE(canvas.LastShown().empty());
    EXPECT_EQ(events->Codes(), std::vector<int>{53});
}

TEST_F(ControllerTest, StepOneRunsTheCaptureConversionInPlace)
{
    int seenMode = -1;
    PixelFormatAdapter::SetConverter([&](const cv::Mat& src, cv::Mat& dst, int mode) {
        seenMode = mode;
        EXPECT_EQ(&src, &dst);
        dst = cv::Mat(2, 2, CV_8UC3, cv::Scalar(7, 7, 7));
    });
    StartWith(testimages::Colour(4, 5, 1, 2, 3));
    PixelFormatAdapter::SetConverter({});
    EXPECT_EQ(seenMode, 16);
    EXPECT_EQ(manager->GetSourceImage().rows, 2);
}

// The hosts' conversion into the module's form, by hand: 16-bit v becomes
// v · 255 / 65535 rounded (128 is 0.498, 129 is 0.502), grey is spread to the
// three planes, alpha is dropped, and 8-bit BGR passes with its buffer.
TEST(ModuleFormat, SixteenBitScaledRoundedGreySpreadAlphaDropped)
{
    cv::Mat wide(1, 8, CV_16UC1);
    const quint16 in[] = {0, 128, 129, 257, 257 * 100, 257 * 7 + 128, 32896, 65535};
    const uchar expected[] = {0, 0, 1, 1, 100, 7, 128, 255};
    for (int i = 0; i < 8; ++i)
        wide.at<quint16>(0, i) = in[i];
    const cv::Mat out = PixelFormatAdapter::ToModuleFormat(wide);
    ASSERT_EQ(out.type(), CV_8UC3);
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(out.at<cv::Vec3b>(0, i), cv::Vec3b::all(expected[i])) << i;
    const cv::Mat rgba(1, 1, CV_8UC4, cv::Scalar(10, 20, 30, 0));
    EXPECT_EQ(PixelFormatAdapter::ToModuleFormat(rgba).at<cv::Vec3b>(0, 0), cv::Vec3b(10, 20, 30));
    const cv::Mat bgr = testimages::Colour(2, 3, 1, 2, 3);
    EXPECT_EQ(PixelFormatAdapter::ToModuleFormat(bgr).data, bgr.data);
}

TEST_F(ControllerTest, StepOneSharesTheCanvasBufferStepZeroEndsCounting)
{
    cv::Mat first = testimages::Colour(4, 5, 1, 2, 3);
    StartWith(first);
    EXPECT_EQ(manager->GetSourceImage().data, first.data);
    EXPECT_EQ(canvas.ShowCount(), 0);
    // Clearing the results announces the change.
    EXPECT_EQ(events->Codes(), std::vector<int>{17});
    cv::Mat second = testimages::Colour(6, 7, 9, 9, 9);
    StartWith(second);
    EXPECT_TRUE(manager->IsAutoCountStarted());
    EXPECT_EQ(manager->GetSourceImage().data, second.data);
    EXPECT_EQ(events->Count(17), 2);

    AutoCountManager::regionSelectionMode = 2;
    manager->SetAutoCountStep(0);
    EXPECT_FALSE(manager->IsAutoCountStarted());
    EXPECT_EQ(AutoCountManager::regionSelectionMode, 0);
    EXPECT_EQ(canvas.LastShown().data, second.data);
    EXPECT_FALSE(canvas.LastShownInverted());
    EXPECT_EQ(events->Codes().back(), 53);
}

TEST_F(ControllerTest, BackShowsTheImageOfEachStep)
{
    cv::Mat image = testimages::Colour(4, 5, 1, 2, 3);
    StartWith(image);
    manager->Back(2); // the binary image, inverted, even before one is made
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);

    cv::Mat binary = testimages::Grey(4, 5, 255);
    manager->SetBinaryImage(binary);
    manager->Back(3);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, binary.data);

    for (int step : {0, 1, 4, 7}) {
        SCOPED_TRACE(step);
        manager->Back(step);
        EXPECT_FALSE(canvas.LastShownInverted());
        EXPECT_EQ(canvas.LastShown().data, image.data);
    }
    EXPECT_EQ(AutoCountManager::autoCountStep, 1);
}

} // namespace

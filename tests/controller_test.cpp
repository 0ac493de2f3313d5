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

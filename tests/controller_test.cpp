// The workflow step machine and the host services it calls.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "host/hostpaths.h"
#include "host/pixelformatadapter.h"
#include "host/scaleservice.h"

#include <QGraphicsRectItem>

#include <gtest/gtest.h>

namespace {

TEST_F(ControllerTest, StartsAtStepZeroWithNothingHighlighted)
{
    EXPECT_FALSE(manager->IsAutoCountStarted());
    EXPECT_EQ(manager->GetHighlightedIndex(), -1);
    EXPECT_TRUE(manager->GetSourceImage().empty());
    EXPECT_TRUE(manager->GetBinaryImage().empty());
    EXPECT_EQ(manager->GetHighlightOverlay(), nullptr);
}

TEST_F(ControllerTest, StepZeroBeforeAnyStartShowsEmptySourceAndSendsEvent53)
{
    manager->SetAutoCountStep(0);
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_FALSE(canvas.LastShownInverted());
    EXPECT_TRUE(canvas.LastShown().empty());
    EXPECT_EQ(events->Codes(), std::vector<int>{53});
}

TEST_F(ControllerTest, StepOneSharesTheCanvasBufferAndDoesNotRepaint)
{
    cv::Mat image = testimages::Colour(4, 5, 1, 2, 3);
    StartWith(image);
    EXPECT_TRUE(manager->IsAutoCountStarted());
    EXPECT_EQ(manager->GetSourceImage().data, image.data);
    EXPECT_EQ(canvas.ShowCount(), 0);
    // Clearing the results announces the change.
    EXPECT_EQ(events->Codes(), std::vector<int>{17});
}

TEST_F(ControllerTest, StepOneTwiceCapturesTheCanvasAfresh)
{
    cv::Mat first = testimages::Colour(4, 5, 1, 2, 3);
    cv::Mat second = testimages::Colour(6, 7, 9, 9, 9);
    StartWith(first);
    StartWith(second);
    EXPECT_EQ(manager->GetSourceImage().data, second.data);
    EXPECT_EQ(events->Count(17), 2);
}

TEST_F(ControllerTest, StepOneAcceptsAnEmptyCanvas)
{
    StartWith(cv::Mat());
    EXPECT_TRUE(manager->GetSourceImage().empty());
    EXPECT_TRUE(manager->IsAutoCountStarted());
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

TEST_F(ControllerTest, OutOfRangeStepIsOnlyStored)
{
    StartWith(testimages::Colour(4, 5, 1, 2, 3));
    events->Clear();
    manager->SetAutoCountStep(5);
    EXPECT_EQ(AutoCountManager::autoCountStep, 5);
    EXPECT_TRUE(manager->IsAutoCountStarted());
    EXPECT_FALSE(manager->IsAcceptMouseEvent());
    EXPECT_TRUE(events->Codes().empty());
    EXPECT_EQ(canvas.ShowCount(), 0);
}

TEST_F(ControllerTest, StepZeroEndsCountingAndSwitchesTheRegionToolOff)
{
    cv::Mat image = testimages::Colour(4, 5, 1, 2, 3);
    StartWith(image);
    AutoCountManager::regionSelectionMode = 2;
    manager->SetAutoCountStep(0);
    EXPECT_FALSE(manager->IsAutoCountStarted());
    EXPECT_EQ(AutoCountManager::regionSelectionMode, 0);
    EXPECT_EQ(canvas.LastShown().data, image.data);
    EXPECT_FALSE(canvas.LastShownInverted());
    EXPECT_EQ(events->Codes().back(), 53);
}

TEST_F(ControllerTest, BackShowsTheImageOfEachStep)
{
    cv::Mat image = testimages::Colour(4, 5, 1, 2, 3);
    StartWith(image);
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

TEST_F(ControllerTest, BackToSegmentationShowsTheBinaryImageInverted)
{
    StartWith(testimages::Colour(4, 5, 1, 2, 3));
    manager->Back(2);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);
}

TEST_F(ControllerTest, DisplayModeIsStored)
{
    manager->SetDisplayMode(1);
    EXPECT_EQ(AutoCountManager::displayMode, 1);
}

TEST(HostServices, EventObserversSeeEveryBroadcastUntilRemoved)
{
    std::vector<std::pair<int, void*>> seen;
    const int id =
        HostEvents::AddObserver([&](int code, void* payload) { seen.emplace_back(code, payload); });
    int value = 3;
    BroadcastHostEvent(36, &value);
    HostEvents::RemoveObserver(id);
    BroadcastHostEvent(17, nullptr);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].first, 36);
    EXPECT_EQ(seen[0].second, &value);
}

TEST(HostServices, SettingsPathFollowsTheChosenDirectory)
{
    const QString fallback = HostPaths::SettingsPath("autocount");
    EXPECT_TRUE(fallback.endsWith("/autocount"));
    HostPaths::SetSettingsDirectory("/some/where");
    EXPECT_EQ(HostPaths::SettingsPath("autocount"), QString("/some/where/autocount"));
    HostPaths::SetSettingsDirectory(QString());
    EXPECT_EQ(HostPaths::SettingsPath("autocount"), fallback);
}

TEST(HostServices, DefaultConversionCopiesUnchanged)
{
    cv::Mat src = testimages::Colour(2, 3, 4, 5, 6);
    cv::Mat dst;
    PixelFormatAdapter::Convert(src, dst, 16);
    EXPECT_TRUE(testimages::SameImage(src, dst));
    EXPECT_NE(src.data, dst.data);
    cv::Mat same = src;
    PixelFormatAdapter::Convert(same, same, 16);
    EXPECT_EQ(same.data, src.data);
}

TEST(HostServices, CalibrationDefaultsToUnitScaleAndNoUnit)
{
    const CalibrationEntry entry = ScaleService::calibrationStore.GetCurrentEntry();
    EXPECT_EQ(entry.scale, 1.0);
    EXPECT_TRUE(entry.unitName.isEmpty());
}

} // namespace

// The controller's measurement run and the stand-alone measurement worker.

#include "autocount/workers/calculatedatamanager.h"
#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <QSignalSpy>

#include <gtest/gtest.h>

namespace {

// Colour picture with bytes 250,0,0 (grey 29 blue first, 75 red first) and a
// mask with two objects clear of the border and one touching it.
class MeasurementRunTest : public ControllerTest
{
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        StartWith(testimages::Colour(60, 80, 250, 0, 0));
        mask = testimages::Grey(60, 80);
        mask(cv::Rect(10, 10, 5, 5)).setTo(255); // clear of the border
        mask(cv::Rect(40, 20, 8, 6)).setTo(255); // clear of the border
        mask(cv::Rect(1, 40, 6, 6)).setTo(255);  // its outline starts at x = 1
        manager->SetBinaryImage(mask);
    }

    cv::Mat mask;
};

TEST_F(MeasurementRunTest, MeasuresBlueFirstAndDropsBorderObjects)
{
    manager->CalculateData();
    ASSERT_EQ(manager->GetAllResults().size(), 2u);
    for (const parResult& r : manager->GetAllResults()) {
        // (1868·250 + 8192) >> 14 = 29; the red-first reading would give 75.
        EXPECT_DOUBLE_EQ(r.meanGray, 29);
        EXPECT_TRUE(r.area == 16 || r.area == 35); // 4 x 4 and 7 x 5 outlines
    }
    EXPECT_TRUE(manager->GetValidResults().empty()); // filtering is a separate call
}

TEST_F(MeasurementRunTest, SecondRunDoublesTheListsAndAnEmptyBinaryEmptiesThem)
{
    manager->CalculateData();
    manager->CalculateData();
    const ContourList& contours = manager->GetAllContours();
    ASSERT_EQ(contours.size(), 4u);
    EXPECT_EQ(contours[0], contours[2]);
    // Nothing is measured, and the border pass with width = height = 0 finds
    // every point beyond x > -5: all objects go.
    manager->SetBinaryImage(cv::Mat());
    manager->CalculateData();
    EXPECT_TRUE(manager->GetAllContours().empty());
    EXPECT_TRUE(manager->GetAllResults().empty());
}

TEST_F(MeasurementRunTest, WithoutTheBorderPassBorderObjectsStay)
{
    AutoCountManager::isProcessBound = false;
    manager->CalculateData();
    EXPECT_EQ(manager->GetAllContours().size(), 3u);
}

TEST_F(MeasurementRunTest, PublishFiltersDrawsShowsAndAnnounces)
{
    manager->CalculateData();
    events->Clear();
    const int shows = canvas.ShowCount();
    manager->ObjectDetectAndCalculateData();
    EXPECT_EQ(manager->GetValidResults().size(), 2u); // no ranges set: all valid
    EXPECT_EQ(canvas.ShowCount(), shows + 1);
    EXPECT_EQ(canvas.LastShown().data, manager->GetSourceImage().data);
    EXPECT_EQ(events->Codes(), std::vector<int>{HOST_EVENT_RESULTS_CHANGED});
}

TEST(CalculateDataWorker, MeasuresTheBinaryAsItIsWhenTheSlotRuns)
{
    // The worker reads the caller's binary image at slot time, not at
    // construction; it measures on its own picture (grey 40 here).
    cv::Mat binary = testimages::Grey(20, 20);
    ContourList contours;
    std::vector<parResult> results;
    CalculateDataManager worker(testimages::Grey(20, 20, 40), binary, contours, results);
    binary = testimages::Grey(20, 20);
    binary(cv::Rect(5, 5, 3, 3)).setTo(255);

    QSignalSpy finished(&worker, &CalculateDataManager::signalCalculateDataFinished);
    worker.slotCalculateData();
    EXPECT_EQ(finished.count(), 1);
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].integral, 9 * 40);
}

} // namespace

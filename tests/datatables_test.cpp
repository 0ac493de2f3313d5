// The object table and the statistics table.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "host/scaleservice.h"

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;

const QStringList kStatisticsHeader = {
    "Function", "Mean", "Standard Deviation", "Minimum", "Maximum", "Range", "Sum", "Count Number"};

class ResultTables : public ControllerTest
{
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        saved_ = ScaleService::calibrationStore.GetCurrentEntry();
        CalibrationEntry entry;
        entry.unitName = "px";
        ScaleService::calibrationStore.SetCurrentEntry(entry);
        Manager::InitDataTypeMap();
    }
    void TearDown() override
    {
        ScaleService::calibrationStore.SetCurrentEntry(saved_);
        ControllerTest::TearDown();
    }

    QList<QStringList> Table(bool statistics)
    {
        QList<QStringList> rows;
        statistics ? manager->GetStatisticsData(rows) : manager->GetObjectData(rows);
        return rows;
    }

    CalibrationEntry saved_;
};

TEST_F(ResultTables, WithNoObjectsTheTableIsItsHeaderAndMeanAndDeviationAreNan)
{
    const QStringList names = {QString("Area_px") + QChar(0x00B2), "Roundness", "Long Axis_px",
                               "Short Axis_px"};
    EXPECT_EQ(Table(false), QList<QStringList>{QStringList{"NO."} + names});
    // n = 0: mean and deviation are 0/0; minimum, maximum and sum stay 0.
    const QList<QStringList> rows = Table(true);
    ASSERT_EQ(rows.size(), 5);
    EXPECT_EQ(rows[0], kStatisticsHeader);
    for (int i = 1; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rows[i], (QStringList{names[i - 1], "nan", "nan", "0.000", "0.000", "0.000",
                                        "0.000", "0.000"}));
    }
}

TEST_F(ResultTables, StatisticsTakeThePopulationDeviation)
{
    // Blocks 2 pixels wide and 2..5 high: outlines of areas 1, 2, 3 and 4.
    // Mean 2.5, deviation √((2.25 + 0.25 + 0.25 + 2.25) / 4) = √1.25 = 1.118
    // (divided by n; n - 1 would give 1.291).
    StartWith(testimages::Colour(40, 40, 50, 50, 50));
    cv::Mat mask = testimages::Grey(40, 40);
    for (int i = 0; i < 4; ++i)
        mask(cv::Rect(5 + 6 * i, 10, 2, 2 + i)).setTo(255);
    manager->SetBinaryImage(mask);
    manager->CalculateData();
    manager->ObjectDetectAndCalculateData();
    ASSERT_EQ(manager->GetValidResults().size(), 4u);

    const QList<QStringList> rows = Table(true);
    ASSERT_EQ(rows.size(), 5);
    EXPECT_EQ(rows[1], (QStringList{QString("Area_px") + QChar(0x00B2), "2.500", "1.118", "1.000",
                                    "4.000", "3.000", "10.000", "4.000"}));
}

} // namespace

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

} // namespace

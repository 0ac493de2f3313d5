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
        manager->SetDefaultDataRange();
        ScaleService::calibrationStore.SetCurrentEntry(saved_);
        ControllerTest::TearDown();
    }

    QList<QStringList> ObjectTable()
    {
        QList<QStringList> rows;
        manager->GetObjectData(rows);
        return rows;
    }
    QList<QStringList> Statistics()
    {
        QList<QStringList> rows;
        manager->GetStatisticsData(rows);
        return rows;
    }

    void DisableAll()
    {
        for (const QString& name : Manager::nameDataTypeMap.keys())
            manager->DeleteDataType(name);
    }

    CalibrationEntry saved_;
};

TEST_F(ResultTables, NamesOfTheEnabledTypesCarryUnitsAndAreAppended)
{
    QStringList names{"kept"};
    manager->GetDataTypeNameList(names);
    EXPECT_EQ(names, (QStringList{"kept", QString("Area_px") + QChar(0x00B2), "Roundness",
                                  "Long Axis_px", "Short Axis_px"}));
}

TEST_F(ResultTables, WithNoObjectsTheTableIsOnlyItsHeader)
{
    const QList<QStringList> expected = {
        {"NO.", QString("Area_px") + QChar(0x00B2), "Roundness", "Long Axis_px", "Short Axis_px"}};
    EXPECT_EQ(ObjectTable(), expected);
}

TEST_F(ResultTables, WithNoObjectsMeanAndDeviationAreNan)
{
    // n = 0: mean and deviation are 0/0; minimum, maximum and sum stay 0.
    const QList<QStringList> rows = Statistics();
    ASSERT_EQ(rows.size(), 5);
    EXPECT_EQ(rows[0], kStatisticsHeader);
    EXPECT_EQ(rows[2], (QStringList{"Roundness", "nan", "nan", "0.000", "0.000", "0.000", "0.000",
                                    "0.000"}));
    for (int i = 1; i < rows.size(); ++i) {
        SCOPED_TRACE(i);
        ASSERT_EQ(rows[i].size(), 8);
        EXPECT_EQ(rows[i][1], "nan");
        EXPECT_EQ(rows[i][2], "nan");
    }
}

TEST_F(ResultTables, WithNoEnabledTypeOnlyTheNumberColumnAndHeaderRemain)
{
    DisableAll();
    EXPECT_EQ(ObjectTable(), QList<QStringList>{QStringList{"NO."}});
    EXPECT_EQ(Statistics(), QList<QStringList>{kStatisticsHeader});
}

TEST_F(ResultTables, TablesAppendToWhatTheCallerPasses)
{
    QList<QStringList> rows{{"a"}};
    manager->GetObjectData(rows);
    manager->GetStatisticsData(rows);
    ASSERT_EQ(rows.size(), 1 + 1 + 5);
    EXPECT_EQ(rows[0], QStringList{"a"});
    EXPECT_EQ(rows[1][0], "NO.");
    EXPECT_EQ(rows[2], kStatisticsHeader);
}

} // namespace

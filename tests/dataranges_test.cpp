// Filter ranges by name and the validity test of one record.

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Manager = AutoCountManager;

class DataRanges : public ::testing::Test
{
protected:
    void SetUp() override
    {
        saved_ = ScaleService::calibrationStore.GetCurrentEntry();
        ScaleService::calibrationStore.SetCurrentEntry(CalibrationEntry{});
        Manager::InitDataTypeMap();
    }
    void TearDown() override
    {
        manager.SetDefaultDataRange();
        ScaleService::calibrationStore.SetCurrentEntry(saved_);
    }

    QList<QStringList> Rows()
    {
        QList<QStringList> rows;
        manager.GetDataRangeList(rows);
        return rows;
    }

    static bool Valid(const parResult& record)
    {
        return IsObjectDataValid(Manager::dataRangeList, record);
    }

    /// A record that passes the default filter comfortably.
    static parResult Ordinary()
    {
        parResult r;
        r.area = 50.0;
        r.roundness = 0.8;
        r.longAxis = 9.0f;
        r.shortAxis = 7.0f;
        r.direction = -20.0f;
        return r;
    }

    CalibrationEntry saved_;
    Manager manager;
};

TEST_F(DataRanges, DefaultsListFourWideOpenFilters)
{
    const QList<QStringList> expected = {
        {"Area", "0.000", "10000000.000"},
        {"Roundness", "0.000", "10000000.000"},
        {"Long Axis", "0.000", "10000000.000"},
        {"Short Axis", "0.000", "10000000.000"},
    };
    EXPECT_EQ(Rows(), expected);
}

TEST_F(DataRanges, DefaultsOfTheDisabledTypes)
{
    const auto* direction = Manager::dataRangeList.value(Manager::DATA_DIRECTION);
    EXPECT_FALSE(direction->enabled);
    EXPECT_EQ(direction->minValue, -1000.0);
    EXPECT_EQ(direction->maxValue, 1000.0);
    for (int value : {1, 2, 3, 5, 6, 10, 11, 12, 13, 14}) {
        SCOPED_TRACE(value);
        const auto* range = Manager::dataRangeList.value(Manager::OBJECT_DATA_TYPE(value));
        EXPECT_FALSE(range->enabled);
        EXPECT_EQ(range->minValue, 0.0);
        EXPECT_EQ(range->maxValue, 10000000.0);
    }
}

TEST_F(DataRanges, ListAppendsInTypeOrderWithoutClearing)
{
    manager.AddDataType("Min Gray Value");
    manager.AddDataType("Perimeter");
    manager.DeleteDataType("Roundness");
    QList<QStringList> rows{{"kept"}};
    manager.GetDataRangeList(rows);
    ASSERT_EQ(rows.size(), 6);
    EXPECT_EQ(rows[0], QStringList{"kept"});
    QStringList names;
    for (int i = 1; i < rows.size(); ++i)
        names << rows[i][0];
    EXPECT_EQ(names,
              (QStringList{"Area", "Perimeter", "Long Axis", "Short Axis", "Min Gray Value"}));
}

TEST_F(DataRanges, LimitsSurviveDisablingAndPrintWithThreeDecimals)
{
    manager.AddDataType("Direction");
    manager.ModifyDataMinValue("Direction", 0.0);
    manager.ModifyDataMaxValue("Direction", 45.12345);
    manager.DeleteDataType("Direction");
    EXPECT_EQ(Rows().size(), 4);
    manager.AddDataType("Direction");
    const QList<QStringList> rows = Rows();
    ASSERT_EQ(rows.size(), 5);
    EXPECT_EQ(rows[4], (QStringList{"Direction", "0.000", "45.123"}));
}

TEST_F(DataRanges, UnknownNamesAreIgnored)
{
    const QList<QStringList> before = Rows();
    manager.AddDataType("Volume");
    manager.DeleteDataType("area"); // names are exact
    manager.ModifyDataMinValue("", 5.0);
    manager.ModifyDataMaxValue("Area_", -5.0);
    EXPECT_EQ(Rows(), before);
    EXPECT_EQ(Manager::nameDataTypeMap.size(), 15);
}

TEST_F(DataRanges, DefaultResetUndoesEveryEdit)
{
    manager.AddDataType("Integral");
    manager.DeleteDataType("Area");
    manager.ModifyDataMaxValue("Roundness", 0.5);
    manager.SetDefaultDataRange();
    EXPECT_EQ(Rows().size(), 4);
    EXPECT_EQ(Rows()[1], (QStringList{"Roundness", "0.000", "10000000.000"}));
}

TEST_F(DataRanges, BoundsAreInclusive)
{
    parResult r = Ordinary();
    r.area = 10000000.0;
    EXPECT_TRUE(Valid(r));
    r.area = 10000000.5;
    EXPECT_FALSE(Valid(r));
    r.area = 0.0;
    EXPECT_TRUE(Valid(r));
    r.area = -0.001;
    EXPECT_FALSE(Valid(r));
}

TEST_F(DataRanges, TheFilterComparesCalibratedValues)
{
    CalibrationEntry entry;
    entry.scale = 2.0;
    ScaleService::calibrationStore.SetCurrentEntry(entry);
    parResult r = Ordinary();
    r.area = 2500000.0; // 2500000·2·2 = 10000000, still inside
    EXPECT_TRUE(Valid(r));
    r.area = 2500001.0; // 10000004, outside
    EXPECT_FALSE(Valid(r));
}

TEST_F(DataRanges, DirectionRangeDropsNegativeAngles)
{
    manager.AddDataType("Direction");
    manager.ModifyDataMinValue("Direction", 0.0);
    manager.ModifyDataMaxValue("Direction", 45.0);
    parResult r = Ordinary();
    r.direction = -0.5f;
    EXPECT_FALSE(Valid(r));
    r.direction = 0.0f;
    EXPECT_TRUE(Valid(r));
    r.direction = 45.0f;
    EXPECT_TRUE(Valid(r));
    r.direction = 45.5f;
    EXPECT_FALSE(Valid(r));
}

TEST_F(DataRanges, AMinimumAboveTheMaximumRejectsEverything)
{
    manager.ModifyDataMinValue("Roundness", 20000000.0); // above the maximum 10000000
    parResult r = Ordinary();
    for (double roundness : {0.0, 1.0, 10000000.0, 20000000.0}) {
        r.roundness = roundness;
        EXPECT_FALSE(Valid(r)) << roundness;
    }
}

TEST_F(DataRanges, DisabledRangesDoNotFilter)
{
    parResult r = Ordinary();
    r.area = -5.0;
    r.integral = -7;
    manager.DeleteDataType("Area");
    EXPECT_TRUE(Valid(r));
    for (const QString& name : Manager::nameDataTypeMap.keys())
        manager.DeleteDataType(name);
    r.roundness = -1.0;
    EXPECT_TRUE(Valid(r));
}

TEST_F(DataRanges, ANotANumberPassesBothBounds)
{
    parResult r = Ordinary();
    r.roundness = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(Valid(r));
}

TEST_F(DataRanges, AnyEnabledRangeCanReject)
{
    manager.AddDataType("Max Gray Value");
    manager.ModifyDataMaxValue("Max Gray Value", 100.0);
    parResult r = Ordinary();
    r.maxGray = 100;
    EXPECT_TRUE(Valid(r));
    r.maxGray = 101;
    EXPECT_FALSE(Valid(r));
}

} // namespace

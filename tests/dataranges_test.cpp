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

    static bool Valid(const parResult& record)
    {
        return IsObjectDataValid(Manager::dataRangeList, record);
    }

    CalibrationEntry saved_;
    Manager manager;
};

TEST_F(DataRanges, EditsListInTypeOrderSurviveDisablingAndResetUndoesThem)
{
    manager.AddDataType("Min Gray Value");
    manager.AddDataType("Direction");
    manager.ModifyDataMinValue("Direction", 0.0);
    manager.ModifyDataMaxValue("Direction", 45.12345);
    manager.DeleteDataType("Direction");
    manager.AddDataType("Direction");
    manager.DeleteDataType("Roundness");
    QList<QStringList> rows{{"kept"}};
    manager.GetDataRangeList(rows);
    const QList<QStringList> expected = {{"kept"},
                                         {"Area", "0.000", "10000000.000"},
                                         {"Long Axis", "0.000", "10000000.000"},
                                         {"Short Axis", "0.000", "10000000.000"},
                                         {"Direction", "0.000", "45.123"},
                                         {"Min Gray Value", "0.000", "10000000.000"}};
    EXPECT_EQ(rows, expected);

    // The defaults: four wide-open filters; direction is -1000..1000 when enabled.
    manager.SetDefaultDataRange();
    rows.clear();
    manager.GetDataRangeList(rows);
    EXPECT_EQ(rows, (QList<QStringList>{{"Area", "0.000", "10000000.000"},
                                        {"Roundness", "0.000", "10000000.000"},
                                        {"Long Axis", "0.000", "10000000.000"},
                                        {"Short Axis", "0.000", "10000000.000"}}));
    const auto* direction = Manager::dataRangeList.value(Manager::DATA_DIRECTION);
    EXPECT_EQ(direction->minValue, -1000.0);
    EXPECT_EQ(direction->maxValue, 1000.0);
}

TEST_F(DataRanges, BoundsAreInclusiveOnCalibratedValues)
{
    parResult r; // all zero: inside every default range
    for (const auto& [area, valid] :
         {std::pair{10000000.0, true}, {10000000.5, false}, {0.0, true}, {-0.001, false}}) {
        r.area = area;
        EXPECT_EQ(Valid(r), valid) << area;
    }
    CalibrationEntry entry;
    entry.scale = 2.0;
    ScaleService::calibrationStore.SetCurrentEntry(entry);
    r.area = 2500000.0; // 2500000·2·2 = 10000000, still inside
    EXPECT_TRUE(Valid(r));
    r.area = 2500001.0; // 10000004, outside
    EXPECT_FALSE(Valid(r));
}

TEST_F(DataRanges, OddRangesAndDisabledTypes)
{
    parResult r;                                            // all zero: inside every default range
    r.roundness = std::numeric_limits<double>::quiet_NaN(); // passes both bounds
    EXPECT_TRUE(Valid(r));

    manager.ModifyDataMinValue("Roundness", 20000000.0); // above the maximum
    r.roundness = 1.0;
    EXPECT_FALSE(Valid(r));

    // A direction range 0..45 drops negative angles.
    manager.SetDefaultDataRange();
    manager.AddDataType("Direction");
    manager.ModifyDataMinValue("Direction", 0.0);
    manager.ModifyDataMaxValue("Direction", 45.0);
    for (const auto& [direction, valid] :
         {std::pair{-0.5f, false}, {0.0f, true}, {45.0f, true}, {45.5f, false}}) {
        r.direction = direction;
        EXPECT_EQ(Valid(r), valid) << direction;
    }

    r.area = -5.0;
    for (const QString& name : Manager::nameDataTypeMap.keys())
        manager.DeleteDataType(name);
    EXPECT_TRUE(Valid(r)); // disabled ranges do not filter
}

} // namespace

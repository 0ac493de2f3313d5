// Filter ranges by name and the validity test of one record, also for bounds
// that are not ordinary numbers and names not in the catalogue.

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <tuple>

namespace {

using Manager = AutoCountManager;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

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

    /// A record with this area and ordinary values elsewhere.
    static bool ValidArea(double area)
    {
        parResult r;
        r.area = area;
        r.roundness = 0.5;
        r.longAxis = 4.0f;
        r.shortAxis = 2.0f;
        return Valid(r);
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

// A record is rejected when min > v or v > max, so a NaN bound rejects
// nothing. The default Area range is 0 to below 2e7; an empty bound stays.
TEST_F(DataRanges, NaNBoundsPassEverythingAndInfiniteBoundsAreOpenEnds)
{
    const std::optional<double> keep;
    const std::tuple<std::optional<double>, std::optional<double>, double, bool> cases[] = {
        {kNaN, keep, -5.0, true},  {kNaN, keep, 2e7, false},    {keep, kNaN, 1e300, true},
        {keep, kNaN, -1.0, false}, {kNaN, kNaN, -kInf, true},   {kNaN, kNaN, kNaN, true},
        {-kInf, kInf, kInf, true}, {-kInf, kInf, -1e308, true}, {kInf, keep, 1e308, false},
        {kInf, kInf, kInf, true}, // the only value in [inf, inf]
    };
    for (const auto& [min, max, area, valid] : cases) {
        SCOPED_TRACE(testing::Message() << min.value_or(0) << " " << max.value_or(0));
        manager.SetDefaultDataRange();
        if (min)
            manager.ModifyDataMinValue("Area", *min);
        if (max)
            manager.ModifyDataMaxValue("Area", *max);
        EXPECT_EQ(ValidArea(area), valid);
    }
}

TEST_F(DataRanges, UnknownNamesChangeNeitherTheListNorTheFilter)
{
    manager.SetDefaultDataRange();
    QList<QStringList> before, after;
    manager.GetDataRangeList(before);
    for (const QString& name : {QString(), QString("Volume"), QString("AREA"), QString("Area "),
                                QString::fromUtf8("\xc3\x84rea"), QString(10000, 'x')}) {
        manager.AddDataType(name);
        manager.ModifyDataMinValue(name, kInf);
        manager.ModifyDataMaxValue(name, -kInf);
        manager.DeleteDataType(name);
    }
    manager.GetDataRangeList(after);
    EXPECT_EQ(after, before);
    EXPECT_EQ(Manager::nameDataTypeMap.size(), 15);
    EXPECT_TRUE(ValidArea(10.0));
}

} // namespace

// The data-type catalogue: names, units and calibrated values.

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;

class DataTypeCatalogue : public ::testing::Test
{
protected:
    void SetUp() override
    {
        saved_ = ScaleService::calibrationStore.GetCurrentEntry();
        Manager::InitDataTypeMap();
    }
    void TearDown() override { ScaleService::calibrationStore.SetCurrentEntry(saved_); }

    static void Calibrate(const QString& unit, double scale)
    {
        CalibrationEntry entry;
        entry.unitName = unit;
        entry.scale = scale;
        ScaleService::calibrationStore.SetCurrentEntry(entry);
    }

    CalibrationEntry saved_;
};

const QStringList kPlainNames = {
    "Area",     "Perimeter",          "Radius",          "Diameter",       "Roundness",
    "Center X", "Center Y",           "Long Axis",       "Short Axis",     "Direction",
    "Integral", "Standard Deviation", "Mean Gray Value", "Max Gray Value", "Min Gray Value"};

TEST_F(DataTypeCatalogue, MapsEveryTypeBothWaysAndGivesEachARange)
{
    ASSERT_EQ(Manager::dataTypeNameMap.size(), 15);
    ASSERT_EQ(Manager::nameDataTypeMap.size(), 15);
    ASSERT_EQ(Manager::dataRangeList.size(), 15);
    for (int value = 0; value < 15; ++value) {
        SCOPED_TRACE(value);
        const auto type = Manager::OBJECT_DATA_TYPE(value);
        EXPECT_EQ(Manager::dataTypeNameMap.value(type), kPlainNames[value]);
        EXPECT_EQ(Manager::nameDataTypeMap.value(kPlainNames[value]), type);
        EXPECT_NE(Manager::dataRangeList.value(type), nullptr);
    }
}

TEST_F(DataTypeCatalogue, RepeatedSetUpKeepsTheRangeRecords)
{
    Manager::OBJECT_DATA_RANGE* area = Manager::dataRangeList.value(Manager::DATA_AREA);
    area->minValue = 5.0;
    Manager::InitDataTypeMap();
    EXPECT_EQ(Manager::dataRangeList.value(Manager::DATA_AREA), area);
    EXPECT_EQ(area->minValue, 0.0); // back to the default
}

TEST_F(DataTypeCatalogue, AllNamesAreAppendedInValueOrderWithoutClearing)
{
    QStringList names{"kept"};
    Manager::GetAllDataTypeName(names);
    ASSERT_EQ(names.size(), 16);
    EXPECT_EQ(names.first(), "kept");
    EXPECT_EQ(names.mid(1), kPlainNames);

    names.clear();
    Manager::GetAllDataTypeName(names);
    Manager::GetAllDataTypeName(names);
    EXPECT_EQ(names.size(), 30);
}

TEST_F(DataTypeCatalogue, LengthsAndAreaCarryTheCalibrationUnit)
{
    Calibrate(QString::fromUtf8("µm"), 0.5);
    const QString micro = QString::fromUtf8("µm");
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_AREA), "Area_" + micro + QChar(0x00B2));
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_PERIMETER), "Perimeter_" + micro);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_RADIUS), "Radius_" + micro);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_DIAMETER), "Diameter_" + micro);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_LONG_AXIS), "Long Axis_" + micro);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_SHORT_AXIS), "Short Axis_" + micro);
    for (int value : {4, 5, 6, 9, 10, 11, 12, 13, 14}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(Manager::GetDataTypeName(Manager::OBJECT_DATA_TYPE(value)), kPlainNames[value]);
    }
}

TEST_F(DataTypeCatalogue, AnEmptyUnitStillGetsTheSeparator)
{
    Calibrate(QString(), 1.0);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_AREA), QString("Area_") + QChar(0x00B2));
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_RADIUS), "Radius_");
}

TEST_F(DataTypeCatalogue, ACalibrationChangeAppliesToTheNextName)
{
    Calibrate("mm", 1.0);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_PERIMETER), "Perimeter_mm");
    Calibrate("nm", 1.0);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_PERIMETER), "Perimeter_nm");
}

TEST(DataTypeValue, ScaleTwoMultipliesLengthsOnceAndAreasTwice)
{
    const CalibrationEntry saved = ScaleService::calibrationStore.GetCurrentEntry();
    CalibrationEntry entry;
    entry.scale = 2.0;
    ScaleService::calibrationStore.SetCurrentEntry(entry);

    parResult r;
    r.area = 10.0;
    r.perimeter = 12.5;
    r.radius = 1.5f;
    r.centerX = 7.25f;
    r.centerY = 3.5f;
    r.longAxis = 4.0f;
    r.shortAxis = 2.5f;
    r.direction = -30.0f;
    r.roundness = 0.75;
    r.integral = 123456789012LL;
    r.stdDev = 4.5;
    r.meanGray = 99.5;
    r.maxGray = 200;
    r.minGray = 12;

    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_AREA, r), 40.0); // 10·2·2
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_PERIMETER, r), 25.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_RADIUS, r), 3.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_DIAMETER, r), 6.0); // 2·(1.5+1.5)
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_LONG_AXIS, r), 8.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_SHORT_AXIS, r), 5.0);
    // Centres, angle, ratio and grey values are never scaled.
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_CENTER_X, r), 7.25);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_CENTER_Y, r), 3.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_ROUNDNESS, r), 0.75);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_DIRECTION, r), -30.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_INTEGRAL, r), 123456789012.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_STANDARD_DEVIATION, r), 4.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_MEAN_GRAY, r), 99.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_MAX_GRAY, r), 200.0);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_MIN_GRAY, r), 12.0);

    // Outside the catalogue the value is 0.
    EXPECT_EQ(GetObjectDataValue(Manager::OBJECT_DATA_TYPE(15), r), 0.0);
    EXPECT_EQ(GetObjectDataValue(Manager::OBJECT_DATA_TYPE(99), r), 0.0);

    // A new calibration applies at once.
    entry.scale = 0.5;
    ScaleService::calibrationStore.SetCurrentEntry(entry);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_AREA, r), 2.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_RADIUS, r), 0.75);

    ScaleService::calibrationStore.SetCurrentEntry(saved);
}

} // namespace

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

TEST_F(DataTypeCatalogue, RepeatedSetUpResetsTheRangeRecordsInPlace)
{
    Manager::OBJECT_DATA_RANGE* area = Manager::dataRangeList.value(Manager::DATA_AREA);
    area->minValue = 5.0;
    Manager::InitDataTypeMap();
    EXPECT_EQ(Manager::dataRangeList.value(Manager::DATA_AREA), area); // same record
    EXPECT_EQ(area->minValue, 0.0);
}

TEST_F(DataTypeCatalogue, LengthsAndAreaCarryTheCalibrationUnit)
{
    const QString micro = QString::fromUtf8("µm");
    Calibrate(micro, 0.5);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_AREA), "Area_" + micro + QChar(0x00B2));
    for (int value : {1, 2, 3, 7, 8}) {
        SCOPED_TRACE(value);
        EXPECT_EQ(Manager::GetDataTypeName(Manager::OBJECT_DATA_TYPE(value)),
                  kPlainNames[value] + "_" + micro);
    }
    // An empty unit still gets the separator.
    Calibrate(QString(), 1.0);
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_AREA), QString("Area_") + QChar(0x00B2));
    EXPECT_EQ(Manager::GetDataTypeName(Manager::DATA_RADIUS), "Radius_");
}

TEST_F(DataTypeCatalogue, ScaleTwoMultipliesLengthsOnceAndAreasTwice)
{
    Calibrate("mm", 2.0);
    parResult r;
    r.area = 10.0;
    r.radius = 1.5f;
    r.direction = -30.0f;

    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_AREA, r), 40.0);    // 10·2·2
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_DIAMETER, r), 6.0); // 2·(1.5+1.5)
    // Angles and grey values are never scaled.
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_DIRECTION, r), -30.0);
    // Outside the catalogue the value is 0.
    EXPECT_EQ(GetObjectDataValue(Manager::OBJECT_DATA_TYPE(15), r), 0.0);

    // A new calibration applies at once.
    Calibrate("mm", 0.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_AREA, r), 2.5);
    EXPECT_DOUBLE_EQ(GetObjectDataValue(Manager::DATA_RADIUS, r), 0.75);
}

} // namespace

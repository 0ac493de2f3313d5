// Bounds that are not ordinary numbers, and names not in the catalogue. A
// record is rejected when min > v or v > max: a NaN bound rejects nothing.

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

bool Valid(double area)
{
    parResult r;
    r.area = area;
    r.roundness = 0.5;
    r.longAxis = 4.0f;
    r.shortAxis = 2.0f;
    return IsObjectDataValid(AutoCountManager::dataRangeList, r);
}

struct BadInputRanges : ::testing::Test
{
    void SetUp() override
    {
        ScaleService::calibrationStore.SetCurrentEntry(CalibrationEntry{}); // no scale
        Manager::InitDataTypeMap();
        manager.SetDefaultDataRange();
    }
    Manager manager;
};

// The default Area range starts at 0 and ends below 2e7; an empty bound stays
// as it is.
TEST_F(BadInputRanges, NaNBoundsPassEverythingAndInfiniteBoundsAreOpenEnds)
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
        EXPECT_EQ(Valid(area), valid);
    }
}

TEST_F(BadInputRanges, UnknownNamesChangeNeitherTheListNorTheFilter)
{
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
    EXPECT_TRUE(Valid(10.0));
}

} // namespace

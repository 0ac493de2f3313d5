// Range bounds that are not ordinary numbers, and names that are not in the
// catalogue. A record is rejected when min > v or v > max; both comparisons
// are false for a NaN bound, so a NaN bound lets everything through, and
// infinite bounds are open ends.

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <gtest/gtest.h>

#include <limits>

namespace {

using Manager = AutoCountManager;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

class BadInputRanges : public ::testing::Test
{
protected:
    void SetUp() override
    {
        saved_ = ScaleService::calibrationStore.GetCurrentEntry();
        ScaleService::calibrationStore.SetCurrentEntry(CalibrationEntry{});
        Manager::InitDataTypeMap();
        manager.SetDefaultDataRange();
    }
    void TearDown() override
    {
        manager.SetDefaultDataRange();
        ScaleService::calibrationStore.SetCurrentEntry(saved_);
    }
    static bool Valid(double area)
    {
        parResult r;
        r.area = area;
        r.roundness = 0.5;
        r.longAxis = 4.0f;
        r.shortAxis = 2.0f;
        return IsObjectDataValid(Manager::dataRangeList, r);
    }
    QList<QStringList> Rows()
    {
        QList<QStringList> rows;
        manager.GetDataRangeList(rows);
        return rows;
    }

    CalibrationEntry saved_;
    Manager manager;
};

TEST_F(BadInputRanges, NaNMinimumPassesEverything)
{
    manager.ModifyDataMinValue("Area", kNaN);
    EXPECT_TRUE(Valid(-5.0));
    EXPECT_TRUE(Valid(0.0));
    EXPECT_TRUE(Valid(1e6));
    EXPECT_FALSE(Valid(2e7)); // the maximum still applies
}

TEST_F(BadInputRanges, NaNMaximumPassesEverything)
{
    manager.ModifyDataMaxValue("Area", kNaN);
    EXPECT_TRUE(Valid(1e300));
    EXPECT_FALSE(Valid(-1.0)); // the minimum 0 still applies
}

TEST_F(BadInputRanges, NaNBoundsOnBothSidesPassEvenInfiniteValues)
{
    manager.ModifyDataMinValue("Area", kNaN);
    manager.ModifyDataMaxValue("Area", kNaN);
    EXPECT_TRUE(Valid(-kInf));
    EXPECT_TRUE(Valid(kInf));
    EXPECT_TRUE(Valid(kNaN));
}

TEST_F(BadInputRanges, InfiniteBoundsAreOpenEnds)
{
    manager.ModifyDataMinValue("Area", -kInf);
    manager.ModifyDataMaxValue("Area", kInf);
    EXPECT_TRUE(Valid(-1e308));
    EXPECT_TRUE(Valid(1e308));
    EXPECT_TRUE(Valid(kInf)); // inclusive: inf > inf is false
    EXPECT_TRUE(Valid(-kInf));
}

TEST_F(BadInputRanges, AnInfiniteMinimumAboveEverythingRejectsEverything)
{
    manager.ModifyDataMinValue("Area", kInf);
    EXPECT_FALSE(Valid(1e308));
    manager.ModifyDataMaxValue("Area", kInf);
    EXPECT_TRUE(Valid(kInf)); // the only value in [inf, inf]
}

TEST_F(BadInputRanges, NonFiniteBoundsAreListedAsQtFormatsThem)
{
    manager.ModifyDataMinValue("Area", kNaN);
    manager.ModifyDataMaxValue("Area", -kInf);
    const QList<QStringList> rows = Rows();
    ASSERT_FALSE(rows.isEmpty());
    EXPECT_EQ(rows[0],
              (QStringList{"Area", QString::number(kNaN, 'f', 3), QString::number(-kInf, 'f', 3)}));
}

TEST_F(BadInputRanges, UnknownNamesChangeNeitherTheListNorTheFilter)
{
    const QList<QStringList> before = Rows();
    for (const QString& name : {QString(), QString("Volume"), QString("AREA"), QString("Area "),
                                QString::fromUtf8("\xc3\x84rea"), QString(10000, 'x')}) {
        manager.AddDataType(name);
        manager.ModifyDataMinValue(name, kInf);
        manager.ModifyDataMaxValue(name, -kInf);
        manager.DeleteDataType(name);
    }
    EXPECT_EQ(Rows(), before);
    EXPECT_EQ(Manager::nameDataTypeMap.size(), 15);
    EXPECT_TRUE(Valid(10.0));
}

} // namespace

// The studio's size distribution on its own: its classes and its count axis.
#include "sizedistributionchart.h"

#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>

#include <gtest/gtest.h>

#include <cmath>

TEST(DistributionBinsTest, EqualClassesWithTheLargestValueInTheLast)
{
    const DistributionBins bins = DistributionBins::Make({0, 1, 2, 3, 4, 5, 6, 7, 8, 10}, 5);
    EXPECT_EQ(bins.width, 2.0);
    EXPECT_EQ(bins.counts, (QVector<int>{2, 2, 2, 2, 2}));
    EXPECT_EQ(DistributionBins::Make({3, 3, 3}, 5).counts, QVector<int>{3});
}

TEST(SizeDistributionChartTest, TheCountAxisTicksAtWholeNumbers)
{
    SizeDistributionChart chart;
    for (const int top : {1, 3, 5, 6, 7, 11, 23, 37, 120}) {
        // @p top objects in the first class, one in the last.
        QList<QStringList> rows{{"NO.", "Area"}};
        for (int i = 0; i <= top; ++i)
            rows << QStringList{QString::number(i + 1), i < top ? "1" : "50"};
        chart.SetTable(rows);
        ASSERT_EQ(chart.Bins().counts.first(), top);
        auto* view = chart.findChild<QtCharts::QChartView*>();
        ASSERT_NE(view, nullptr);
        const auto axes = view->chart()->axes(Qt::Vertical);
        ASSERT_EQ(axes.size(), 1);
        const auto* axis = qobject_cast<QtCharts::QValueAxis*>(axes.first());
        ASSERT_NE(axis, nullptr);
        const double step = axis->max() / (axis->tickCount() - 1);
        EXPECT_EQ(axis->min(), 0.0) << top;
        EXPECT_GE(axis->max(), top) << top;
        EXPECT_EQ(step, std::floor(step)) << top << ": a tick every " << step;
        EXPECT_LT(axis->max() - top, step) << top;
        EXPECT_LE(axis->tickCount(), 6) << top;
    }
}

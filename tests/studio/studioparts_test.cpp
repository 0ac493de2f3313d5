// The studio's distribution classes on their own.
#include "sizedistributionchart.h"

#include <gtest/gtest.h>

TEST(DistributionBinsTest, EqualClassesWithTheLargestValueInTheLast)
{
    const DistributionBins bins = DistributionBins::Make({0, 1, 2, 3, 4, 5, 6, 7, 8, 10}, 5);
    EXPECT_EQ(bins.width, 2.0);
    EXPECT_EQ(bins.counts, (QVector<int>{2, 2, 2, 2, 2}));
    EXPECT_EQ(DistributionBins::Make({3, 3, 3}, 5).counts, QVector<int>{3});
}

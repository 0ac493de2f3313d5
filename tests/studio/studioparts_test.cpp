// The studio's stand-alone pieces: image conversion and the distribution classes.
#include "imageloader.h"
#include "sizedistributionchart.h"

#include <gtest/gtest.h>

TEST(ImageLoaderTest, SixteenBitSamplesAreScaledBy255Over65535Rounded)
{
    cv::Mat deep(1, 6, CV_16UC1);
    const ushort in[] = {0, 128, 129, 257, 32896, 65535};
    // 128·255/65535 = 0.498 → 0; 129·255/65535 = 0.502 → 1; 257 → 1; 32896 → 128.
    const int expected[] = {0, 0, 1, 1, 128, 255};
    for (int i = 0; i < 6; ++i)
        deep.at<ushort>(0, i) = in[i];
    const cv::Mat bgr = ImageLoader::ToBgr8(deep);
    ASSERT_EQ(bgr.type(), CV_8UC3);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(bgr.at<cv::Vec3b>(0, i), cv::Vec3b::all(expected[i])) << i;
}

TEST(DistributionBinsTest, EqualClassesWithTheLargestValueInTheLast)
{
    const DistributionBins bins = DistributionBins::Make({0, 1, 2, 3, 4, 5, 6, 7, 8, 10}, 5);
    EXPECT_EQ(bins.width, 2.0);
    EXPECT_EQ(bins.counts, (QVector<int>{2, 2, 2, 2, 2}));
    EXPECT_EQ(DistributionBins::Make({3, 3, 3}, 5).counts, QVector<int>{3});
}

// The distance map and the min-max normalisation of the automatic cut, with
// the older library's results for boxes that an object fills completely.

#include "autocount/alg/opencv24.h"

#include "support/testimages.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <random>

namespace {

using testimages::SameImage;

cv::Mat Floats(std::initializer_list<float> values)
{
    cv::Mat m(1, static_cast<int>(values.size()), CV_32FC1);
    int c = 0;
    for (float v : values)
        m.at<float>(0, c++) = v;
    return m;
}

// Pixels outside the image count as far-away sources, not as background:
// every pixel gets 8192 plus its distance to the image edge.
TEST(DistanceTransformTest, AllObjectBoxesMeasureFromTheImageEdge)
{
    cv::Mat dist, norm;
    cv24::DistanceTransformL2(testimages::Grey(3, 3, 255), dist);
    cv::Mat expected(3, 3, CV_32FC1, cv::Scalar(8193.0f));
    expected.at<float>(1, 1) = 8194.0f;
    EXPECT_TRUE(SameImage(dist, expected));
    cv24::NormalizeMinMax(dist, norm, 0.0, 255.0);
    EXPECT_TRUE(SameImage(norm.row(1), Floats({0.0f, 255.0f, 0.0f})));

    cv24::DistanceTransformL2(testimages::Grey(5, 9, 255), dist);
    EXPECT_TRUE(
        SameImage(dist.row(2), Floats({8193, 8194, 8195, 8195, 8195, 8195, 8195, 8194, 8193})));
    EXPECT_TRUE(SameImage(dist.row(0), cv::Mat(1, 9, CV_32FC1, cv::Scalar(8193.0f))));
    cv24::NormalizeMinMax(dist, norm, 0.0, 255.0);
    EXPECT_TRUE(SameImage(norm.row(2), Floats({0, 127.5f, 255, 255, 255, 255, 255, 127.5f, 0})));
}

// With any background pixel the map is the library's 5 × 5 chamfer map.
TEST(DistanceTransformTest, MatchesTheLibraryWhenThereIsBackground)
{
    std::mt19937 random(11);
    for (int trial = 0; trial < 40; ++trial) {
        SCOPED_TRACE(trial);
        const int rows = 1 + static_cast<int>(random() % 60);
        const int cols = 1 + static_cast<int>(random() % 60);
        cv::Mat binary = testimages::Grey(rows, cols, 255);
        for (int holes = 1 + static_cast<int>(random() % 6); holes > 0; --holes) {
            const cv::Point at(static_cast<int>(random() % cols),
                               static_cast<int>(random() % rows));
            cv::circle(binary, at, static_cast<int>(random() % 4), cv::Scalar(0), cv::FILLED);
        }
        cv::Mat ours, library;
        cv24::DistanceTransformL2(binary, ours);
        cv::distanceTransform(binary, library, cv::DIST_L2, cv::DIST_MASK_5, CV_32F);
        EXPECT_TRUE(SameImage(ours, library));
    }
}

TEST(NormalizeMinMaxTest, MultiplyThenAddInSinglePrecisionAndFlatGoesToZero)
{
    cv::Mat row(1, 32, CV_32FC1);
    for (int c = 0; c < 32; ++c)
        row.at<float>(0, c) = 8193.0f + c;
    cv::Mat norm;
    cv24::NormalizeMinMax(row, norm, 0.0, 255.0);
    EXPECT_TRUE(
        SameImage(norm.colRange(0, 4), Floats({0.0f, 8.2265625f, 16.453125f, 24.6796875f})));
    // No range to stretch: everything goes to the lower bound.
    cv24::NormalizeMinMax(Floats({3, 3, 3}), norm, 0.0, 255.0);
    EXPECT_TRUE(SameImage(norm, Floats({0, 0, 0})));
}

} // namespace

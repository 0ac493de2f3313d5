// Colour deconvolution: a stain's optical density from the colour it gives.

#include "countrun.h"
#include "stains.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <cmath>

namespace {

// The 8-bit BGR colour of @p amount units of the stain whose unit OD vector
// is @p stain (R, G, B), by Beer-Lambert: I = 256 x 10^-OD - 1.
cv::Scalar StainColour(const stains::Vector& stain, double amount)
{
    const double n = std::sqrt(stain[0] * stain[0] + stain[1] * stain[1] + stain[2] * stain[2]);
    double level[3];
    for (int c = 0; c < 3; ++c)
        level[c] =
            std::round(256.0 * std::pow(10.0, -amount * stain[static_cast<size_t>(c)] / n) - 1.0);
    return cv::Scalar(level[2], level[1], level[0]);
}

double MeanDensity(const cv::Mat& image, const stains::Vector& stain, const cv::Mat& mask)
{
    return cv::mean(stains::Density(image, stain), mask)[0];
}

} // namespace

TEST(Stains, HaematoxylinDiscHasItsDensityAndAlmostNoEosin)
{
    const stains::Vector haematoxylin = *stains::Parse("hematoxylin");
    const stains::Vector eosin = *stains::Parse("eosin");
    cv::Mat image(100, 200, CV_8UC3, cv::Scalar::all(255));
    cv::Mat left(image.size(), CV_8UC1, cv::Scalar(0)), right = left.clone();
    cv::circle(left, cv::Point(50, 50), 30, cv::Scalar(255), cv::FILLED);
    cv::circle(right, cv::Point(150, 50), 30, cv::Scalar(255), cv::FILLED);
    image.setTo(StainColour(haematoxylin, 0.8), left);
    image.setTo(StainColour(eosin, 0.6), right);
    EXPECT_NEAR(MeanDensity(image, haematoxylin, left), 0.8, 0.02);
    EXPECT_NEAR(MeanDensity(image, eosin, left), 0.0, 0.03);
    EXPECT_NEAR(MeanDensity(image, eosin, right), 0.6, 0.02);
    EXPECT_NEAR(MeanDensity(image, haematoxylin, right), 0.0, 0.03);
    // White is no stain at all.
    EXPECT_NEAR(MeanDensity(image, haematoxylin, (left == 0) & (right == 0)), 0.0, 1e-9);
}

TEST(Stains, NamesAndVectorsAreRead)
{
    EXPECT_TRUE(stains::Parse("Haematoxylin"));
    EXPECT_TRUE(stains::Parse("DAB"));
    EXPECT_TRUE(stains::Parse("0.2, 0.5, 0.8"));
    EXPECT_FALSE(stains::Parse("0,0,0"));
    EXPECT_FALSE(stains::Parse("1,2"));
    EXPECT_FALSE(stains::Parse("-1,2,3"));
    EXPECT_FALSE(stains::Parse("giemsa"));
}

TEST(Stains, CountOfOneStainLeavesTheOtherOut)
{
    const stains::Vector haematoxylin = *stains::Parse("hematoxylin");
    const stains::Vector eosin = *stains::Parse("eosin");
    cv::Mat image(300, 400, CV_8UC3, cv::Scalar::all(250));
    for (int i = 0; i < 4; ++i) {
        cv::circle(image, cv::Point(60 + 90 * i, 80), 20, StainColour(haematoxylin, 0.9),
                   cv::FILLED);
        cv::circle(image, cv::Point(60 + 90 * i, 220), 20, StainColour(eosin, 0.9), cv::FILLED);
    }
    CountSettings settings;
    settings.stain = QStringLiteral("hematoxylin");
    const countrun::CountResult result = countrun::Count(image, settings);
    ASSERT_EQ(result.Count(), 4);
    for (const Contour& c : result.core.validContours)
        EXPECT_LT(cv::boundingRect(c).y, 150);
    settings.preparation.clear();
    EXPECT_EQ(countrun::Count(image, settings).Count(), 4);
    settings.stain = QStringLiteral("eosin");
    EXPECT_EQ(countrun::Count(image, settings).Count(), 4);
    settings.stain = QStringLiteral("giemsa");
    EXPECT_FALSE(countrun::Count(image, settings).error.isEmpty());
}

// The plane a count thresholds: the colour words name their planes, and the
// automatic mode takes the plane and the polarity from the image.

#include "countrun.h"
#include "planechoice.h"
#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

namespace {

// @p count discs of radius 14 in a row at height @p y, of colour @p colour.
void Discs(cv::Mat& image, int count, int y, const cv::Scalar& colour)
{
    for (int i = 0; i < count; ++i)
        cv::circle(image, cv::Point(40 + 60 * i, y), 14, colour, cv::FILLED);
}

} // namespace

TEST(PlaneChoice, ColourWordsReadThePlanesTheyName)
{
    // Three discs bright in red only, five bright in blue only, two in green.
    cv::Mat image(240, 400, CV_8UC3, cv::Scalar::all(0));
    Discs(image, 3, 40, cv::Scalar(0, 0, 200));
    Discs(image, 5, 120, cv::Scalar(200, 0, 0));
    Discs(image, 2, 200, cv::Scalar(0, 200, 0));
    CountSettings settings;
    settings.mode = SegmentMode::Manual;
    settings.low = 100;
    settings.high = 255;
    const std::pair<Channel, int> expected[] = {
        {Channel::Red, 3}, {Channel::Blue, 5}, {Channel::Green, 2}};
    for (const auto& [channel, discs] : expected) {
        settings.channel = channel;
        const countrun::CountResult result = countrun::Count(image, settings);
        EXPECT_EQ(result.Count(), discs) << qPrintable(countsettings::Name(channel));
        EXPECT_EQ(result.plane, countsettings::Name(channel));
    }
}

TEST(PlaneChoice, AutomaticPolarityTakesTheLargerClassAsBackground)
{
    for (const bool brightObjects : {false, true}) {
        SCOPED_TRACE(brightObjects ? "bright on dark" : "dark on bright");
        const cv::Scalar ground = cv::Scalar::all(brightObjects ? 40 : 210);
        const cv::Scalar object = cv::Scalar::all(brightObjects ? 190 : 70);
        cv::Mat image(240, 400, CV_8UC3, ground);
        Discs(image, 6, 60, object);
        Discs(image, 5, 170, object);
        cv::Mat noise(image.size(), CV_8UC3);
        cv::randn(noise, cv::Scalar::all(0), cv::Scalar::all(6));
        image += noise;
        const countrun::CountResult result = countrun::Count(image, CountSettings());
        EXPECT_EQ(result.Count(), 11);
        EXPECT_EQ(result.plane, QStringLiteral("grey"));
        EXPECT_EQ(result.bright, brightObjects);
        // Even objects that cover most of the region: the larger class is
        // still taken as the background, the stated rule.
        const planechoice::Split split = planechoice::OtsuSplit(
            planechoice::Histogram(planechoice::BandPlane(image, Channel::Grey)));
        EXPECT_EQ(split.brightObjects(), brightObjects);
    }
}

TEST(PlaneChoice, DenseFieldsKeepTheirPolarityThoughTheObjectsCoverMostOfThem)
{
    for (const bool brightObjects : {false, true}) {
        touchingcells::SceneParams params;
        params.kind = touchingcells::Kind::DenseField;
        params.brightObjects = brightObjects;
        params.seed = 103;
        const touchingcells::Scene scene = touchingcells::MakeScene(params);
        EXPECT_EQ(planechoice::Choose(scene.image, cv::Mat()).bright, brightObjects);
    }
}

TEST(PlaneChoice, ColourImagesTakeThePlaneThatSplitsBest)
{
    // Dark red discs on a ground of equal grey level: only the red plane
    // (and stains that absorb red) tells them apart.
    cv::Mat image(240, 400, CV_8UC3, cv::Scalar(200, 120, 160));
    Discs(image, 6, 60, cv::Scalar(200, 181, 40));
    Discs(image, 4, 170, cv::Scalar(200, 181, 40));
    const planechoice::Choice choice = planechoice::Choose(image, cv::Mat());
    EXPECT_NE(choice.plane, QStringLiteral("grey"));
    EXPECT_EQ(countrun::Count(image, CountSettings()).Count(), 10);
}

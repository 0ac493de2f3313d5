// The engine's preparation of the automatic threshold: textured, dim and
// unevenly lit objects, specks, holes, and the measurements in other planes.

#include "countrun.h"
#include "fluorescence.h"
#include "preparation.h"
#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <cmath>

namespace {

constexpr double kPi = 3.14159265358979323846;

// Bright discs of @p levels above a flat background of @p background on a
// grid, blurred a little, with deterministic noise of about +-2.
cv::Mat Discs(const std::vector<double>& levels, double radius, double background,
              double rampTo = -1)
{
    const int cell = static_cast<int>(4 * radius);
    const int columns = 4;
    const int rows = static_cast<int>((levels.size() + columns - 1) / columns);
    cv::Mat stain(rows * cell + cell, columns * cell + cell, CV_32F);
    for (int y = 0; y < stain.rows; ++y)
        for (int x = 0; x < stain.cols; ++x) {
            const double t = static_cast<double>(x) / stain.cols;
            stain.at<float>(y, x) = static_cast<float>(
                rampTo < 0 ? background : background + (rampTo - background) * t);
        }
    for (size_t i = 0; i < levels.size(); ++i) {
        const cv::Point centre(cell + static_cast<int>(i % columns) * cell,
                               cell + static_cast<int>(i / columns) * cell);
        cv::Mat disc(stain.size(), CV_32F, cv::Scalar(0));
        cv::circle(disc, centre, static_cast<int>(radius), cv::Scalar(levels[i]), cv::FILLED);
        stain += disc;
    }
    cv::GaussianBlur(stain, stain, cv::Size(0, 0), 1.2);
    cv::Mat grey(stain.size(), CV_8UC1);
    for (int y = 0; y < stain.rows; ++y)
        for (int x = 0; x < stain.cols; ++x) {
            const double noise =
                2.0 * std::sin(12.9898 * x + 78.233 * y) * std::cos(0.37 * x * y + 1.3);
            grey.at<unsigned char>(y, x) =
                cv::saturate_cast<unsigned char>(stain.at<float>(y, x) + noise);
        }
    cv::Mat image;
    cv::cvtColor(grey, image, cv::COLOR_GRAY2BGR);
    return image;
}

CountSettings Bright()
{
    CountSettings s;
    s.mode = SegmentMode::Bright;
    return s;
}

} // namespace

TEST(Preparation, TexturedNucleiStayOneEach)
{
    fluorescence::SceneParams p;
    p.size = cv::Size(500, 400);
    p.clusterShare = 0;
    p.brightnessRange = 1.5;
    p.texture = 0.35;
    p.minRadius = 18;
    p.seed = 7;
    const fluorescence::Scene scene = fluorescence::MakeScene(p);
    const countrun::CountResult result = countrun::Count(scene.image, Bright());
    const touchingcells::MatchScore score = touchingcells::Score(
        scene.labels, countcore::LabelImage(scene.image.size(), result.core.validContours));
    EXPECT_EQ(score.splits, 0);
    EXPECT_EQ(score.detected, score.truth);
    EXPECT_EQ(score.truePositives, score.truth);
}

TEST(Preparation, DimNucleusAmongBrightOnesIsFound)
{
    // Eleven nuclei 150 grey levels above the background, one at a tenth of that.
    std::vector<double> levels(12, 150.0);
    levels[5] = 15.0;
    const cv::Mat image = Discs(levels, 12, 10);
    EXPECT_EQ(countrun::Count(image, Bright()).Count(), 12);
    CountSettings module = Bright();
    module.preparation.clear();
    EXPECT_EQ(countrun::Count(image, module).Count(), 11); // one Otsu level misses it
}

TEST(Preparation, DimNucleusPressedAgainstABrightOneKeepsItsShape)
{
    // Pairs of discs of radius 14 meeting in a neck: the left one 150 grey
    // levels above the background, the right one at a tenth of that. Truth:
    // each pixel of the discs to the nearer centre.
    const int radius = 14, pairs = 4;
    cv::Mat stain(120, 100 * pairs, CV_32F, cv::Scalar(10));
    cv::Mat truth(stain.size(), CV_32S, cv::Scalar(0));
    for (int i = 0; i < pairs; ++i) {
        const cv::Point2d bright(50.0 + 100 * i - 12.5, 60), dim(50.0 + 100 * i + 12.5, 60);
        for (int y = 0; y < stain.rows; ++y)
            for (int x = 0; x < stain.cols; ++x) {
                const double a = std::hypot(x - bright.x, y - bright.y);
                const double b = std::hypot(x - dim.x, y - dim.y);
                if (std::min(a, b) > radius)
                    continue;
                stain.at<float>(y, x) += a <= b ? 150.f : 15.f;
                truth.at<int>(y, x) = 2 * i + (a <= b ? 1 : 2);
            }
    }
    cv::GaussianBlur(stain, stain, cv::Size(0, 0), 1.2);
    cv::Mat grey, image;
    stain.convertTo(grey, CV_8U);
    cv::cvtColor(grey, image, cv::COLOR_GRAY2BGR);
    const countrun::CountResult result = countrun::Count(image, Bright());
    const touchingcells::MatchScore score =
        touchingcells::Score(truth, countcore::LabelImage(image.size(), result.core.validContours));
    EXPECT_EQ(score.truth, 2 * pairs);
    EXPECT_EQ(score.truePositives, 2 * pairs);
    EXPECT_EQ(score.detected, 2 * pairs);
    // The dim one keeps its whole body up to the bright one's edge: of the
    // blur's width along its rim, no band the width of the local window.
    const cv::Mat detected = countcore::LabelImage(image.size(), result.core.validContours);
    for (int i = 0; i < pairs; ++i) {
        const cv::Mat own = truth == 2 * i + 2;
        double label = 0;
        cv::minMaxLoc(detected, nullptr, &label, nullptr, nullptr, own);
        const cv::Mat found = detected == static_cast<int>(label);
        const double overlap = cv::countNonZero(own & found);
        EXPECT_GT(overlap / (cv::countNonZero(own | found)), 0.9) << "pair " << i;
    }
}

TEST(Preparation, BackgroundRampNeitherCreatesNorRemovesObjects)
{
    // The background triples across the image; the nuclei stand 40 to 120 above it.
    const std::vector<double> levels{40, 80, 120, 60, 100, 40, 120, 80};
    EXPECT_EQ(countrun::Count(Discs(levels, 12, 20, 60), Bright()).Count(), 8);
    const cv::Mat ramp = Discs({}, 12, 20, 60);
    EXPECT_EQ(countrun::Count(ramp, Bright()).Count(), 0);
    CountSettings dark;
    dark.mode = SegmentMode::Dark;
    cv::Mat inverted;
    cv::bitwise_not(Discs(levels, 12, 20, 60), inverted);
    EXPECT_EQ(countrun::Count(inverted, dark).Count(), 8);
}

TEST(Preparation, FragmentBelowTheSpeckFloorIsDroppedUnlessKept)
{
    // Eight nuclei of radius 12 (area about 450) and a fleck of radius 2
    // (about 13, under 0.05 of the typical area).
    cv::Mat image = Discs(std::vector<double>(8, 120.0), 12, 10);
    cv::circle(image, cv::Point(image.cols - 12, image.rows - 12), 2, cv::Scalar::all(130),
               cv::FILLED);
    EXPECT_EQ(countrun::Count(image, Bright()).Count(), 8);
    CountSettings keep = Bright();
    keep.speckFloor = 0;
    EXPECT_EQ(countrun::Count(image, keep).Count(), 9);
}

TEST(Preparation, HoleOfOneObjectIsFilledBackgroundRingedByObjectsIsNot)
{
    cv::Mat binary(200, 400, CV_8UC1, cv::Scalar(0));
    // One nucleus with a dark nucleolus.
    cv::circle(binary, cv::Point(100, 100), 40, cv::Scalar(255), cv::FILLED);
    cv::circle(binary, cv::Point(110, 95), 8, cv::Scalar(0), cv::FILLED);
    // A ring of eight objects, each cut from the next as the distance cut
    // leaves them (no two touch, even diagonally), around background.
    cv::Mat ring(binary.size(), CV_8UC1, cv::Scalar(0));
    cv::circle(ring, cv::Point(300, 100), 60, cv::Scalar(255), cv::FILLED);
    cv::circle(ring, cv::Point(300, 100), 30, cv::Scalar(0), cv::FILLED);
    for (int k = 0; k < 8; ++k) {
        const double a = 2 * kPi * k / 8;
        cv::line(ring, cv::Point(300, 100),
                 cv::Point(300 + static_cast<int>(70 * std::cos(a)),
                           100 + static_cast<int>(70 * std::sin(a))),
                 cv::Scalar(0), 2);
    }
    binary |= ring;
    // A nucleus whose hole holds a separate piece: two objects on its rim.
    cv::circle(binary, cv::Point(300, 100), 14, cv::Scalar(255), 3);
    cv::circle(binary, cv::Point(300, 100), 4, cv::Scalar(255), cv::FILLED);
    cv::Mat before = binary.clone();
    preparation::FillSingleObjectHoles(binary);
    EXPECT_EQ(binary.at<unsigned char>(95, 110), 255);
    EXPECT_EQ(binary.at<unsigned char>(100, 300 + 24), 0); // between ring and its centre
    EXPECT_EQ(binary.at<unsigned char>(100, 300 + 8), 0);  // between the piece and its rim
    EXPECT_EQ(
        cv::countNonZero(binary(cv::Rect(200, 0, 200, 200)) != before(cv::Rect(200, 0, 200, 200))),
        0);
}

TEST(Preparation, OffGivesTheModulesOwnResult)
{
    std::vector<double> levels(8, 120.0);
    const cv::Mat image = Discs(levels, 12, 10);
    CountSettings off = Bright();
    off.preparation.clear();
    off.speckFloor = 0;
    countcore::Request request = countrun::MakeRequest(off);
    request.cut = 2;
    countcore::Hooks hooks;
    hooks.separate = [](cv::Mat&) { return true; };
    CountSettings none = off;
    none.cut = Separation::None;
    const countrun::CountResult engine = countrun::Count(image, none);
    const countcore::Result core = countcore::Count(image, request);
    ASSERT_EQ(engine.core.validContours.size(), core.validContours.size());
    for (size_t i = 0; i < core.validContours.size(); ++i)
        EXPECT_EQ(engine.core.validContours[i], core.validContours[i]);
    EXPECT_EQ(engine.core.thresholds.low, core.thresholds.low);
}

TEST(Preparation, SettingsKeepTheStepsAndReadThemBack)
{
    CountSettings s;
    s.preparation.clear();
    s.preparation << PrepStep::Smooth << PrepStep::Holes;
    s.measureChannels = false;
    const CountSettings back = countsettings::FromJson(countsettings::ToJson(s), CountSettings(),
                                                       QStringLiteral("--settings"));
    EXPECT_EQ(back, s);
    EXPECT_TRUE(countsettings::ParsePreparation("--preparation", "off").isEmpty());
    EXPECT_EQ(countsettings::ParsePreparation("--preparation", "on"), AllPrepSteps());
    EXPECT_EQ(countsettings::ParsePreparation("--preparation", "holes,smooth"), s.preparation);
    EXPECT_THROW(countsettings::ParsePreparation("--preparation", "blur"), UsageError);
}

TEST(ChannelMeasures, ColourPlanesAreMeasuredByChannel)
{
    // A uniform disc: blue 10, green 100, red 200.
    cv::Mat image(200, 200, CV_8UC3, cv::Scalar(0, 0, 0));
    cv::circle(image, cv::Point(100, 100), 30, cv::Scalar(10, 100, 200), cv::FILLED);
    const countrun::CountResult result = countrun::Count(image, Bright());
    ASSERT_EQ(result.Count(), 1);
    const ImageResult summary = countrun::Summarise("x", result);
    ASSERT_EQ(summary.channelKeys.size(), 15);
    ASSERT_EQ(summary.channelRows.size(), 1u);
    const std::vector<double>& row = summary.channelRows[0];
    const int pixels =
        cv::countNonZero(countcore::LabelImage(image.size(), result.core.validContours));
    EXPECT_EQ(summary.channelKeys[0], "mean_gray_c1");
    EXPECT_DOUBLE_EQ(row[0], 200.0);          // red mean
    EXPECT_DOUBLE_EQ(row[1], 200.0 * pixels); // red integral
    EXPECT_DOUBLE_EQ(row[2], 200.0);
    EXPECT_DOUBLE_EQ(row[3], 200.0);
    EXPECT_DOUBLE_EQ(row[4], 0.0);
    EXPECT_DOUBLE_EQ(row[5], 100.0); // green mean
    EXPECT_DOUBLE_EQ(row[10], 10.0); // blue mean
}

TEST(ChannelMeasures, ExtraPlanesFollowTheObjectsOfTheFirst)
{
    fluorescence::SceneParams p;
    p.size = cv::Size(600, 450);
    p.seed = 12;
    const fluorescence::Scene scene = fluorescence::MakeScene(p);
    cv::Mat marker16;
    scene.marker.convertTo(marker16, CV_16U, 257);
    const countrun::CountResult result = countrun::Count(scene.image, Bright(), countrun::Hooks(),
                                                         {{QStringLiteral("c2"), marker16}});
    const ImageResult summary = countrun::Summarise("x", result);
    ASSERT_EQ(summary.channelKeys.size(), 5); // a grey image has no colour planes
    EXPECT_EQ(summary.channelKeys[0], "mean_gray_c2");
    ASSERT_GT(summary.count, 10);
    // Each object's marker level is that of the nucleus under its centroid;
    // the object's edge may reach a little background or a neighbour.
    int close = 0;
    for (int i = 0; i < summary.count; ++i) {
        const cv::Moments m = cv::moments(result.core.validContours[static_cast<size_t>(i)]);
        const cv::Point c(static_cast<int>(m.m10 / m.m00), static_cast<int>(m.m01 / m.m00));
        const int label = scene.labels.at<int>(c);
        if (label == 0)
            continue;
        const double truth = 257.0 * scene.nuclei[static_cast<size_t>(label - 1)].marker;
        if (std::abs(summary.channelRows[static_cast<size_t>(i)][0] - truth) < 0.1 * truth)
            ++close;
    }
    EXPECT_GE(close, summary.count * 9 / 10);
}

// The distance cut on generated scenes whose truth labels give the expected
// counts, its input checks and cancellation, and the speck floor.

#include "autocount/alg/alg.h"
#include "engine/sizefloor.h"
#include "touchingcells.h"

#include "support/testimages.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <ostream>
#include <string>
#include <thread>

namespace {

using testimages::SameImage;
using touchingcells::Kind;
using touchingcells::MatchScore;
using touchingcells::SceneParams;

cv::Mat Threshold(const cv::Mat& image, bool bright)
{
    cv::Mat grey;
    cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    cv::Mat binary;
    int threshold = 0;
    AlgAuto2Bw(grey, testimages::Grey(grey.rows, grey.cols, 255),
               bright ? ALG_BRIGHT_OBJECTS : ALG_DARK_OBJECTS, binary, threshold);
    return binary;
}

// The counting pipeline after the threshold: cut, measurement, border
// objects dropped, specks dropped; the objects as a label image.
cv::Mat Count(const cv::Mat& binary, double sensitivity = 1.0,
              double speckFraction = engine::kSpeckFraction)
{
    AlgDistanceCutOptions options;
    options.sensitivity = sensitivity;
    cv::Mat cut;
    EXPECT_EQ(AlgDistanceCut(binary, cut, options), 0);
    ContourList contours, inner;
    std::vector<parResult> results, innerResults;
    AlgCalResult(binary, cut, contours, results);
    AlgRemoveBorder(contours, results, binary.cols, binary.rows, inner, innerResults);
    std::vector<double> areas;
    for (const parResult& r : innerResults)
        areas.push_back(r.area);
    const ContourList kept = engine::DropSpecks(inner, areas, speckFraction);
    cv::Mat labels = cv::Mat::zeros(binary.size(), CV_32S);
    for (size_t i = 0; i < kept.size(); ++i)
        cv::drawContours(labels, kept, static_cast<int>(i), cv::Scalar(static_cast<int>(i) + 1),
                         cv::FILLED, cv::LINE_8);
    return labels;
}

MatchScore ScoreScene(const SceneParams& params)
{
    const touchingcells::Scene scene = touchingcells::MakeScene(params);
    return touchingcells::Score(scene.labels, Count(Threshold(scene.image, params.brightObjects)));
}

int Pieces(const cv::Mat& binary)
{
    cv::Mat labels;
    return cv::connectedComponents(binary, labels, 8) - 1;
}

SceneParams Small(Kind kind, std::uint64_t seed, bool bright = false)
{
    SceneParams p;
    p.size = {480, 360};
    p.kind = kind;
    p.seed = seed;
    p.brightObjects = bright;
    p.minRadius = 7.0;
    return p;
}

// Every truth object found once, nothing split, nothing merged.
void ExpectExact(const MatchScore& s)
{
    EXPECT_GT(s.truth, 0);
    EXPECT_EQ(s.detected, s.truth);
    EXPECT_EQ(s.splits, 0);
    EXPECT_EQ(s.merges, 0);
    EXPECT_GE(s.f1, 0.99);
}

struct ClusterCase
{
    const char* name;
    int minCluster, maxCluster;
    double minRadius, spread;
};

void PrintTo(const ClusterCase& c, std::ostream* os)
{
    *os << c.name;
}

class DistanceCutClusters : public ::testing::TestWithParam<ClusterCase>
{
};

TEST_P(DistanceCutClusters, CountsEveryObjectOfTouchingClustersOnBothPolarities)
{
    const ClusterCase& c = GetParam();
    for (std::uint64_t seed : {11u, 12u}) {
        for (bool bright : {false, true}) {
            SceneParams p = Small(Kind::Mixed, seed, bright);
            p.minCluster = c.minCluster;
            p.maxCluster = c.maxCluster;
            p.clusterShare = 1.0;
            p.minRadius = c.minRadius;
            p.radiusSpread = c.spread;
            SCOPED_TRACE(testing::Message() << "seed " << seed << (bright ? " bright" : " dark"));
            ExpectExact(ScoreScene(p));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Scenes, DistanceCutClusters,
                         ::testing::Values(ClusterCase{"Pairs", 2, 2, 8.0, 1.5},
                                           ClusterCase{"Triples", 3, 3, 8.0, 1.5},
                                           ClusterCase{"MixedSizes", 2, 6, 5.0, 3.0},
                                           ClusterCase{"LargeObjects", 2, 4, 20.0, 2.0}),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(DistanceCutTest, SpecialShapesKeepTheirCount)
{
    // A ring of 8 to 12 touching discs stays that many objects around its
    // background; a dumbbell, a rod of aspect 4 and an object with a nucleus
    // stay one object each.
    for (Kind kind : {Kind::Ring, Kind::Dumbbell, Kind::Rod, Kind::Hole}) {
        for (std::uint64_t seed : {21u, 22u}) {
            SceneParams p = Small(kind, seed);
            p.size = {640, 480};
            p.specials = 2;
            SCOPED_TRACE(testing::Message()
                         << "kind " << static_cast<int>(kind) << " seed " << seed);
            ExpectExact(ScoreScene(p));
        }
    }
}

TEST(DistanceCutTest, RingKeepsItsEnclosedBackgroundAndEveryMember)
{
    cv::Mat binary = testimages::Grey(200, 200, 0);
    const int n = 10, r = 12;
    const double ringRadius = (2 * r - 3) / (2.0 * std::sin(CV_PI / n));
    for (int k = 0; k < n; ++k)
        testimages::Disc(
            binary,
            {100 + static_cast<int>(std::lround(ringRadius * std::cos(2 * CV_PI * k / n))),
             100 + static_cast<int>(std::lround(ringRadius * std::sin(2 * CV_PI * k / n)))},
            r);
    ASSERT_EQ(Pieces(binary), 1);
    ASSERT_EQ(binary.at<uchar>(100, 100), 0);
    cv::Mat out;
    ASSERT_EQ(AlgDistanceCut(binary, out), 0);
    EXPECT_EQ(Pieces(out), n);
    EXPECT_EQ(out.at<uchar>(100, 100), 0);
}

TEST(DistanceCutTest, ObjectsThatAreNotCutComeBackPixelForPixel)
{
    // An ellipse, a disc with a hole off centre, a rod and a dumbbell, apart.
    cv::Mat binary = testimages::Grey(160, 400, 0);
    cv::ellipse(binary, {50, 80}, {40, 16}, 30, 0, 360, cv::Scalar(255), cv::FILLED);
    testimages::Disc(binary, {140, 80}, 30);
    cv::ellipse(binary, {146, 74}, {9, 6}, 20, 0, 360, cv::Scalar(0), cv::FILLED);
    cv::line(binary, {210, 40}, {210, 120}, cv::Scalar(255), 20); // 20 wide, 100 long
    testimages::Disc(binary, {290, 80}, 20);
    testimages::Disc(binary, {350, 80}, 20);
    cv::line(binary, {290, 80}, {350, 80}, cv::Scalar(255), 37);
    ASSERT_EQ(Pieces(binary), 4);
    cv::Mat out;
    ASSERT_EQ(AlgDistanceCut(binary, out), 0);
    EXPECT_TRUE(SameImage(out, binary));
}

TEST(DistanceCutTest, OutputIsTheInputMinusCutPixelsAndPiecesDoNotTouch)
{
    SceneParams p = Small(Kind::Mixed, 31);
    p.clusterShare = 0.8;
    const cv::Mat binary = Threshold(touchingcells::MakeScene(p).image, false);
    cv::Mat out;
    ASSERT_EQ(AlgDistanceCut(binary, out), 0);
    EXPECT_EQ(cv::countNonZero(out & ~binary), 0);
    EXPECT_EQ(cv::countNonZero((out != 0) & (out != 255)), 0);
    // Every piece separated from its neighbours in the 8-neighbourhood, so
    // 4- and 8-connected counts agree, and more pieces than before.
    cv::Mat labels;
    EXPECT_EQ(cv::connectedComponents(out, labels, 4), cv::connectedComponents(out, labels, 8));
    EXPECT_GT(Pieces(out), Pieces(binary));
}

TEST(DistanceCutTest, DenseFieldThatReachesTheBorderCountsItsInnerObjects)
{
    for (bool bright : {false, true}) {
        SceneParams p = Small(Kind::DenseField, 41, bright);
        p.minRadius = 8.0;
        const touchingcells::Scene scene = touchingcells::MakeScene(p);
        const cv::Mat binary = Threshold(scene.image, bright);
        ASSERT_EQ(Pieces(binary), 1) << "the field is one clump";
        const MatchScore s = touchingcells::Score(scene.labels, Count(binary));
        SCOPED_TRACE(bright ? "bright" : "dark");
        EXPECT_GT(s.truth, 100);
        EXPECT_LE(std::abs(s.detected - s.truth), s.truth / 100);
        EXPECT_GE(s.f1, 0.99);
    }
}

TEST(DistanceCutTest, HigherSensitivityNeverGivesFewerPieces)
{
    SceneParams p = Small(Kind::Mixed, 51);
    p.clusterShare = 0.8;
    const cv::Mat binary = Threshold(touchingcells::MakeScene(p).image, false);
    int previous = 0;
    for (double sensitivity : {0.25, 0.5, 1.0, 2.0, 4.0, 8.0}) {
        AlgDistanceCutOptions options;
        options.sensitivity = sensitivity;
        cv::Mat out;
        ASSERT_EQ(AlgDistanceCut(binary, out, options), 0);
        EXPECT_GE(Pieces(out), previous) << "sensitivity " << sensitivity;
        previous = Pieces(out);
    }
}

TEST(DistanceCutTest, BadInputGivesItsCodeAndLeavesTheOutputAlone)
{
    const cv::Mat sentinel = testimages::Grey(3, 3, 7);
    const cv::Mat binary = testimages::Grey(20, 20, 255);
    struct Case
    {
        cv::Mat in;
        double sensitivity;
        int code;
    };
    const Case cases[] = {
        {cv::Mat(), 1.0, 1},
        {testimages::Grey(0, 5), 1.0, 1},
        {testimages::Colour(20, 20, 255, 255, 255), 1.0, 2},
        {cv::Mat(20, 20, CV_16UC1, cv::Scalar(255)), 1.0, 2},
        {cv::Mat(20, 20, CV_8SC1, cv::Scalar(1)), 1.0, 2},
        {binary, 0.0, 3},
        {binary, -1.0, 3},
        {binary, std::numeric_limits<double>::quiet_NaN(), 3},
        {binary, std::numeric_limits<double>::infinity(), 3},
    };
    for (const Case& c : cases) {
        AlgDistanceCutOptions options;
        options.sensitivity = c.sensitivity;
        cv::Mat out = sentinel;
        EXPECT_EQ(AlgDistanceCut(c.in, out, options), c.code);
        EXPECT_EQ(out.data, sentinel.data);
    }
}

TEST(DistanceCutTest, CancellingStopsWithCodeFourAndLeavesTheOutputAlone)
{
    SceneParams p = Small(Kind::Mixed, 61);
    p.size = {1200, 900};
    const cv::Mat binary = Threshold(touchingcells::MakeScene(p).image, false);
    const cv::Mat sentinel = testimages::Grey(3, 3, 7);

    std::atomic<bool> cancel{true};
    AlgDistanceCutOptions options;
    options.cancel = &cancel;
    cv::Mat out = sentinel;
    EXPECT_EQ(AlgDistanceCut(binary, out, options), 4);
    EXPECT_EQ(out.data, sentinel.data);

    // Raised part way through, from the progress report.
    cancel = false;
    int reports = 0;
    options.progress = [&](double done) {
        if (done > 0.0 && ++reports == 2)
            cancel = true;
    };
    EXPECT_EQ(AlgDistanceCut(binary, out, options), 4);
    EXPECT_EQ(out.data, sentinel.data);

    // Never raised: the flag is read and the cut completes.
    cancel = false;
    options.progress = nullptr;
    EXPECT_EQ(AlgDistanceCut(binary, out, options), 0);
    EXPECT_NE(out.data, sentinel.data);
}

TEST(DistanceCutTest, CancellingWhileASingleLargeClumpIsCutStops)
{
    // Nearly all of about 1,000 touching discs in one clump: one flood. The
    // flag rises with the first report, before the clump is cut.
    SceneParams p = Small(Kind::DenseField, 71);
    p.size = {900, 700};
    p.minRadius = 8.0;
    const cv::Mat binary = Threshold(touchingcells::MakeScene(p).image, false);
    cv::Mat labels, stats, centres;
    cv::connectedComponentsWithStats(binary, labels, stats, centres, 8);
    int largest = 0;
    for (int i = 1; i < stats.rows; ++i)
        largest = std::max(largest, stats.at<int>(i, cv::CC_STAT_AREA));
    ASSERT_GT(largest, cv::countNonZero(binary) * 9 / 10);
    std::atomic<bool> cancel{false};
    AlgDistanceCutOptions options;
    options.cancel = &cancel;
    options.progress = [&](double) { cancel = true; };
    cv::Mat out;
    EXPECT_EQ(AlgDistanceCut(binary, out, options), 4);
    EXPECT_TRUE(out.empty());
}

TEST(DistanceCutTest, ProgressRisesToOne)
{
    const cv::Mat binary = Threshold(touchingcells::MakeScene(Small(Kind::Mixed, 81)).image, false);
    std::vector<double> reports;
    AlgDistanceCutOptions options;
    options.progress = [&](double done) { reports.push_back(done); };
    cv::Mat out;
    ASSERT_EQ(AlgDistanceCut(binary, out, options), 0);
    ASSERT_GE(reports.size(), 2u);
    EXPECT_EQ(reports.front(), 0.0);
    EXPECT_DOUBLE_EQ(reports.back(), 1.0);
    EXPECT_TRUE(std::is_sorted(reports.begin(), reports.end()));
}

TEST(DistanceCutTest, TwoThreadsAtOnceGiveTheSequentialResult)
{
    SceneParams p = Small(Kind::Mixed, 91);
    p.size = {1000, 800};
    const cv::Mat first = Threshold(touchingcells::MakeScene(p).image, false);
    p.seed = 92;
    p.kind = Kind::Hole;
    const cv::Mat second = Threshold(touchingcells::MakeScene(p).image, false);
    cv::Mat expectedFirst, expectedSecond;
    ASSERT_EQ(AlgDistanceCut(first, expectedFirst), 0);
    ASSERT_EQ(AlgDistanceCut(second, expectedSecond), 0);

    cv::Mat outFirst, outSecond;
    int statusFirst = -1, statusSecond = -1;
    std::thread a([&] { statusFirst = AlgDistanceCut(first, outFirst); });
    std::thread b([&] { statusSecond = AlgDistanceCut(second, outSecond); });
    a.join();
    b.join();
    EXPECT_EQ(statusFirst, 0);
    EXPECT_EQ(statusSecond, 0);
    EXPECT_TRUE(SameImage(outFirst, expectedFirst));
    EXPECT_TRUE(SameImage(outSecond, expectedSecond));

    // And with the library's own threads turned off.
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    cv::Mat single;
    ASSERT_EQ(AlgDistanceCut(first, single), 0);
    cv::setNumThreads(threads);
    EXPECT_TRUE(SameImage(single, expectedFirst));
}

TEST(SpeckFloorTest, TypicalAreaIsTheMedianOfTheLargerHalf)
{
    EXPECT_EQ(engine::TypicalArea({}), 0.0);
    EXPECT_EQ(engine::TypicalArea({5}), 5.0);
    // Larger half of {1, 2, 3, 4} is {3, 4}; its upper middle is 4.
    EXPECT_EQ(engine::TypicalArea({4, 1, 3, 2}), 4.0);
    // Larger half of {1..5} is {3, 4, 5}; its median is 4.
    EXPECT_EQ(engine::TypicalArea({5, 3, 1, 4, 2}), 4.0);
    // Many specks do not pull it down while they are fewer than half.
    EXPECT_EQ(engine::TypicalArea({2, 3, 2, 100, 110, 120, 130}), 120.0);
    EXPECT_DOUBLE_EQ(engine::SpeckFloor({2, 3, 2, 100, 110, 120, 130}), 6.0);
    EXPECT_EQ(engine::SpeckFloor({2, 3, 100}, 0.0), 0.0);
    EXPECT_EQ(engine::SpeckFloor({2, 3, 100}, -1.0), 0.0);
}

TEST(SpeckFloorTest, AFragmentBelowTheFloorIsDroppedALowerFractionKeepsIt)
{
    const std::vector<double> areas{400, 380, 5, 420, 390};
    const std::vector<char> names{'a', 'b', 'c', 'd', 'e'};
    EXPECT_EQ(engine::DropSpecks(names, areas), (std::vector<char>{'a', 'b', 'd', 'e'}));
    EXPECT_EQ(engine::DropSpecks(names, areas, 0.01), names);
    EXPECT_EQ(engine::KeptAboveSpeckFloor(areas, 0.0).size(), areas.size());

    // In the pipeline: a fleck of a few pixels beside the scene's objects.
    SceneParams p = Small(Kind::Mixed, 101);
    const touchingcells::Scene scene = touchingcells::MakeScene(p);
    cv::Mat binary = Threshold(scene.image, false);
    cv::Mat fleck = testimages::Grey(binary.rows, binary.cols, 0);
    cv::Point spot{-1, -1};
    for (int y = 20; y < binary.rows - 20 && spot.x < 0; y += 7)
        for (int x = 20; x < binary.cols - 20 && spot.x < 0; x += 7)
            if (cv::countNonZero(binary(cv::Rect(x - 6, y - 6, 13, 13))) == 0)
                spot = {x, y};
    ASSERT_GE(spot.x, 0);
    binary(cv::Rect(spot.x, spot.y, 3, 2)).setTo(255);
    const MatchScore dropped = touchingcells::Score(scene.labels, Count(binary));
    EXPECT_EQ(dropped.detected, dropped.truth);
    EXPECT_EQ(dropped.falsePositives, 0);
    const MatchScore kept = touchingcells::Score(scene.labels, Count(binary, 1.0, 0.0));
    EXPECT_EQ(kept.detected, kept.truth + 1);
    EXPECT_EQ(kept.falsePositives, 1);
}

} // namespace

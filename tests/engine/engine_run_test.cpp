// Counts through the engine: the generator's known counts, and two counts on
// two threads of one process giving what they give one after the other.

#include "countrun.h"
#include "imageresult.h"
#include "syntheticcells.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Generated
{
    cv::Mat image;
    int objects = 0; ///< the generator's count with touching pairs separated
    int clumps = 0;  ///< its count with each pair as one object
};

Generated Make(std::uint64_t seed, int singles, int pairs, cv::Size size = cv::Size(1300, 1000))
{
    syntheticcells::LayoutParams p;
    p.size = size;
    p.singles = singles;
    p.pairs = pairs;
    p.seed = seed;
    const syntheticcells::Layout layout = syntheticcells::MakeLayout(p);
    return {syntheticcells::Render(layout), layout.Objects(), layout.Clumps()};
}

/// Everything a count gives, as one comparable text: the summary with its
/// tables, then every outline point of every object.
QByteArray Fingerprint(const countrun::CountResult& result)
{
    QByteArray text = QJsonDocument(imageresult::ToJson(countrun::Summarise("x", result))).toJson();
    for (const Contour& contour : result.core.validContours)
        for (const cv::Point& p : contour)
            text += QByteArray::number(p.x) + ',' + QByteArray::number(p.y) + ';';
    return text;
}

} // namespace

TEST(EngineRun, CountsTheGeneratorsObjectsWithTheRightSeparation)
{
    const Generated g = Make(11, 30, 8);
    CountSettings separated;
    EXPECT_EQ(countrun::Count(g.image, separated).Count(), g.objects);
    CountSettings joined;
    joined.cut = Separation::None;
    EXPECT_EQ(countrun::Count(g.image, joined).Count(), g.clumps);
}

TEST(EngineRun, TwoThreadsGiveTheSequentialResults)
{
    // Different images and different settings (calibration, mode, cut), so
    // that any state shared between the two counts would show.
    const Generated a = Make(21, 40, 10);
    Generated b = Make(22, 25, 12, cv::Size(1100, 1200));
    cv::bitwise_not(b.image, b.image); // bright objects on a dark ground
    CountSettings first;
    CountSettings second;
    second.mode = SegmentMode::Bright;
    second.scale = 0.25;
    second.unit = QStringLiteral("um");
    second.filters << FilterSetting{QStringLiteral("Area"), 30.0, std::nullopt};

    const QByteArray alone1 = Fingerprint(countrun::Count(a.image, first));
    const QByteArray alone2 = Fingerprint(countrun::Count(b.image, second));
    ASSERT_EQ(countrun::Count(a.image, first).Count(), a.objects);
    ASSERT_EQ(countrun::Count(b.image, second).Count(), b.objects);

    // Each thread counts its image several times while the other counts too.
    constexpr int kRounds = 6;
    std::vector<QByteArray> together1(kRounds);
    std::vector<QByteArray> together2(kRounds);
    std::thread one([&] {
        for (QByteArray& print : together1)
            print = Fingerprint(countrun::Count(a.image, first));
    });
    std::thread two([&] {
        for (QByteArray& print : together2)
            print = Fingerprint(countrun::Count(b.image, second));
    });
    one.join();
    two.join();
    for (int round = 0; round < kRounds; ++round) {
        EXPECT_EQ(together1[round], alone1) << "round " << round;
        EXPECT_EQ(together2[round], alone2) << "round " << round;
    }
}

TEST(EngineRun, CancelledBeforeSeparationGivesNoObjects)
{
    const Generated g = Make(31, 10, 2);
    int steps = 0;
    countrun::Hooks hooks;
    hooks.progress = [&](int step) { steps = step; };
    hooks.cancelled = [&] { return steps >= 3; };
    const countrun::CountResult result = countrun::Count(g.image, CountSettings(), hooks);
    EXPECT_TRUE(result.core.cancelled);
    EXPECT_EQ(result.Count(), 0);
    EXPECT_EQ(steps, 3);
}

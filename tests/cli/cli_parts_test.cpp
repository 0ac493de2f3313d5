// The command-line tool's parts on their own: options and settings files,
// batch planning and shards, image conversion, number output and progress.

#include "batchplan.h"
#include "commandline.h"
#include "countsettings.h"
#include "imageloader.h"
#include "imageresult.h"
#include "outputwriters.h"
#include "progressbar.h"

#include <QJsonDocument>
#include <QTemporaryDir>

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

namespace {

CommandLine Parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("autocount"));
    return commandline::Parse(arguments);
}

/// The option a usage error names, or "no error".
QString RefusedOption(const QStringList& arguments)
{
    try {
        Parse(arguments);
    } catch (const UsageError& error) {
        return error.option();
    }
    return QStringLiteral("no error");
}

} // namespace

TEST(CliOptions, DefaultsAreTheDefaultPipeline)
{
    const CommandLine c = Parse({"count", "a.png"});
    EXPECT_EQ(c.settings, CountSettings());
    EXPECT_EQ(c.settings.mode, "dark");
    EXPECT_EQ(c.settings.cut, "auto");
    EXPECT_TRUE(c.settings.defaultFilters);
    EXPECT_EQ(c.jobs, 1);
    EXPECT_EQ(c.inputs, QStringList{"a.png"});
}

TEST(CliOptions, ValuesAreReadInOrder)
{
    const CommandLine c = Parse({"count",
                                 "--rect",
                                 "1,2,30,40",
                                 "--rect",
                                 "5,6,7,8",
                                 "--mode",
                                 "MANUAL",
                                 "--channel",
                                 "red",
                                 "--low",
                                 "10",
                                 "--high",
                                 "120",
                                 "--morph",
                                 "open",
                                 "--morph",
                                 "dilate",
                                 "--fill-holes",
                                 "--cut",
                                 "merge",
                                 "--keep-border",
                                 "--filter",
                                 "area=100:",
                                 "--filter",
                                 "Long Axis=:50.5",
                                 "--filter",
                                 "Perimeter",
                                 "--no-default-filters",
                                 "--scale",
                                 "0.5",
                                 "--unit",
                                 "µm",
                                 "x.png",
                                 "y.png"});
    const CountSettings& s = c.settings;
    ASSERT_EQ(s.rectangles.size(), 2);
    EXPECT_EQ(s.rectangles[1], QRectF(5, 6, 7, 8));
    EXPECT_EQ(s.mode, "manual");
    EXPECT_EQ(s.channel, "red");
    EXPECT_EQ(s.low, 10);
    EXPECT_EQ(s.high, 120);
    EXPECT_EQ(s.morphology, (QStringList{"open", "dilate"}));
    EXPECT_TRUE(s.fillHoles);
    EXPECT_EQ(s.cut, "merge");
    EXPECT_TRUE(s.keepBorder);
    EXPECT_FALSE(s.defaultFilters);
    ASSERT_EQ(s.filters.size(), 3);
    // Names take the catalogue's spelling; a missing bound stays unset.
    EXPECT_EQ(s.filters[0].name, "Area");
    EXPECT_EQ(s.filters[0].min, 100.0);
    EXPECT_FALSE(s.filters[0].max.has_value());
    EXPECT_EQ(s.filters[1].name, "Long Axis");
    EXPECT_EQ(s.filters[1].max, 50.5);
    EXPECT_FALSE(s.filters[2].min.has_value());
    EXPECT_EQ(s.scale, 0.5);
    EXPECT_EQ(s.unit, QStringLiteral("µm"));
}

TEST(CliOptions, BadValuesNameTheirOption)
{
    EXPECT_EQ(RefusedOption({"count", "--mode", "grey"}), "--mode");
    EXPECT_EQ(RefusedOption({"count", "--rect", "1,2,3"}), "--rect");
    EXPECT_EQ(RefusedOption({"count", "--rect", "0,0,-5,5"}), "--rect");
    EXPECT_EQ(RefusedOption({"count", "--polygon", "1,2,3,4"}), "--polygon");
    EXPECT_EQ(RefusedOption({"count", "--rect", "0,0,5,5", "--polygon", "0,0,5,0,5,5"}),
              "--polygon");
    EXPECT_EQ(RefusedOption({"count", "--low", "4"}), "--low");
    EXPECT_EQ(RefusedOption({"count", "--channel", "red"}), "--channel");
    EXPECT_EQ(RefusedOption({"count", "--mode", "manual", "--high", "256"}), "--high");
    EXPECT_EQ(RefusedOption({"count", "--mode", "manual", "--low", "9", "--high", "8"}), "--low");
    EXPECT_EQ(RefusedOption({"count", "--morph", "blur"}), "--morph");
    EXPECT_EQ(RefusedOption({"count", "--cut", "manual"}), "--cut");
    EXPECT_EQ(RefusedOption({"count", "--filter", "Volume=1:2"}), "--filter");
    EXPECT_EQ(RefusedOption({"count", "--filter", "Area=5"}), "--filter");
    EXPECT_EQ(RefusedOption({"count", "--filter", "Area=9:1"}), "--filter");
    EXPECT_EQ(RefusedOption({"count", "--scale", "2"}), "--scale");
    EXPECT_EQ(RefusedOption({"count", "--scale", "-1", "--unit", "mm"}), "--scale");
    EXPECT_EQ(RefusedOption({"count", "--jobs", "0"}), "--jobs");
    EXPECT_EQ(RefusedOption({"count", "--shard", "4/3"}), "--shard");
    EXPECT_EQ(RefusedOption({"count", "--cut", "auto", "--cut", "none"}), "--cut");
    EXPECT_EQ(RefusedOption({"count", "--frobnicate"}), "--frobnicate");
    EXPECT_EQ(RefusedOption({"count", "--settings", "/nonexistent/s.json"}), "--settings");
}

TEST(CliSettings, FileRoundTripAndCommandLinePrecedence)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("s.json");
    CountSettings s;
    s.polygons << QPolygonF({QPointF(1, 2), QPointF(30, 2), QPointF(15, 40)});
    s.mode = "manual";
    s.channel = "saturation";
    s.low = 30;
    s.high = 200;
    s.morphology = QStringList{"close"};
    s.filters << FilterSetting{"Roundness", 0.5, std::nullopt};
    s.scale = 0.25;
    s.unit = "mm";
    QString error;
    ASSERT_TRUE(outputs::WriteAtomically(path, outputs::SettingsFile(s, "img.png"), &error));

    // Read back as it was, the image name being only a record.
    EXPECT_EQ(Parse({"count", "--settings", path}).settings, s);

    // Options given with the file win; a region option replaces the file's regions.
    const CountSettings mixed =
        Parse({"count", "--settings", path, "--high", "90", "--rect", "0,0,10,10"}).settings;
    EXPECT_EQ(mixed.high, 90);
    EXPECT_EQ(mixed.low, 30);
    EXPECT_TRUE(mixed.polygons.isEmpty());
    EXPECT_EQ(mixed.rectangles.size(), 1);
}

TEST(CliSettings, UnknownKeysAndWrongTypesAreRefused)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("s.json");
    auto refused = [&](const QByteArray& text) {
        QString error;
        EXPECT_TRUE(outputs::WriteAtomically(path, text, &error));
        return RefusedOption({"count", "--settings", path}).startsWith("--settings");
    };
    EXPECT_TRUE(refused("{\"mdoe\": \"dark\"}"));
    EXPECT_TRUE(refused("{\"low\": \"ten\"}"));
    EXPECT_TRUE(refused("{\"cut\": \"sideways\"}"));
    EXPECT_TRUE(refused("[1, 2]"));
    EXPECT_TRUE(refused("{\"mode\": "));
    EXPECT_FALSE(refused("{\"mode\": \"bright\", \"image\": \"x.png\"}"));
}

TEST(CliBatchPlan, ShardsTakeEveryNthImageOnce)
{
    QStringList files;
    for (int i = 1; i <= 10; ++i)
        files << QStringLiteral("img%1.png").arg(i);
    QStringList seen;
    for (int shard = 1; shard <= 3; ++shard) {
        const QList<BatchItem> items = batchplan::Plan(files, OutputRequest(), {shard, 3});
        for (const BatchItem& item : items) {
            // Image k (1-based) belongs to shard ((k - 1) mod 3) + 1.
            EXPECT_EQ((item.index - 1) % 3 + 1, shard) << item.file.toStdString();
            seen << item.file;
        }
    }
    seen.sort();
    QStringList expected = files;
    expected.sort();
    EXPECT_EQ(seen, expected);
}

TEST(CliBatchPlan, PatternsAndClashes)
{
    EXPECT_EQ(batchplan::ExpandPattern("out/{stem}-{index}.xlsx", "a/b/plate.v2.tif", 7),
              "out/plate.v2-7.xlsx");
    OutputRequest request;
    request.report = "out.xlsx";
    // One file for two images.
    EXPECT_THROW(batchplan::Plan({"a.png", "b.png"}, request, {1, 1}), UsageError);
    EXPECT_NO_THROW(batchplan::Plan({"a.png"}, request, {1, 1}));
    // Two images with one stem.
    request.report = "{stem}.xlsx";
    EXPECT_THROW(batchplan::Plan({"x/a.png", "y/a.png"}, request, {1, 1}), UsageError);
    // An output onto an input.
    OutputRequest onto;
    onto.annotated = "{stem}.png";
    EXPECT_THROW(batchplan::Plan({"a.png", "b.tif"}, onto, {1, 1}), UsageError);
    OutputRequest summary;
    summary.summary = "b.tif";
    EXPECT_THROW(batchplan::Plan({"a.png", "b.tif"}, summary, {1, 1}), UsageError);
}

TEST(CliImages, SixteenBitAndGreyBecomeEightBitColour)
{
    cv::Mat wide(2, 3, CV_16UC1);
    wide.at<quint16>(0, 0) = 0;
    wide.at<quint16>(0, 1) = 257 * 100;
    wide.at<quint16>(0, 2) = 65535;
    wide.at<quint16>(1, 0) = 128; // 0.498 rounds down
    wide.at<quint16>(1, 1) = 129; // 0.502 rounds up
    wide.at<quint16>(1, 2) = 257 * 7 + 128;
    cv::Mat out;
    ConvertToModuleFormat(wide, out);
    ASSERT_EQ(out.type(), CV_8UC3);
    const uchar expected[2][3] = {{0, 100, 255}, {0, 1, 7}};
    for (int y = 0; y < 2; ++y)
        for (int x = 0; x < 3; ++x)
            for (int c = 0; c < 3; ++c)
                EXPECT_EQ(out.at<cv::Vec3b>(y, x)[c], expected[y][x]) << y << "," << x;

    cv::Mat rgba(1, 1, CV_8UC4, cv::Scalar(10, 20, 30, 0));
    ConvertToModuleFormat(rgba, out);
    EXPECT_EQ(out.at<cv::Vec3b>(0, 0), cv::Vec3b(10, 20, 30));

    // 8-bit colour passes without a copy.
    cv::Mat colour(4, 4, CV_8UC3, cv::Scalar(1, 2, 3));
    cv::Mat same = colour;
    ConvertToModuleFormat(same, same);
    EXPECT_EQ(same.data, colour.data);
}

TEST(CliImages, UnreadableFilesGiveTheReason)
{
    QTemporaryDir dir;
    QString error;
    ASSERT_TRUE(outputs::WriteAtomically(dir.filePath("text.png"), "not an image", &error));
    ASSERT_TRUE(outputs::WriteAtomically(dir.filePath("empty.png"), "", &error));
    EXPECT_EQ(LoadImageFile(dir.filePath("missing.png")).error, "no such file");
    EXPECT_EQ(LoadImageFile(dir.filePath("empty.png")).error, "empty file");
    EXPECT_EQ(LoadImageFile(dir.filePath("text.png")).error, "not an image in a supported format");
    EXPECT_EQ(LoadImageFile(dir.path()).error, "is a folder");
}

TEST(CliOutputs, NumbersAreShortestExactText)
{
    EXPECT_EQ(outputs::Number(12.345), "12.345");
    EXPECT_EQ(outputs::Number(1124), "1124");
    EXPECT_EQ(outputs::Number(0.1 + 0.2), "0.30000000000000004");
    EXPECT_FALSE(imageresult::Cell("nan").has_value());
    EXPECT_EQ(imageresult::Cell("10000000.000"), 10000000.0);
}

TEST(CliOutputs, FailedWriteLeavesTheOldFile)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("table.csv");
    QString error;
    ASSERT_TRUE(outputs::WriteAtomically(path, "old\n", &error));
    qputenv("AUTOCOUNT_TEST_FAIL_WRITE", "table.csv");
    EXPECT_FALSE(outputs::WriteAtomically(path, "new contents\n", &error));
    qunsetenv("AUTOCOUNT_TEST_FAIL_WRITE");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "old\n");
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden), QStringList{"table.csv"});
}

TEST(CliOutputs, SummaryRowsHoldNumbersAndErrors)
{
    ImageResult good;
    good.file = "a,b.png";
    good.count = 2;
    TypeStatistics area;
    area.name = "Area_px²";
    area.mean = 12.5;
    area.standardDeviation = 2.5;
    area.minimum = 10;
    area.maximum = 15;
    area.range = 5;
    area.sum = 25;
    area.count = 2;
    good.statistics << area;
    ImageResult bad;
    bad.file = "c.png";
    bad.error = "corrupt or truncated image";
    const QByteArray csv = outputs::SummaryCsv({good, bad}, {"Area_px²"});
    EXPECT_EQ(QString::fromUtf8(csv),
              QStringLiteral("file,count,Area_px² mean,Area_px² standard deviation,Area_px² "
                             "minimum,Area_px² maximum,Area_px² range,Area_px² sum,error\n"
                             "\"a,b.png\",2,12.5,2.5,10,15,5,25,\n"
                             "c.png,,,,,,,,corrupt or truncated image\n"));
}

TEST(CliProgress, BarShowsDoneTotalAndTimeLeft)
{
    EXPECT_EQ(ProgressBar::Text(0, 4, 0, 8), "[........] 0/4 images, estimating");
    // Two images in 10 s: two more take another 10 s.
    EXPECT_EQ(ProgressBar::Text(2, 4, 10000, 8), "[####....] 2/4 images, 0:10 left");
    EXPECT_EQ(ProgressBar::Text(1, 1000, 4000, 8), "[........] 1/1000 images, 1:06:36 left");
    EXPECT_EQ(ProgressBar::Text(4, 4, 20000, 8), "[########] 4/4 images");
}

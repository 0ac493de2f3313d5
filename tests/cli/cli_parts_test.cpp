// The command-line tool's parts on their own: options and settings files,
// batch planning, number output and progress.

#include "batchplan.h"
#include "checkedfile.h"
#include "commandline.h"
#include "imageresult.h"
#include "progressbar.h"
#include "settings.h"
#include "tablewriters.h"
#include "workerpool.h"

#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

namespace {

CommandLine Parse(QStringList arguments)
{
    arguments.prepend(QStringLiteral("autocount"));
    arguments.insert(1, QStringLiteral("count"));
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

TEST(CliOptions, FilterNamesTakeTheCatalogueSpellingAndMissingBoundsStayUnset)
{
    const CountSettings s =
        Parse({"--mode", "MANUAL", "--filter", "area=100:", "--filter", "Long Axis=:50.5", "x.png"})
            .settings;
    EXPECT_EQ(s.mode, SegmentMode::Manual);
    ASSERT_EQ(s.filters.size(), 2);
    EXPECT_EQ(s.filters[0].name, "Area");
    EXPECT_EQ(s.filters[0].min, 100.0);
    EXPECT_FALSE(s.filters[0].max.has_value());
    EXPECT_FALSE(s.filters[1].min.has_value());
    EXPECT_EQ(s.filters[1].max, 50.5);
}

TEST(CliOptions, BadValuesNameTheirOption)
{
    const QList<QPair<QStringList, QString>> cases = {
        {{"--rect", "0,0,-5,5"}, "--rect"},
        {{"--polygon", "1,2,3,4"}, "--polygon"},
        {{"--rect", "0,0,5,5", "--polygon", "0,0,5,0,5,5"}, "--polygon"},
        {{"--low", "4"}, "--low"},
        {{"--channel", "red"}, "--channel"},
        {{"--mode", "manual", "--high", "256"}, "--high"},
        {{"--mode", "manual", "--low", "9", "--high", "8"}, "--low"},
        {{"--filter", "Area=5"}, "--filter"},
        {{"--filter", "Area=9:1"}, "--filter"},
        {{"--scale", "2"}, "--scale"},
        {{"--scale", "-1", "--unit", "mm"}, "--scale"},
        {{"--jobs", "0"}, "--jobs"},
        {{"--shard", "4/3"}, "--shard"},
        {{"--cut", "auto", "--cut", "none"}, "--cut"},
        {{"--settings", "/nonexistent/s.json"}, "--settings"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RefusedOption(c.first), c.second) << c.first.join(' ').toStdString();
}

TEST(CliSettings, FileRoundTripPrecedenceAndRefusals)
{
    QTemporaryDir dir;
    const QString path = dir.filePath("s.json");
    CountSettings s;
    s.polygons << QPolygonF({QPointF(1, 2), QPointF(30, 2), QPointF(15, 40)});
    s.mode = SegmentMode::Manual;
    s.channel = Channel::Saturation;
    s.low = 30;
    s.high = 200;
    s.filters << FilterSetting{"Roundness", 0.5, std::nullopt};
    s.scale = 0.25;
    s.unit = "mm";
    QString error;
    ASSERT_TRUE(checkedfile::Write(path, outputs::SettingsFile(s, "img.png"), &error));
    EXPECT_EQ(Parse({"--settings", path}).settings, s);
    // Options given with the file win; a region option replaces the file's regions.
    const CountSettings mixed =
        Parse({"--settings", path, "--high", "90", "--rect", "0,0,10,10"}).settings;
    EXPECT_EQ(mixed.high, 90);
    EXPECT_EQ(mixed.low, 30);
    EXPECT_TRUE(mixed.polygons.isEmpty());
    EXPECT_EQ(mixed.rectangles.size(), 1);

    for (const QByteArray text : {"{\"mdoe\": \"dark\"}", "{\"low\": \"ten\"}",
                                  "{\"cut\": \"sideways\"}", "[1, 2]", "{\"mode\": "}) {
        ASSERT_TRUE(checkedfile::Write(path, text, &error));
        EXPECT_TRUE(RefusedOption({"--settings", path}).startsWith("--settings")) << text.data();
    }
}

TEST(CliBatchPlan, PatternsAndClashes)
{
    EXPECT_EQ(batchplan::ExpandPattern("out/{stem}-{index}.xlsx", "a/b/plate.v2.tif", 7),
              "out/plate.v2-7.xlsx");
    OutputRequest request;
    request.report = "out.xlsx"; // one file for two images
    EXPECT_THROW(batchplan::Plan({"a.png", "b.png"}, request, {1, 1}), UsageError);
    EXPECT_NO_THROW(batchplan::Plan({"a.png"}, request, {1, 1}));
    request.report = "{stem}.xlsx"; // two images with one stem
    EXPECT_THROW(batchplan::Plan({"x/a.png", "y/a.png"}, request, {1, 1}), UsageError);
    OutputRequest summary;
    summary.summary = "b.tif"; // an output onto an input
    EXPECT_THROW(batchplan::Plan({"a.png", "b.tif"}, summary, {1, 1}), UsageError);
}

TEST(CliBatchPlan, ShardsDealTheSortedImagesInTurn)
{
    // Seven images written out of name order; the folder lists them sorted,
    // and image k (from 0) goes to shard k mod 3 + 1.
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    for (const char* name : {"g.png", "c.png", "a.png", "e.png", "b.png", "f.png", "d.png"}) {
        QFile file(dir.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    }
    QStringList problems;
    const QStringList files = batchplan::ExpandInputs({dir.path()}, &problems);
    EXPECT_TRUE(problems.isEmpty());
    ASSERT_EQ(files.size(), 7);

    auto shard = [&](int index, int count) {
        QStringList picked;
        for (const BatchItem& item : batchplan::Plan(files, OutputRequest(), {index, count}))
            picked << QStringLiteral("%1:%2").arg(QFileInfo(item.file).fileName()).arg(item.index);
        return picked.join(QLatin1Char(' ')).toStdString();
    };
    EXPECT_EQ(shard(1, 3), "a.png:1 d.png:4 g.png:7");
    EXPECT_EQ(shard(2, 3), "b.png:2 e.png:5");
    EXPECT_EQ(shard(3, 3), "c.png:3 f.png:6");
    EXPECT_EQ(shard(1, 1), "a.png:1 b.png:2 c.png:3 d.png:4 e.png:5 f.png:6 g.png:7");
    EXPECT_EQ(shard(7, 7), "g.png:7");
    EXPECT_EQ(shard(8, 8), ""); // more shards than images: the last ones are empty
}

TEST(CliOutputs, NumbersSummaryAndProgressText)
{
    EXPECT_EQ(outputs::Number(12.345), "12.345");
    EXPECT_EQ(outputs::Number(0.1 + 0.2), "0.30000000000000004");
    EXPECT_FALSE(imageresult::Cell("nan").has_value());

    ImageResult good;
    good.file = "a,b.png";
    good.count = 2;
    TypeStatistics area;
    area.name = "area";
    area.mean = 12.5;
    area.standardDeviation = 2.5;
    area.minimum = 10;
    area.maximum = 15;
    area.range = 5;
    area.sum = 25;
    good.statistics << area;
    good.width = 40;
    good.height = 30;
    ImageResult bad;
    bad.file = "c.png";
    bad.error = "corrupt or truncated image";
    // Every measurement has its six statistics under fixed keys; a type
    // without statistics (here all but the area) leaves its cells empty.
    const QString header = QString::fromUtf8(outputs::SummaryCsvHeader("px"));
    EXPECT_TRUE(header.startsWith("# unit: px\nfile,image_index,width,height,count,area_mean,"
                                  "area_std_dev,area_min,area_max,area_range,area_sum,"
                                  "perimeter_mean,"));
    EXPECT_TRUE(header.endsWith(",min_gray_range,min_gray_sum,error\n"));
    const QString empty14 = QString(",").repeated(14 * 6);
    EXPECT_EQ(QString::fromUtf8(outputs::SummaryCsvRow(good, 3)),
              "\"a,b.png\",3,40,30,2,12.5,2.5,10,15,5,25" + empty14 + ",\n");
    EXPECT_EQ(QString::fromUtf8(outputs::SummaryCsvRow(bad, 4)),
              "c.png,4" + QString(",").repeated(3 + 15 * 6) + ",corrupt or truncated image\n");

    EXPECT_EQ(ProgressBar::Text(0, 4, 0, 8), "[........] 0/4 images, estimating");
    // Two images in 10 s: two more take another 10 s.
    EXPECT_EQ(ProgressBar::Text(2, 4, 10000, 8), "[####....] 2/4 images, 0.2 images/s, 0:10 left");
    EXPECT_EQ(ProgressBar::Text(1, 1000, 4000, 8),
              "[........] 1/1000 images, 0.3 images/s, 1:06:36 left");
    EXPECT_EQ(ProgressBar::Text(4, 4, 20000, 8), "[########] 4/4 images, 0.2 images/s");
}

TEST(CliWorkerPool, NoWorkerCanStartEveryImageFailsInOrderAndNothingHangs)
{
    QList<BatchItem> items;
    for (const char* name : {"a.png", "b.png", "c.png"}) {
        BatchItem item;
        item.file = name;
        item.index = items.size() + 1;
        items << item;
    }
    WorkerPool pool("/nonexistent/autocount-worker", {"count"}, 2);
    QStringList seen;
    const QList<ImageResult> results = pool.Run(
        items,
        [&](int position, const ImageResult& r) { seen << QString::number(position) + r.file; },
        true);
    EXPECT_EQ(seen, QStringList({"0a.png", "1b.png", "2c.png"}));
    ASSERT_EQ(results.size(), 3);
    for (const ImageResult& r : results)
        EXPECT_EQ(r.error, "cannot start a worker") << r.file.toStdString();
    EXPECT_EQ(pool.States(),
              QList<WorkerPool::State>({WorkerPool::State::Broken, WorkerPool::State::Broken}));
}

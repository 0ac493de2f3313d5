// The autocount program end to end on generated images whose counts are
// known by construction: it is started as a user starts it and judged by its
// exit status, its lines and the files it leaves.

#include "clirun.h"

#include "dishphoto.h"
#include "fluorescence.h"
#include "touchingcells.h"

#include <cmath>

#include <QDir>
#include <QFile>
#include <QJsonObject>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

TEST_F(CliEndToEnd, DiscsAreCountedOneByOneAndPairsOnlyWhenCut)
{
    const QString image = Write("discs.png", syntheticcells::Render(Discs(30, 0, 11)));
    EXPECT_EQ(Count({image}), 30);
    EXPECT_EQ(Count({"--cut", "none", image}), 30);
    // Cells are near grey 76, the background near 214: a band over the dark
    // half finds every cell, a band between the two finds nothing.
    EXPECT_EQ(Count({"--mode", "manual", "--low", "0", "--high", "150", image}), 30);
    EXPECT_EQ(Count({"--mode", "manual", "--low", "120", "--high", "170", image}), 0);
    // Touching pairs are split only by the automatic cut.
    const QString pairs = Write("pairs.png", syntheticcells::Render(Discs(0, 10, 12)));
    EXPECT_EQ(Count({"--cut", "none", pairs}), 10);
    EXPECT_EQ(Count({"--cut", "auto", pairs}), 20);
}

TEST_F(CliEndToEnd, RectangleOverHalfASymmetricImageCountsHalf)
{
    // 900 pixels wide: 8 slot columns, the middle falls between two of them.
    syntheticcells::LayoutParams p;
    p.size = cv::Size(900, 600);
    p.singles = 36;
    p.pairs = 0;
    p.seed = 13;
    const syntheticcells::Layout layout = syntheticcells::MakeLayout(p);
    cv::Mat image = syntheticcells::Render(layout);
    // The right half becomes the mirror image of the left half.
    cv::Mat right = image(cv::Rect(450, 0, 450, 600));
    cv::flip(image(cv::Rect(0, 0, 450, 600)), right, 1);
    int left = 0;
    for (const syntheticcells::Cell& cell : layout.cells)
        left += cell.centre.x < 450 ? 1 : 0;
    ASSERT_GT(left, 5);
    const QString path = Write("mirror.png", image);
    EXPECT_EQ(Count({path}), 2 * left);
    EXPECT_EQ(Count({"--rect", "0,0,449,599", path}), left);
    EXPECT_EQ(Count({"--rect", "450,0,449,599", path}), left);
}

TEST_F(CliEndToEnd, CalibrationScalesAreasAndLengths)
{
    const QString image = Write("discs.png", syntheticcells::Render(Discs(20, 0, 14)));
    const QJsonObject pixels = Images({image})[0].toObject();
    const QJsonObject microns = Images({"--scale", "0.5", "--unit", "um", image})[0].toObject();
    // A quarter, exactly: scaling by a power of two loses nothing.
    const auto area = [](const QJsonObject& image) {
        return image.value("statistics").toObject().value("area").toObject();
    };
    EXPECT_DOUBLE_EQ(area(microns).value("mean").toDouble(),
                     area(pixels).value("mean").toDouble() * 0.25);
    EXPECT_EQ(microns.value("unit").toString(), "um");
    const QJsonObject first = microns.value("objects").toArray()[0].toObject();
    const QJsonObject firstPx = pixels.value("objects").toArray()[0].toObject();
    EXPECT_DOUBLE_EQ(first.value("area").toDouble(), firstPx.value("area").toDouble() * 0.25);
    EXPECT_EQ(first.value("roundness").toDouble(), firstPx.value("roundness").toDouble());
}

TEST_F(CliEndToEnd, FiltersDropWhatLiesOutsideTheirRange)
{
    // Ten discs of radius 20 (area near 1200) and ten of radius 8 (near 180).
    syntheticcells::Layout layout = Discs(20, 0, 15, 20);
    for (int i = 0; i < 10; ++i)
        layout.cells[i].axes = cv::Size(8, 8);
    const QString image = Write("sizes.png", syntheticcells::Render(layout));
    EXPECT_EQ(Count({image}), 20);
    EXPECT_EQ(Count({"--filter", "Area=500:", image}), 10);
    EXPECT_EQ(Count({"--filter", "Area=5000:", image}), 0);
    const QJsonObject bare =
        Images({"--no-default-filters", "--filter", "Diameter=30:", image})[0].toObject();
    EXPECT_EQ(bare.value("count").toInt(), 10);
    // The keys stay the same whatever the filters: the 22 fixed ones and
    // five for each of the three colour planes, which differ in this picture.
    EXPECT_EQ(bare.value("objects").toArray()[0].toObject().keys().size(), 22 + 3 * 5);
}

TEST_F(CliEndToEnd, ParallelWorkersGiveTheSameResultsInTheSameOrder)
{
    for (int i = 0; i < 5; ++i)
        Write(QStringLiteral("batch/img%1.png").arg(i),
              syntheticcells::Render(Discs(10 + 3 * i, i % 3, 20 + i)));
    const Outcome one = Run({"--jobs", "1", "--json", "--summary", "one.csv", "batch"});
    const Outcome two = Run({"--jobs", "2", "--json", "--summary", "two.csv", "batch"});
    ASSERT_EQ(one.exitCode, 0) << one.err.toStdString();
    ASSERT_EQ(two.exitCode, 0) << two.err.toStdString();
    EXPECT_EQ(one.out, two.out);
    EXPECT_EQ(Read("one.csv"), Read("two.csv"));
    const QJsonArray images = ImagesOf(one.out);
    ASSERT_EQ(images.size(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(images[i].toObject().value("file").toString().endsWith(
            QStringLiteral("img%1.png").arg(i)));
}

TEST_F(CliEndToEnd, ShardsCoverEveryImageExactlyOnce)
{
    for (int i = 0; i < 7; ++i)
        Write(QStringLiteral("plates/p%1.png").arg(i),
              syntheticcells::Render(Discs(5 + i, 0, 40 + i)));
    QStringList seen;
    int total = 0;
    for (int shard = 1; shard <= 3; ++shard) {
        for (const QJsonValue& image :
             Images({"--shard", QStringLiteral("%1/3").arg(shard), "plates"})) {
            seen << QFileInfo(image.toObject().value("file").toString()).fileName();
            total += image.toObject().value("count").toInt();
        }
    }
    seen.sort();
    EXPECT_EQ(seen,
              (QStringList{"p0.png", "p1.png", "p2.png", "p3.png", "p4.png", "p5.png", "p6.png"}));
    EXPECT_EQ(total, 5 + 6 + 7 + 8 + 9 + 10 + 11);
}

TEST_F(CliEndToEnd, BadImagesAreReportedAndTheBatchGoesOn)
{
    const cv::Mat good = syntheticcells::Render(Discs(12, 0, 50));
    Write("mixed/a.png", good);
    Write("mixed/d.png", good);
    // The first half of a real PNG.
    std::vector<uchar> bytes;
    cv::imencode(".png", good, bytes);
    QFile cut(Path("mixed/c.png"));
    ASSERT_TRUE(cut.open(QIODevice::WriteOnly));
    cut.write(reinterpret_cast<const char*>(bytes.data()), bytes.size() / 2);
    cut.close();
    const Outcome o = Run({"--jobs", "2", "--summary", "s.csv", "mixed"});
    EXPECT_EQ(o.exitCode, 1);
    const QStringList lines = o.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2) << o.out.toStdString();
    EXPECT_TRUE(lines[0].contains("a.png: 12 objects"));
    EXPECT_TRUE(lines[1].contains("d.png: 12 objects"));
    EXPECT_TRUE(o.err.contains("c.png: corrupt")) << o.err.toStdString();
    // Every input has its row, the failed one with the reason.
    // Every input has its row, the failed one with the reason, after the
    // unit line and the header.
    EXPECT_EQ(QString::fromUtf8(Read("s.csv")).trimmed().split('\n').size(), 2 + 3);

    // With isolation, a worker process that dies costs only the image it was
    // counting.
    const Outcome crashed =
        Run({"--isolate", "--jobs", "2", "mixed/a.png", "mixed/d.png"},
            {"LD_PRELOAD=" AUTOCOUNT_CRASH_SHIM, "CRASH_SHIM_PATTERN=mixed/d.png"});
    EXPECT_EQ(crashed.exitCode, 1);
    EXPECT_EQ(crashed.out.trimmed().split('\n').size(), 1) << crashed.out.toStdString();
    EXPECT_TRUE(crashed.out.contains("a.png: 12 objects"));
    EXPECT_TRUE(crashed.err.contains("d.png: the worker process ended"))
        << crashed.err.toStdString();

    // A worker that hangs on an image is ended at the time limit; the limit
    // leaves the good image time to count on a busy machine.
    const Outcome hung = Run({"--isolate", "--time-limit", "5", "mixed/d.png", "mixed/a.png"},
                             {"LD_PRELOAD=" AUTOCOUNT_CRASH_SHIM, "CRASH_SHIM_PATTERN=mixed/d.png",
                              "CRASH_SHIM_HANG=1"});
    EXPECT_EQ(hung.exitCode, 1);
    EXPECT_TRUE(hung.out.contains("a.png: 12 objects")) << hung.out.toStdString();
    EXPECT_TRUE(hung.err.contains("d.png: stopped: took longer than 5 s (--time-limit)"))
        << hung.err.toStdString();
}

TEST_F(CliEndToEnd, BadOptionsStopWithUsageAndStatusTwo)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(3, 0, 60)));
    const QList<QPair<QStringList, QString>> cases = {
        {{"--mode", "sideways", image}, "--mode"},
        {{"--rect", "1,2,3", image}, "--rect"},
        {{"--frobnicate", image}, "frobnicate"},
        {{"--report", "r.xlsx", image, image + "2"}, "--report"},
        {{"--annotated", image, image}, "--annotated"},
        {{"--table"}, "table"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.first.join(' ').toStdString());
        const Outcome o = Run(c.first);
        EXPECT_EQ(o.exitCode, 2);
        EXPECT_TRUE(o.err.contains(c.second)) << o.err.toStdString();
        EXPECT_TRUE(o.err.contains("usage: autocount count")) << o.err.toStdString();
        EXPECT_TRUE(o.out.isEmpty());
    }
    // The input survived the attempt to write over it.
    EXPECT_EQ(cv::imread(image.toStdString()).cols, 800);
}

TEST_F(CliEndToEnd, OutputsAppearWholeOrNotAtAll)
{
    const QString image = Write("x.png", syntheticcells::Render(Discs(8, 0, 70)));
    QFile old(Path("table.csv"));
    ASSERT_TRUE(old.open(QIODevice::WriteOnly));
    old.write("old\n");
    old.close();
    // A full disk for the table (and its temporary file).
    const Outcome o = Run({"--table", "table.csv", "--summary", "summary.csv", image},
                          {"LD_PRELOAD=" AUTOCOUNT_ENOSPC_SHIM, "ENOSPC_SHIM_PATTERN=table.csv"});
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_TRUE(o.err.contains("table.csv")) << o.err.toStdString();
    EXPECT_TRUE(o.out.contains(": 8 objects")); // the count itself still comes out
    EXPECT_EQ(Read("table.csv"), "old\n");
    // Nothing half-written remains, and no settings record without its table.
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::Files | QDir::Hidden),
              (QStringList{"summary.csv", "table.csv", "x.png"}));
    EXPECT_EQ(Run({"--summary", "s2.csv", image},
                  {"LD_PRELOAD=" AUTOCOUNT_ENOSPC_SHIM, "ENOSPC_SHIM_PATTERN=s2.csv"})
                  .exitCode,
              1);
    EXPECT_FALSE(QFile::exists(Path("s2.csv")));
}

TEST_F(CliEndToEnd, TheSampleCountsFortyAndLeavesReportAndPicture)
{
    const Outcome o = Run({});
    EXPECT_EQ(o.exitCode, 0) << o.err.toStdString();
    EXPECT_TRUE(o.out.contains("cells.png: 40 objects, mean area ")) << o.out.toStdString();
    EXPECT_TRUE(Read("autocount-sample/report.xlsx").startsWith("PK"));
    const cv::Mat picture = cv::imread(Path("autocount-sample/annotated.png").toStdString());
    EXPECT_EQ(picture.size(), cv::Size(800, 600));
}

TEST_F(CliEndToEnd, TheDefaultCountSeparatesTouchingObjectsAsTheTruthHasThem)
{
    // A scene of mixed sizes with clusters, and a field where nearly every
    // object touches its neighbours up to the border.
    for (const auto kind : {touchingcells::Kind::Mixed, touchingcells::Kind::DenseField}) {
        touchingcells::SceneParams params;
        params.kind = kind;
        params.seed = 7;
        const touchingcells::Scene scene = touchingcells::MakeScene(params);
        const QString image = Write("scene.png", scene.image);
        ASSERT_EQ(Run({"--labels", "labels.png", image}).exitCode, 0);
        cv::Mat labels = cv::imread(Path("labels.png").toStdString(), cv::IMREAD_UNCHANGED);
        ASSERT_EQ(labels.type(), CV_16UC1);
        labels.convertTo(labels, CV_32S);
        const touchingcells::MatchScore score = touchingcells::Score(scene.labels, labels);
        SCOPED_TRACE(kind == touchingcells::Kind::Mixed ? "mixed" : "dense field");
        EXPECT_GE(score.f1, 0.99);
        EXPECT_LE(std::abs(score.countError), 0.01);
        EXPECT_GT(score.truth, 100);
    }
    // The module's own cut leaves the dense field whole, and it is dropped at
    // the border.
    EXPECT_EQ(Count({"--cut", "auto", Path("scene.png")}), 0);
}

TEST_F(CliEndToEnd, FluorescenceNucleiAreCountedWithThePreparation)
{
    // Grainy nuclei of tenfold brightness on a background that triples.
    fluorescence::SceneParams p;
    p.size = cv::Size(1000, 750);
    p.seed = 301;
    const fluorescence::Scene scene = fluorescence::MakeScene(p);
    const QString image = Write("nuclei.png", scene.image);
    const int truth = static_cast<int>(scene.nuclei.size());
    const int prepared = Count({"--mode", "bright", "--save-settings", "used.json", image});
    EXPECT_LE(std::abs(prepared - truth), truth * 6 / 100) << prepared << " of " << truth;
    const int module = Count({"--mode", "bright", "--preparation", "off", image});
    EXPECT_LT(std::abs(prepared - truth), std::abs(module - truth));
    const QByteArray settings = Read("used.json");
    EXPECT_TRUE(settings.contains("\"preparation\"")) << settings.toStdString();
    EXPECT_TRUE(settings.contains("\"threshold\""));
    EXPECT_EQ(Run({"--preparation", "sharpen", image}).exitCode, 2);
}

TEST_F(CliEndToEnd, DishPhotoIsCountedInsideItsRimAndAPictureWithoutOneIsAnError)
{
    dishphoto::SceneParams params;
    params.size = dishphoto::PhotoSize(1.5);
    params.seed = 23;
    const dishphoto::Scene scene = dishphoto::MakeScene(params);
    const QString dish = Write("plates/dish.png", scene.image);
    const QString cells = Write("plates/cells.png", syntheticcells::Render(Discs(12, 0, 50)));
    const Outcome o = Run({"-v", "--dish", "auto", "--jsonl", "out.jsonl", "--labels",
                           "{stem}.labels.png", "--table", "{stem}.csv", dish, cells});
    // The photograph without a dish is named with the reason; the batch goes on.
    EXPECT_EQ(o.exitCode, 1);
    EXPECT_TRUE(o.err.contains("cells.png: no dish found")) << o.err.toStdString();
    EXPECT_TRUE(o.err.contains("dish.png: dish centre ")) << o.err.toStdString();

    // The colonies as the truth has them.
    cv::Mat labels = cv::imread(Path("dish.labels.png").toStdString(), cv::IMREAD_UNCHANGED);
    ASSERT_FALSE(labels.empty());
    labels.convertTo(labels, CV_32S);
    const touchingcells::MatchScore score = touchingcells::Score(scene.labels, labels);
    EXPECT_GE(score.f1, 0.95);
    EXPECT_LE(std::abs(score.countError), 0.05);

    // The rim found, in the data record and beside the table, on the wall.
    const QJsonObject record =
        QJsonDocument::fromJson(Read("out.jsonl").split('\n').first()).object();
    const QJsonObject rim = record.value("dish").toObject();
    QJsonObject beside =
        QJsonDocument::fromJson(Read("dish.settings.json")).object().value("dishFound").toObject();
    EXPECT_EQ(rim, beside);
    EXPECT_LT(std::hypot(rim.value("x").toDouble() - scene.dishCentre.x,
                         rim.value("y").toDouble() - scene.dishCentre.y),
              0.01 * scene.dishRadius);
    EXPECT_GE(rim.value("radius").toDouble(), dishphoto::kWallStart * scene.dishRadius);
    EXPECT_LE(rim.value("radius").toDouble(), scene.dishRadius);
}

// The data outputs of the autocount program, judged against ground truth
// computed here from the module's numeric object data (countcore::DataValue
// on the valid records of the same image): every value read back from CSV,
// JSON, JSON Lines and SQLite must be the very same double.

#include "countrun.h"
#include "imageinput.h"
#include "objectdata.h"
#include "settings.h"
#include "syntheticcells.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <sqlite3.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>
#include <vector>

namespace {

struct Outcome
{
    int exitCode = -1;
    QByteArray out;
    QString err;
};

constexpr int kMeasurements = countcore::kDataTypeCount;

std::uint64_t Bits(double value)
{
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

/// The measurements of every valid object, straight from the records.
std::vector<std::vector<double>> GroundTruth(const QString& path, double scale, const QString& unit)
{
    const InputImage input = ReadImage(path);
    EXPECT_TRUE(input.ok()) << input.error.toStdString();
    CountSettings settings;
    settings.scale = scale;
    settings.unit = unit;
    const countrun::CountResult result = countrun::Count(input.image, settings);
    std::vector<std::vector<double>> rows;
    for (const parResult& record : result.core.validRecords) {
        std::vector<double> row;
        for (int type = 0; type < kMeasurements; ++type)
            row.push_back(countcore::DataValue(type, record, scale));
        rows.push_back(row);
    }
    return rows;
}

/// A table read with its header: one map of key to value per row.
using Table = std::vector<std::map<QString, QString>>;

Table ReadCsv(const QByteArray& text, QString* unitLine = nullptr)
{
    Table table;
    QStringList header;
    for (const QByteArray& line : text.split('\n')) {
        if (line.isEmpty())
            continue;
        if (line.startsWith('#')) {
            if (unitLine)
                *unitLine = QString::fromUtf8(line);
            continue;
        }
        const QStringList fields = QString::fromUtf8(line).split(',');
        if (header.isEmpty()) {
            header = fields;
            continue;
        }
        std::map<QString, QString> row;
        for (int i = 0; i < header.size(); ++i)
            row[header[i]] = fields.value(i);
        table.push_back(row);
    }
    return table;
}

double Parse(const QString& text)
{
    return std::strtod(text.toUtf8().constData(), nullptr);
}

/// The numbers written after every "key": in @p json, in order, read with
/// strtod. (Qt's JSON reader turns -0.0 into 0, so bits are checked on the
/// text itself.)
std::vector<double> RawValues(const QByteArray& json, const char* key)
{
    std::vector<double> values;
    const QByteArray needle = QByteArray("\"") + key + "\":";
    for (int at = json.indexOf(needle); at >= 0; at = json.indexOf(needle, at + 1)) {
        const char* start = json.constData() + at + needle.size();
        if (*start == '-' || (*start >= '0' && *start <= '9'))
            values.push_back(std::strtod(start, nullptr));
    }
    return values;
}

syntheticcells::Layout Discs(int singles, std::uint64_t seed, cv::Size size = {800, 600})
{
    syntheticcells::LayoutParams p;
    p.size = size;
    p.singles = singles;
    p.pairs = 0;
    p.roundOnly = false;
    p.seed = seed;
    return syntheticcells::MakeLayout(p);
}

class DataOutputs : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }

    QString Path(const QString& name) const { return dir.filePath(name); }

    QString Write(const QString& name, const cv::Mat& image)
    {
        const QString path = Path(name);
        QDir().mkpath(QFileInfo(path).absolutePath());
        EXPECT_TRUE(cv::imwrite(path.toStdString(), image));
        return path;
    }

    void Start(QProcess& process, const QStringList& arguments)
    {
        process.setWorkingDirectory(dir.path());
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("QT_QPA_PLATFORM", "offscreen");
        process.setProcessEnvironment(env);
        process.start(QStringLiteral(AUTOCOUNT_PROGRAM), QStringList{"count"} + arguments);
    }

    Outcome Run(const QStringList& arguments)
    {
        QProcess process;
        Start(process, arguments);
        Outcome o;
        if (!process.waitForFinished(240000))
            return o;
        o.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
        o.out = process.readAllStandardOutput();
        o.err = QString::fromUtf8(process.readAllStandardError());
        return o;
    }

    QByteArray Read(const QString& name) const
    {
        QFile file(Path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir dir;
};

/// Rows of one query on @p database, every column as an optional double.
std::vector<std::vector<std::optional<double>>> Query(const QString& database, const char* sql,
                                                      bool quiet = false)
{
    std::vector<std::vector<std::optional<double>>> rows;
    sqlite3* db = nullptr;
    if (sqlite3_open_v2(database.toUtf8().constData(), &db, SQLITE_OPEN_READONLY, nullptr) !=
        SQLITE_OK) {
        sqlite3_close(db);
        ADD_FAILURE() << "cannot open " << database.toStdString();
        return rows;
    }
    sqlite3_busy_timeout(db, 5000);
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db, sql, -1, &stmt, nullptr) != SQLITE_OK) {
        if (!quiet)
            ADD_FAILURE() << sqlite3_errmsg(db);
        sqlite3_close(db);
        return rows;
    }
    while (sqlite3_step(stmt) == SQLITE_ROW) {
        std::vector<std::optional<double>> row;
        for (int c = 0; c < sqlite3_column_count(stmt); ++c)
            row.push_back(sqlite3_column_type(stmt, c) == SQLITE_NULL
                              ? std::nullopt
                              : std::optional<double>(sqlite3_column_double(stmt, c)));
        rows.push_back(row);
    }
    sqlite3_finalize(stmt);
    sqlite3_close(db);
    return rows;
}

} // namespace

// Every value in every data format equals the record's double bit for bit,
// calibrated or not; before, the tables' three decimals made every area
// 0.001 mm² or 0.
TEST_F(DataOutputs, EveryFormatReadsBackTheRecordsDoublesExactly)
{
    const QString image = Write("cells.png", syntheticcells::Render(Discs(24, 5)));
    struct Calibration
    {
        QStringList options;
        double scale;
        QString unit;
    };
    const std::vector<Calibration> calibrations = {
        {{"--scale", "0.001", "--unit", "mm"}, 0.001, "mm"}, {{}, 1.0, "px"}};
    std::vector<QStringList> keySets;
    for (const Calibration& c : calibrations) {
        for (const bool isolate : {false, true}) {
            SCOPED_TRACE((c.unit + (isolate ? " isolated" : "")).toStdString());
            const auto truth = GroundTruth(image, c.scale, c.unit);
            ASSERT_EQ(truth.size(), 24u);
            QFile::remove(Path("r.db"));
            QStringList arguments = c.options;
            if (isolate)
                arguments << "--isolate";
            const Outcome o =
                Run(arguments + QStringList{"--json", "--table", "t.csv", "--objects", "o.csv",
                                            "--jsonl", "r.jsonl", "--sqlite", "r.db", image});
            ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();

            const QJsonObject json =
                QJsonDocument::fromJson(o.out).object().value("images").toArray()[0].toObject();
            const QJsonObject line = QJsonDocument::fromJson(Read("r.jsonl")).object();
            const Table table = ReadCsv(Read("t.csv"));
            QString unitLine;
            const Table objects = ReadCsv(Read("o.csv"), &unitLine);
            EXPECT_EQ(unitLine, "# unit: " + c.unit);
            EXPECT_EQ(line.value("unit").toString(), c.unit);
            QByteArray sql = "SELECT object";
            for (int type = 0; type < kMeasurements; ++type)
                sql += QByteArray(", ") + objectdata::MeasurementKey(type);
            sql += " FROM objects ORDER BY object";
            const auto database = Query(Path("r.db"), sql.constData());
            ASSERT_EQ(table.size(), truth.size());
            ASSERT_EQ(objects.size(), truth.size());
            ASSERT_EQ(database.size(), truth.size());
            ASSERT_EQ(json.value("objects").toArray().size(), static_cast<int>(truth.size()));
            ASSERT_EQ(line.value("objects").toArray().size(), static_cast<int>(truth.size()));

            std::map<int, std::vector<double>> jsonValues;
            std::map<int, std::vector<double>> lineValues;
            for (int type = 0; type < kMeasurements; ++type) {
                const char* key = objectdata::MeasurementKey(type);
                jsonValues[type] = RawValues(o.out.mid(o.out.indexOf("\"objects\":")), key);
                const QByteArray jsonl = Read("r.jsonl");
                lineValues[type] = RawValues(jsonl.mid(jsonl.indexOf("\"objects\":")), key);
                ASSERT_EQ(jsonValues[type].size(), truth.size()) << key;
                ASSERT_EQ(lineValues[type].size(), truth.size()) << key;
            }
            for (size_t i = 0; i < truth.size(); ++i) {
                EXPECT_EQ(table[i].at("object"), QString::number(i + 1));
                EXPECT_EQ(objects[i].at("image_index"), "1");
                for (int type = 0; type < kMeasurements; ++type) {
                    const QString key = objectdata::MeasurementKey(type);
                    const std::uint64_t expected = Bits(truth[i][type]);
                    EXPECT_EQ(Bits(Parse(table[i].at(key))), expected) << key.toStdString();
                    EXPECT_EQ(Bits(Parse(objects[i].at(key))), expected) << key.toStdString();
                    EXPECT_EQ(Bits(jsonValues[type][i]), expected) << key.toStdString();
                    EXPECT_EQ(Bits(lineValues[type][i]), expected) << key.toStdString();
                    // SQLite stores a whole-number REAL as an integer, so a
                    // negative zero reads back as 0: the one value that is
                    // only numerically equal.
                    ASSERT_TRUE(database[i][1 + type].has_value());
                    EXPECT_EQ(Bits(*database[i][1 + type]),
                              truth[i][type] == 0 ? Bits(0.0) : expected)
                        << key.toStdString();
                }
            }
            // The keys are the same with and without calibration.
            QStringList keys;
            for (const auto& entry : table[0])
                keys << entry.first;
            keys += line.value("objects").toArray()[0].toObject().keys();
            keys += line.value("statistics").toObject().keys();
            keySets.push_back(keys);
        }
    }
    for (const QStringList& keys : keySets)
        EXPECT_EQ(keys, keySets.front());
}

// The other planes' measurements and what the preparation chose reach every
// data output with the values the engine computes.
TEST_F(DataOutputs, ChannelMeasuresAndPreparationReachEveryDataOutput)
{
    // A colour image: the red plane at three quarters, so the planes differ.
    cv::Mat colour = syntheticcells::Render(Discs(12, 31));
    std::vector<cv::Mat> planes;
    cv::split(colour, planes);
    planes[2] *= 0.75;
    cv::merge(planes, colour);
    const QString image = Write("colour.png", colour);
    const InputImage input = ReadImage(image);
    ASSERT_TRUE(input.ok());
    const countrun::CountResult truth = countrun::Count(input.image, CountSettings());
    ASSERT_TRUE(truth.preparation.ran);
    ASSERT_EQ(truth.channels.keys.size(), 15);
    const size_t count = truth.channels.rows.size();
    ASSERT_EQ(count, 12u);

    const Outcome o = Run({"--objects", "o.csv", "--jsonl", "r.jsonl", "--sqlite", "r.db",
                           "--report", "r.xlsx", "-v", image});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    const Table objects = ReadCsv(Read("o.csv"));
    const QByteArray jsonl = Read("r.jsonl");
    const QByteArray objectsJson = jsonl.mid(jsonl.indexOf("\"objects\":"));
    ASSERT_EQ(objects.size(), count);
    for (int k = 0; k < truth.channels.keys.size(); ++k) {
        const QString key = truth.channels.keys[k];
        const std::vector<double> line = RawValues(objectsJson, key.toUtf8().constData());
        ASSERT_EQ(line.size(), count) << key.toStdString();
        // One row per object and plane, the plane named by the key's suffix.
        const QByteArray sql = "SELECT " + key.section('_', 0, -2).toUtf8() +
                               " FROM object_channels WHERE channel = '" +
                               key.section('_', -1).toUtf8() + "' ORDER BY object";
        const auto stored = Query(Path("r.db"), sql.constData());
        ASSERT_EQ(stored.size(), count) << sql.toStdString();
        for (size_t i = 0; i < count; ++i) {
            const std::uint64_t expected = Bits(truth.channels.rows[i][static_cast<size_t>(k)]);
            EXPECT_EQ(Bits(Parse(objects[i].at(key))), expected) << key.toStdString();
            EXPECT_EQ(Bits(line[i]), expected) << key.toStdString();
            ASSERT_TRUE(stored[i][0].has_value());
            EXPECT_EQ(*stored[i][0], truth.channels.rows[i][static_cast<size_t>(k)]);
        }
    }
    // The preparation's figures: in the JSON line, the database, the settings
    // written beside the report, and printed with -v.
    const QByteArray prepared = jsonl.mid(jsonl.indexOf("\"preparation\":"));
    const QJsonObject beside =
        QJsonDocument::fromJson(Read("r.settings.json")).object().value("prepared").toObject();
    const auto figures = preparation::Figures(truth.preparation);
    QByteArray sql = "SELECT image_id";
    for (const auto& [key, value] : figures)
        sql += QByteArray(", ") + key;
    sql += " FROM preparations";
    const auto stored = Query(Path("r.db"), sql.constData());
    ASSERT_EQ(stored.size(), 1u);
    for (size_t f = 0; f < figures.size(); ++f) {
        const auto& [key, value] = figures[f];
        const std::vector<double> line = RawValues(prepared, key);
        ASSERT_FALSE(line.empty()) << key;
        EXPECT_EQ(Bits(line[0]), Bits(value)) << key;
        EXPECT_EQ(beside.value(QLatin1String(key)).toDouble(-1), value) << key;
        EXPECT_EQ(stored[0][1 + f].value_or(-1), value) << key;
        EXPECT_TRUE(o.err.contains(QStringLiteral("%1 %2").arg(
            QLatin1String(key), QString::fromLatin1(objectdata::Number(value)))))
            << key << o.err.toStdString();
    }
}

// A run killed with SIGKILL keeps every image it finished in the database,
// and --resume counts only the rest.
TEST_F(DataOutputs, KilledDatabaseRunKeepsFinishedImagesAndResumeCompletesIt)
{
    const int total = 60;
    for (int i = 0; i < total; ++i)
        Write(QStringLiteral("batch/img%1.png").arg(i, 2, 10, QLatin1Char('0')),
              syntheticcells::Render(Discs(20 + i % 5, 100 + i)));
    const QString database = Path("r.db");
    QProcess process;
    Start(process, {"--sqlite", database, "batch"});
    ASSERT_TRUE(process.waitForStarted());
    int finished = 0;
    for (int tries = 0; tries < 6000 && finished < 2; ++tries) {
        QThread::msleep(5);
        if (QFile::exists(database))
            finished = static_cast<int>(Query(database, "SELECT id FROM images", true).size());
    }
    process.kill();
    ASSERT_TRUE(process.waitForFinished(10000));
    ASSERT_EQ(process.exitStatus(), QProcess::CrashExit);

    // Every image kept is whole: its count equals its object rows.
    const auto kept = Query(database, "SELECT i.count, (SELECT count(*) FROM objects o WHERE "
                                      "o.image_id = i.id) FROM images i WHERE error IS NULL");
    ASSERT_GE(kept.size(), 2u);
    ASSERT_LT(kept.size(), static_cast<size_t>(total)) << "the run ended before it was killed";
    for (const auto& row : kept)
        EXPECT_EQ(row[0], row[1]);

    const Outcome resumed = Run({"--sqlite", database, "--resume", "batch"});
    ASSERT_EQ(resumed.exitCode, 0) << resumed.err.toStdString();
    EXPECT_EQ(resumed.out.trimmed().split('\n').size(), total - static_cast<int>(kept.size()));
    const auto paths =
        Query(database, "SELECT count(DISTINCT path), count(*) FROM images WHERE error IS NULL");
    EXPECT_EQ(paths[0][0], total);
    EXPECT_EQ(paths[0][1], total); // none counted twice
    EXPECT_EQ(Query(database, "SELECT id FROM runs").size(), 2u);
}

// The label image, the GeoJSON outlines and the object table describe the
// same objects under the same numbers.
TEST_F(DataOutputs, LabelsAndOutlinesAgreeWithTheTable)
{
    const QString image = Write("cells.png", syntheticcells::Render(Discs(20, 9)));
    const Outcome o = Run({"--table", "t.csv", "--labels", "l.png", "--geojson", "g.geojson",
                           "--scale", "0.5", "--unit", "um", image});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    const Table table = ReadCsv(Read("t.csv"));
    ASSERT_EQ(table.size(), 20u);
    const cv::Mat labels = cv::imread(Path("l.png").toStdString(), cv::IMREAD_UNCHANGED);
    ASSERT_EQ(labels.type(), CV_16UC1);
    ASSERT_EQ(labels.size(), cv::Size(800, 600));
    double maxLabel = 0;
    cv::minMaxLoc(labels, nullptr, &maxLabel);
    EXPECT_EQ(maxLabel, 20);
    const QByteArray geojsonText = Read("g.geojson");
    const QJsonArray features =
        QJsonDocument::fromJson(geojsonText).object().value("features").toArray();
    ASSERT_EQ(features.size(), 20);

    for (size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE(i);
        const auto& row = table[i];
        const int number = row.at("object").toInt();
        EXPECT_EQ(number, static_cast<int>(i) + 1);
        const double cx = Parse(row.at("centroid_x"));
        const double cy = Parse(row.at("centroid_y"));
        // The centroid lies on a pixel of its own label...
        EXPECT_EQ(labels.at<quint16>(cvRound(cy), cvRound(cx)), number);
        // ...which are exactly the pixels of its bounding box that carry it.
        const cv::Mat mine = labels == number;
        const cv::Rect box = cv::boundingRect(mine);
        EXPECT_EQ(box, cv::Rect(row.at("bbox_x").toInt(), row.at("bbox_y").toInt(),
                                row.at("bbox_width").toInt(), row.at("bbox_height").toInt()));
        const cv::Moments m = cv::moments(mine, true);
        EXPECT_DOUBLE_EQ(m.m10 / m.m00, cx);
        EXPECT_DOUBLE_EQ(m.m01 / m.m00, cy);
        // The polygon's area (pixel centres as vertices) is the label's pixel
        // count less about half a pixel per boundary pixel: never more.
        const double pixels = cv::countNonZero(mine);
        const double areaPx = Parse(row.at("area")) / 0.25;
        EXPECT_LT(areaPx, pixels);
        EXPECT_GT(areaPx, pixels - Parse(row.at("perimeter")) / 0.5);

        const QJsonObject feature = features[static_cast<int>(i)].toObject();
        const QJsonObject properties = feature.value("properties").toObject();
        for (const char* key : objectdata::Keys()) {
            EXPECT_TRUE(properties.contains(key)) << key;
            const std::vector<double> values = RawValues(geojsonText, key);
            ASSERT_EQ(values.size(), table.size()) << key;
            EXPECT_EQ(Bits(values[i]), Bits(Parse(row.at(key)))) << key;
        }
        std::vector<cv::Point2f> ring;
        for (const QJsonValue& point :
             feature.value("geometry").toObject().value("coordinates").toArray()[0].toArray())
            ring.emplace_back(point.toArray()[0].toDouble(), point.toArray()[1].toDouble());
        ASSERT_GE(ring.size(), 4u);
        EXPECT_EQ(ring.front(), ring.back());
        EXPECT_GT(cv::pointPolygonTest(ring, cv::Point2f(cx, cy), false), 0);
        EXPECT_DOUBLE_EQ(std::abs(cv::contourArea(ring)), areaPx);
    }
}

// An image without objects has count 0 and no statistics: empty cells in
// CSV, null in JSON and in the database, never 0.
TEST_F(DataOutputs, AnImageWithoutObjectsHasNoStatistics)
{
    const QString image = Write("blank.png", cv::Mat(200, 300, CV_8UC3, cv::Scalar(200, 200, 200)));
    const Outcome o = Run({"--summary", "s.csv", "--jsonl", "r.jsonl", "--sqlite", "r.db",
                           "--objects", "o.csv", "--table", "t.csv", image});
    ASSERT_EQ(o.exitCode, 0) << o.err.toStdString();
    const Table summary = ReadCsv(Read("s.csv"));
    ASSERT_EQ(summary.size(), 1u);
    EXPECT_EQ(summary[0].at("count"), "0");
    EXPECT_EQ(summary[0].at("width"), "300");
    for (const char* key : {"area_mean", "area_min", "area_max", "area_sum", "min_gray_range"})
        EXPECT_EQ(summary[0].at(key), "") << key;
    const QJsonObject line = QJsonDocument::fromJson(Read("r.jsonl")).object();
    EXPECT_EQ(line.value("count").toInt(-1), 0);
    EXPECT_EQ(line.value("objects").toArray().size(), 0);
    const QJsonObject statistics = line.value("statistics").toObject();
    EXPECT_EQ(statistics.size(), kMeasurements);
    for (const QJsonValue& type : statistics)
        for (const QJsonValue& value : type.toObject())
            EXPECT_TRUE(value.isNull());
    const auto stored = Query(Path("r.db"), "SELECT mean, std_dev, min, max, range, sum "
                                            "FROM statistics");
    ASSERT_EQ(stored.size(), static_cast<size_t>(kMeasurements));
    for (const auto& row : stored)
        for (const auto& value : row)
            EXPECT_FALSE(value.has_value());
    EXPECT_TRUE(ReadCsv(Read("o.csv")).empty());
    EXPECT_TRUE(ReadCsv(Read("t.csv")).empty());
}

// "-" sends a table, the JSON Lines or the GeoJSON to standard output (the
// summary lines then go to stderr); two streams are refused; nothing is
// written beside a stream or a FIFO.
TEST_F(DataOutputs, DashWritesToStandardOutputAndNothingBesideStreams)
{
    const QString a = Write("two/a.png", syntheticcells::Render(Discs(7, 21)));
    Write("two/b.png", syntheticcells::Render(Discs(9, 22)));
    const Outcome jsonl = Run({"--jsonl", "-", "two"});
    ASSERT_EQ(jsonl.exitCode, 0) << jsonl.err.toStdString();
    const QList<QByteArray> lines = jsonl.out.trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(QJsonDocument::fromJson(lines[0]).object().value("count").toInt(), 7);
    EXPECT_EQ(QJsonDocument::fromJson(lines[1]).object().value("count").toInt(), 9);
    EXPECT_TRUE(jsonl.err.contains("a.png: 7 objects"));

    const Outcome table = Run({"--table", "-", a});
    ASSERT_EQ(table.exitCode, 0) << table.err.toStdString();
    EXPECT_EQ(ReadCsv(table.out).size(), 7u);
    const Outcome geojson = Run({"--geojson", "-", a});
    EXPECT_EQ(QJsonDocument::fromJson(geojson.out).object().value("features").toArray().size(), 7);
    EXPECT_FALSE(QFile::exists(Path("-")));
    EXPECT_FALSE(QFile::exists(Path("-.settings.json")));

    const Outcome two = Run({"--jsonl", "-", "--objects", "-", a});
    EXPECT_EQ(two.exitCode, 2);
    EXPECT_TRUE(two.err.contains("--objects")) << two.err.toStdString();
    EXPECT_EQ(Run({"--json", "--summary", "-", a}).exitCode, 2);

    // A table into a FIFO: read whole by its reader, and no settings file
    // appears beside it.
    const QString fifo = Path("pipe.csv");
    ASSERT_EQ(QProcess::execute("mkfifo", {fifo}), 0);
    QProcess reader;
    reader.start("cat", {fifo});
    ASSERT_TRUE(reader.waitForStarted());
    const Outcome piped = Run({"--table", fifo, a});
    ASSERT_TRUE(reader.waitForFinished(30000));
    EXPECT_EQ(piped.exitCode, 0) << piped.err.toStdString();
    EXPECT_EQ(ReadCsv(reader.readAllStandardOutput()).size(), 7u);
    EXPECT_FALSE(QFile::exists(Path("pipe.settings.json")));
    EXPECT_TRUE(QFileInfo(fifo).isFile() == false);
}

// The spreadsheet report, read back by openpyxl through readxlsx.py.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "host/scaleservice.h"

#include <QDir>
#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;

constexpr int kEmuPerPixel = 9525; // at 96 dpi
const QString kAreaName = QString("Area_px") + QChar(0x00B2);
const QStringList kSheetNames = {"Automatic Counting Image", "Automatic Counting Table",
                                 "Automatic Counting Statistics"};
const QStringList kStatisticsHeader = {
    "Function", "Mean", "Standard Deviation", "Minimum", "Maximum", "Range", "Sum", "Count Number"};

/// Cells of @p rows as the reader lists them: "A1 s text", row by row.
QStringList StringCells(const QList<QStringList>& rows)
{
    QStringList cells;
    for (int i = 0; i < rows.size(); ++i)
        for (int j = 0; j < rows[i].size(); ++j)
            cells << QString("%1%2 s %3").arg(QChar('A' + j)).arg(i + 1).arg(rows[i][j]);
    return cells;
}

/// Everything in @p dir, hidden entries included.
QStringList Entries(const QString& dir)
{
    return QDir(dir).entryList(QDir::AllEntries | QDir::Hidden | QDir::System |
                               QDir::NoDotAndDotDot);
}

// Image 60 x 80 with bytes 250,0,0 (grey 29) and two 5 x 5 objects clear of the
// border; only Area and Mean Gray Value are enabled, calibration 1 px.
class ReportTest : public ControllerTest
{
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        ASSERT_TRUE(dir.isValid());
        path = dir.filePath("report.xlsx");
        saved_ = ScaleService::calibrationStore.GetCurrentEntry();
        CalibrationEntry entry;
        entry.unitName = "px";
        ScaleService::calibrationStore.SetCurrentEntry(entry);
        Manager::InitDataTypeMap();
        for (const QString& name : Manager::nameDataTypeMap.keys())
            manager->DeleteDataType(name);
        manager->AddDataType("Area");
        manager->AddDataType("Mean Gray Value");
        StartWith(testimages::Colour(60, 80, 250, 0, 0));
    }
    void TearDown() override
    {
        manager->SetDefaultDataRange();
        ScaleService::calibrationStore.SetCurrentEntry(saved_);
        ControllerTest::TearDown();
    }

    void Count()
    {
        cv::Mat mask = testimages::Grey(60, 80);
        mask(cv::Rect(10, 10, 5, 5)).setTo(255);
        mask(cv::Rect(40, 30, 5, 5)).setTo(255);
        manager->SetBinaryImage(mask);
        manager->CalculateData();
        manager->ObjectDetectAndCalculateData();
    }

    /// The reader's view of @p file; an empty object after a failed read.
    QJsonObject ReadBack(const QString& file)
    {
        QProcess reader;
        reader.start(AUTOCOUNT_REPORT_PYTHON, {AUTOCOUNT_REPORT_READER, file});
        const bool finished = reader.waitForFinished(60000);
        const QByteArray out = reader.readAllStandardOutput();
        if (!finished || reader.exitStatus() != QProcess::NormalExit || reader.exitCode() != 0) {
            ADD_FAILURE() << "readxlsx.py failed on " << file.toStdString() << ": "
                          << reader.readAllStandardError().toStdString();
            return {};
        }
        return QJsonDocument::fromJson(out).object();
    }

    static QStringList SheetNames(const QJsonObject& book)
    {
        QStringList names;
        for (const QJsonValue& sheet : book["sheets"].toArray())
            names << sheet["name"].toString();
        return names;
    }
    static QStringList Cells(const QJsonObject& book, int sheet)
    {
        QStringList cells;
        for (const QJsonValue& cell : book["sheets"][sheet]["cells"].toArray())
            cells << QString("%1 %2 %3")
                         .arg(cell[0].toString(), cell[1].toString(), cell[2].toString());
        return cells;
    }
    static QJsonArray Pictures(const QJsonObject& book)
    {
        return book["sheets"][0]["pictures"].toArray();
    }

    QTemporaryDir dir;
    QString path;
    CalibrationEntry saved_;
};

TEST_F(ReportTest, EmptyResultThenACountingRunOverwritesTheReport)
{
    manager->ExportReport(path);
    QJsonObject book = ReadBack(path);
    EXPECT_EQ(SheetNames(book), kSheetNames);
    EXPECT_EQ(Cells(book, 1), StringCells({{"NO.", kAreaName, "Mean Gray Value"}}));
    EXPECT_EQ(Cells(book, 2),
              StringCells({kStatisticsHeader,
                           {kAreaName, "nan", "nan", "0.000", "0.000", "0.000", "0.000", "0.000"},
                           {"Mean Gray Value", "nan", "nan", "0.000", "0.000", "0.000", "0.000",
                            "0.000"}}));

    Count();
    ASSERT_EQ(manager->GetValidResults().size(), 2u);
    manager->ExportReport(path);
    book = ReadBack(path);
    EXPECT_EQ(Pictures(book).size(), 1);
    EXPECT_TRUE(Cells(book, 0).isEmpty());
    // Each 5 x 5 object has an outline enclosing 4 x 4 = 16 px², grey 29.
    EXPECT_EQ(Cells(book, 1), StringCells({{"NO.", kAreaName, "Mean Gray Value"},
                                           {"1", "16.000", "29.000"},
                                           {"2", "16.000", "29.000"}}));
    EXPECT_EQ(Cells(book, 2), StringCells({kStatisticsHeader,
                                           {kAreaName, "16.000", "0.000", "16.000", "16.000",
                                            "0.000", "32.000", "2.000"},
                                           {"Mean Gray Value", "29.000", "0.000", "29.000",
                                            "29.000", "0.000", "58.000", "2.000"}}));
    EXPECT_EQ(Entries(dir.path()), QStringList{"report.xlsx"});
}

TEST_F(ReportTest, PictureSitsAtA1AtTheTruncatedSceneSize)
{
    scene->setSceneRect(0, 0, 640.7, 480.2);
    scene->addRect(0, 0, 100, 50, QPen(Qt::NoPen), QBrush(Qt::green));
    manager->ExportReport(path);
    const QJsonArray pictures = Pictures(ReadBack(path));
    ASSERT_EQ(pictures.size(), 1);
    const QJsonObject picture = pictures[0].toObject();
    for (const char* key : {"col", "row", "colOff", "rowOff"})
        EXPECT_EQ(picture[key].toInt(), 0) << key;
    EXPECT_EQ(picture["pngWidth"].toInt(), 640);
    EXPECT_EQ(picture["pngHeight"].toInt(), 480);
    EXPECT_EQ(picture["cx"].toInt(), 640 * kEmuPerPixel);
    EXPECT_EQ(picture["cy"].toInt(), 480 * kEmuPerPixel);
    // The scene is in the picture; what it leaves unpainted is black.
    const QImage png =
        QImage::fromData(QByteArray::fromBase64(picture["png"].toString().toLatin1()), "PNG");
    EXPECT_EQ(png.pixelColor(10, 10), QColor(Qt::green));
    EXPECT_EQ(png.pixelColor(600, 400), QColor(Qt::black));
}

} // namespace

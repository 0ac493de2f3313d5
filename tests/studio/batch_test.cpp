// From one image to a batch: the settings tuned in the studio count the same
// in the command-line tool, the object table is the tool's, and a folder is
// counted in the background with the tool's outputs.
#include "studiofixture.h"

#include "dialoghelpers.h"
#include "discimage.h"
#include "folderrun.h"

#include "autocount/autocountmanager.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QSlider>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

namespace {

QByteArray Read(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The data rows of a CSV file: lines that are neither the unit comment nor the header.
QList<QByteArrayList> Rows(const QString& path)
{
    QList<QByteArrayList> rows;
    const QList<QByteArray> lines = Read(path).split('\n');
    for (int i = 0; i < lines.size(); ++i)
        if (!lines[i].isEmpty() && !lines[i].startsWith('#'))
            rows << lines[i].split(',');
    if (!rows.isEmpty())
        rows.removeFirst(); // the header
    return rows;
}

} // namespace

class BatchTest : public StudioTest
{
protected:
    void Key(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QApplication::setActiveWindow(window.get());
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), modifiers);
    }
};

TEST_F(BatchTest, SettingsTunedInTheStudioCountTheSameInTheCommandLineTool)
{
    // Whole image; a threshold tuned with the slider; an opening; the
    // separation; a filter and a calibration set in their dialogs.
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    auto* mode = window->findChild<QComboBox*>("segmentModeCombo");
    const int bright = mode->findData(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    mode->setCurrentIndex(bright);
    emit mode->activated(bright);
    auto* lowSlider = window->findChild<QSlider*>("lowSlider");
    lowSlider->setFocus();
    for (int i = 0; i < 5; ++i)
        QTest::keyClick(lowSlider, Qt::Key_PageUp);
    ClickButton("openButton");
    ClickButton("nextButton");
    ClickButton("distanceCutButton");
    ASSERT_TRUE(WaitForAutoCut());
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    dialogs::OnNext([](QDialog* dialog) {
        dialogs::FilterLimit(dialog, "Area", 1)->setValue(1100);
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_F, Qt::ControlModifier);
    dialogs::OnNext([](QDialog* dialog) {
        dialog->findChild<QDoubleSpinBox*>("calibrationScale")->setValue(0.5);
        dialog->findChild<QComboBox*>("calibrationUnit")->setCurrentText(QStringLiteral("µm"));
        dialogs::ClickButton(dialog, QDialogButtonBox::Ok);
    });
    Key(Qt::Key_K, Qt::ControlModifier);
    const int count = Session()->ObjectCount();
    ASSERT_GT(count, 0);

    const QString settings = folder.filePath("mine.json");
    const QString studioTable = folder.filePath("studio.csv");
    ASSERT_TRUE(window->SaveSettings(settings, true));
    ASSERT_TRUE(window->ExportTable(studioTable, true));
    const QJsonObject saved = QJsonDocument::fromJson(Read(settings)).object();
    EXPECT_EQ(saved.value("mode").toString(), "manual") << "the slider made the band manual";
    EXPECT_EQ(saved.value("cut").toString(), "distance");
    EXPECT_EQ(saved.value("morphology").toArray(), QJsonArray{"open"});
    EXPECT_EQ(saved.value("unit").toString(), QStringLiteral("µm"));
    EXPECT_TRUE(QFile::exists(folder.filePath("studio.settings.json"))) << "beside the table";
    const QString report = folder.filePath("count.xlsx");
    ASSERT_TRUE(window->ExportReport(report, true));
    EXPECT_EQ(Read(folder.filePath("count.settings.json")), Read(settings))
        << "the same settings beside the report";

    // The tool, with nothing but the saved file.
    const QString cliTable = folder.filePath("cli.csv");
    QProcess cli;
    cli.start(QStringLiteral(AUTOCOUNT_CLI),
              {"count", "--settings", settings, "--table", cliTable, imagePath});
    ASSERT_TRUE(cli.waitForFinished(120000));
    EXPECT_EQ(cli.exitCode(), 0) << cli.readAllStandardError().toStdString();
    EXPECT_EQ(Rows(cliTable).size(), count);
    EXPECT_EQ(Read(cliTable), Read(studioTable)) << "the same values and keys";

    // Loaded into a new count, the file gives back the threshold.
    int low = -1;
    int high = -1;
    Session()->Thresholds(low, high);
    Session()->Cancel();
    ASSERT_TRUE(Session()->Start());
    Session()->Next();
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_DARK);
    ASSERT_TRUE(window->LoadSettings(settings, true));
    int loadedLow = -1;
    int loadedHigh = -1;
    Session()->Thresholds(loadedLow, loadedHigh);
    EXPECT_EQ(loadedLow, low);
    EXPECT_EQ(loadedHigh, high);
    EXPECT_EQ(AutoCountManager::segmentMode, AutoCountManager::SEGMENT_MANUAL);
}

TEST_F(BatchTest, AFolderIsCountedInTheBackgroundWithTheToolsOutputs)
{
    // Image k holds k + 1 discs apart from each other and from the border.
    QDir in(folder.filePath("in"));
    ASSERT_TRUE(in.mkpath("."));
    const int images = 3;
    for (int k = 0; k < images; ++k) {
        cv::Mat image(120, 400, CV_8UC3, cv::Scalar(40, 40, 40));
        for (int d = 0; d <= k; ++d)
            cv::circle(image, cv::Point(50 + 100 * d, 60), 20, cv::Scalar(90, 200, 220), cv::FILLED,
                       cv::LINE_8);
        ASSERT_TRUE(cv::imwrite(in.filePath(QString("plate%1.png").arg(k)).toStdString(), image));
    }
    ASSERT_TRUE(QFile::copy(imagePath, in.filePath("notes.txt"))) << "not an image: skipped";
    // Bright objects, set in step 2 as a user does.
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    auto* mode = window->findChild<QComboBox*>("segmentModeCombo");
    const int bright = mode->findData(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    mode->setCurrentIndex(bright);
    emit mode->activated(bright);

    const QString out = folder.filePath("out");
    QSignalSpy finished(window->Folder(), &FolderRun::finished);
    QSignalSpy progress(window->Folder(), &FolderRun::progress);
    ASSERT_TRUE(window->ProcessFolder(in.path(), out, true));
    EXPECT_TRUE(window->Folder()->IsRunning());
    EXPECT_FALSE(window->ProcessFolder(in.path(), out, true)) << "one run at a time";
    ASSERT_TRUE(finished.wait(120000));
    EXPECT_FALSE(finished.first()[0].toBool()) << "not cancelled";
    EXPECT_EQ(finished.first()[1].toInt(), images);
    EXPECT_EQ(finished.first()[2].toInt(), 0);
    EXPECT_EQ(progress.size(), images);

    const QList<QByteArrayList> summary = Rows(QDir(out).filePath("summary.csv"));
    ASSERT_EQ(summary.size(), images);
    const QByteArrayList header =
        Read(QDir(out).filePath("summary.csv")).split('\n').value(1).split(',');
    const int countColumn = header.indexOf("count");
    ASSERT_GE(countColumn, 0);
    int objects = 0;
    for (int k = 0; k < images; ++k) {
        EXPECT_EQ(summary[k][countColumn].toInt(), k + 1) << k;
        objects += k + 1;
        const QString table = QDir(out).filePath(QString("plate%1.csv").arg(k));
        EXPECT_EQ(Rows(table).size(), k + 1) << k;
        EXPECT_TRUE(QFile::exists(QDir(out).filePath(QString("plate%1.settings.json").arg(k))));
    }
    EXPECT_EQ(Rows(QDir(out).filePath("objects.csv")).size(), objects);
}

TEST_F(BatchTest, AFolderRunStopsWhenCancelled)
{
    QDir in(folder.filePath("in"));
    ASSERT_TRUE(in.mkpath("."));
    for (int k = 0; k < 8; ++k)
        ASSERT_TRUE(QFile::copy(imagePath, in.filePath(QString("copy%1.png").arg(k))));
    const QString out = folder.filePath("out");
    QSignalSpy finished(window->Folder(), &FolderRun::finished);
    ASSERT_TRUE(window->ProcessFolder(in.path(), out, true));
    window->Folder()->Cancel();
    ASSERT_TRUE(finished.wait(120000));
    EXPECT_TRUE(finished.first()[0].toBool());
    EXPECT_FALSE(window->Folder()->IsRunning());
    // Whatever was done before the stop is listed, nothing more.
    const int done = finished.first()[1].toInt();
    EXPECT_LT(done, 8);
    EXPECT_EQ(Rows(QDir(out).filePath("summary.csv")).size(), done);
}

TEST_F(StudioTest, DishChoiceGoesToTheSettingsAndComesBack)
{
    auto* dish = window->findChild<QCheckBox*>("dishCheck");
    ASSERT_NE(dish, nullptr);
    EXPECT_EQ(Session()->Settings().dish, DishMode::None);
    dish->setChecked(true);
    EXPECT_EQ(Session()->Settings().dish, DishMode::Auto);
    EXPECT_EQ(countsettings::ToJson(Session()->Settings()).value("dish").toString(), "auto");
    Session()->ApplySettings(CountSettings());
    EXPECT_FALSE(dish->isChecked());
}

// The whole work of a count in one file: saved in the results, reopened in a
// fresh session with the same count and the same table, refused when the
// image changed.
#include "studiofixture.h"

#include "discimage.h"
#include "support/controllerfixture.h"

#include "handmarks.h"

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSettings>
#include <QStatusBar>
#include <QTableWidget>
#include <QTest>

#include <opencv2/imgcodecs.hpp>

namespace {

QByteArray Contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList TableTexts(const QTableWidget* table)
{
    QStringList texts;
    for (int r = 0; r < table->rowCount(); ++r)
        for (int c = 0; c < table->columnCount(); ++c)
            texts << (table->item(r, c) ? table->item(r, c)->text() : QString());
    return texts;
}

} // namespace

class WorkFileTest : public StudioTest
{
protected:
    /// A new window with nothing remembered, as after a restart.
    void FreshSession()
    {
        window.reset();
        CountingSession::StopCutThread();
        QSettings().clear();
        ResetModuleSettings();
        ScaleService::calibrationStore.SetCurrentEntry(CalibrationEntry());
        window = std::make_unique<MainWindow>();
        window->resize(1200, 800);
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    QTableWidget* Table() const { return window->findChild<QTableWidget*>("objectTable"); }
};

TEST_F(WorkFileTest, ReopensWithTheSameCountAndTableAndRefusesAChangedImage)
{
    // A rectangle, bright objects dilated, the pair cut by hand, one object
    // deleted and one added by hand.
    ClickButton("regionRectangle");
    const cv::Rect region = discimage::kRegion;
    DrawRectangle(QPoint(region.x, region.y), QPoint(region.br().x - 1, region.br().y - 1));
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("dilateButton");
    ClickButton("nextButton");
    ClickButton("manualCutButton");
    const QPoint from = ViewportPos(140, 130);
    const QPoint to = ViewportPos(140, 190);
    Press(from);
    Move(to, Qt::LeftButton);
    Release(to);
    QTest::mouseDClick(Viewport(), Qt::LeftButton, Qt::NoModifier, to);
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    const int cut = Session()->ObjectCount();
    ASSERT_EQ(cut, discimage::kSingleDiscsInside + 2) << "the pair was cut";
    Session()->DeleteObject(0);
    Session()->Hand()->Add(cv::Point2d(100, 100));
    ASSERT_EQ(Session()->TotalCount(), cut);

    // A full disk is said, naming the file.
    EXPECT_FALSE(window->SaveWork(QStringLiteral("/dev/full")));
    EXPECT_TRUE(window->statusBar()->currentMessage().startsWith("/dev/full: "));

    const QString saved = folder.filePath("count.work.json");
    const QString before = folder.filePath("before.csv");
    ASSERT_TRUE(window->SaveWork(saved, true));
    ASSERT_TRUE(window->ExportTable(before, true));
    const QStringList shown = TableTexts(Table());
    // The file lists what was done, in order, for the records.
    const QJsonObject json = QJsonDocument::fromJson(Contents(saved)).object();
    QStringList kinds;
    for (const QJsonValue& operation : json.value("operations").toArray())
        kinds << operation.toObject().value("kind").toString();
    EXPECT_EQ(kinds, (QStringList{"morphology", "manual_cut"}));
    EXPECT_EQ(json.value("deleted").toArray().size(), 1);
    EXPECT_EQ(json.value("added").toArray(), (QJsonArray{QJsonArray{100, 100}}));

    FreshSession();
    ASSERT_TRUE(window->OpenWork(saved, true));
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    EXPECT_EQ(Session()->TotalCount(), cut);
    EXPECT_EQ(TableTexts(Table()), shown);
    const QString after = folder.filePath("after.csv");
    ASSERT_TRUE(window->ExportTable(after, true));
    EXPECT_EQ(Contents(after), Contents(before));

    // A file that is not a work file is named with what is wrong.
    const QString broken = folder.filePath("broken.work.json");
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("{\"autocount_work\": 1") > 0);
    file.close();
    EXPECT_FALSE(window->OpenWork(broken));
    EXPECT_TRUE(window->statusBar()->currentMessage().startsWith(broken + ": "));

    // Another picture under the same name is not the work's image.
    cv::Mat changed = discimage::Make();
    changed(cv::Rect(290, 210, 16, 16)).setTo(cv::Scalar(90, 200, 220));
    ASSERT_TRUE(cv::imwrite(imagePath.toStdString(), changed));
    FreshSession();
    EXPECT_FALSE(window->OpenWork(saved));
    const QString message = window->statusBar()->currentMessage();
    EXPECT_TRUE(message.startsWith(saved + ": ")) << message.toStdString();
    EXPECT_TRUE(message.contains(imagePath)) << message.toStdString();
}

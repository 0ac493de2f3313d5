// Counting by hand: objects the count missed are added with a click in the
// results, counted, listed, flagged in the exported table, and undone.
#include "studiofixture.h"

#include "discimage.h"
#include "handmarks.h"

#include "autocount/autocountmanager.h"

#include <QAction>
#include <QApplication>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QProcess>
#include <QTableWidget>
#include <QTest>

class HandCountTest : public StudioTest
{
protected:
    void Key(int key, Qt::KeyboardModifiers modifiers)
    {
        QApplication::setActiveWindow(window.get());
        QTest::keyClick(window.get(), static_cast<Qt::Key>(key), modifiers);
    }
};

TEST_F(HandCountTest, ClicksAddObjectsThatAreCountedListedExportedAndUndone)
{
    Session()->SetRegionMode(AutoCountManager::REGION_WHOLE_IMAGE);
    ClickButton("nextButton");
    Session()->SetSegmentMode(AutoCountManager::SEGMENT_AUTO_BRIGHT);
    ClickButton("nextButton");
    ClickButton("nextButton");
    ASSERT_EQ(Session()->Step(), AutoCountManager::STEP_RESULTS);
    // Every disc, the touching pair as one object.
    const int counted = discimage::kSingleDiscsInside + discimage::kDiscsOutside + 1;
    ASSERT_EQ(Session()->ObjectCount(), counted);

    // Two clicks on the background, where the count found nothing.
    Key(Qt::Key_H, Qt::ControlModifier);
    ASSERT_TRUE(window->findChild<QAction*>("handAction")->isChecked());
    Click(ViewportPos(300, 120));
    Click(ViewportPos(10, 225));
    EXPECT_EQ(Session()->ObjectCount(), counted);
    EXPECT_EQ(Session()->TotalCount(), counted + 2);
    EXPECT_EQ(window->findChild<QLabel*>("statusCount")->text(),
              QStringLiteral("Count: %1").arg(counted + 2));
    EXPECT_EQ(window->findChild<QLabel*>("countLabel")->text(),
              QStringLiteral("%1 objects").arg(counted + 2));
    auto* table = window->findChild<QTableWidget*>("objectTable");
    ASSERT_EQ(table->rowCount(), counted + 2);
    const int flag = table->columnCount() - 1;
    EXPECT_EQ(table->horizontalHeaderItem(flag)->text(), QStringLiteral("Added by Hand"));
    EXPECT_EQ(table->item(0, flag)->text(), QStringLiteral("no"));
    EXPECT_EQ(table->item(counted, 0)->text(), QString::number(counted + 1));
    EXPECT_EQ(table->item(counted + 1, flag)->text(), QStringLiteral("yes"));

    // The table file: the marks numbered on, at the pixels clicked, flagged.
    const QString path = folder.filePath("table.csv");
    ASSERT_TRUE(window->ExportTable(path, true));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
    ASSERT_EQ(lines.size(), 2 + counted + 2);
    const QList<QByteArray> keys = lines[1].split(',');
    ASSERT_EQ(keys.last(), "by_hand");
    const int x = keys.indexOf("center_x");
    const int y = keys.indexOf("center_y");
    const int area = keys.indexOf("area");
    EXPECT_EQ(lines[2].split(',').last(), "0");
    const QList<QByteArray> first = lines[2 + counted].split(',');
    EXPECT_EQ(first[0], QByteArray::number(counted + 1));
    EXPECT_EQ(first[x], "300");
    EXPECT_EQ(first[y], "120");
    EXPECT_EQ(first[area], "");
    EXPECT_EQ(first.last(), "1");
    const QList<QByteArray> second = lines[3 + counted].split(',');
    EXPECT_EQ(second[x], "10");
    EXPECT_EQ(second[y], "225");

    // The report's object sheet: a flag column and a row for each mark.
    const QString report = folder.filePath("count.xlsx");
    ASSERT_TRUE(window->ExportReport(report, true));
    QProcess reader;
    reader.start(AUTOCOUNT_STUDIO_PYTHON, {AUTOCOUNT_STUDIO_XLSX_READER, report});
    ASSERT_TRUE(reader.waitForFinished(60000));
    ASSERT_EQ(reader.exitCode(), 0) << reader.readAllStandardError().toStdString();
    const QJsonObject book = QJsonDocument::fromJson(reader.readAllStandardOutput()).object();
    QStringList values;
    for (const QJsonValue& cell : book["sheets"][1]["cells"].toArray())
        values << cell[2].toVariant().toString();
    EXPECT_TRUE(values.contains(QStringLiteral("Added by Hand")));
    EXPECT_EQ(values.count(QStringLiteral("no")), counted);
    EXPECT_EQ(values.count(QStringLiteral("yes")), 2);
    EXPECT_TRUE(values.contains(QString::number(counted + 2)));

    // Undone and redone as any step of the results.
    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(Session()->TotalCount(), counted + 1);
    EXPECT_EQ(table->rowCount(), counted + 1);
    Key(Qt::Key_Y, Qt::ControlModifier);
    EXPECT_EQ(Session()->TotalCount(), counted + 2);

    // Deleting the row of an object added by hand removes that object only,
    // even with a counted object highlighted before.
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier,
                      table->visualItemRect(table->item(0, 0)).center());
    QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier,
                      table->visualItemRect(table->item(counted, 0)).center());
    Key(Qt::Key_Delete, Qt::NoModifier);
    EXPECT_EQ(Session()->ObjectCount(), counted);
    ASSERT_EQ(Session()->TotalCount(), counted + 1);
    EXPECT_EQ(Session()->Hand()->Points().front(), cv::Point2d(10, 225));
    Key(Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(Session()->Hand()->Points().front(), cv::Point2d(300, 120));
    EXPECT_EQ(Session()->TotalCount(), counted + 2);

    // A new count starts without them.
    Key(Qt::Key_H, Qt::ControlModifier);
    window->Session()->Cancel();
    EXPECT_EQ(Session()->TotalCount(), 0);
}

// Report paths that cannot be written: nothing is written anywhere, nothing
// is reported, and the program goes on.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

class BadInputReport : public ControllerTest
{
protected:
    void SetUp() override
    {
        ControllerTest::SetUp();
        ASSERT_TRUE(dir.isValid());
        StartWith(testimages::Grey(30, 40, 128));
        scene->setSceneRect(0, 0, 40, 30);
    }
    QStringList Entries(const QString& path) const
    {
        return QDir(path).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir dir;
};

TEST_F(BadInputReport, AFolderThatDoesNotExistGetsNothing)
{
    manager->ExportReport(dir.filePath("no/such/folder/report.xlsx"));
    EXPECT_TRUE(Entries(dir.path()).isEmpty());
}

TEST_F(BadInputReport, AFileInPlaceOfTheFolderStaysAsItIs)
{
    QFile file(dir.filePath("notes.txt"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("keep me");
    file.close();
    manager->ExportReport(dir.filePath("notes.txt/report.xlsx"));
    EXPECT_EQ(Entries(dir.path()), QStringList{"notes.txt"});
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "keep me");
}

TEST_F(BadInputReport, AFolderNoOneCanWriteToGetsNothing)
{
    // Even root cannot create files in /proc.
    const QString path = "/proc/autocount-report.xlsx";
    manager->ExportReport(path);
    EXPECT_FALSE(QFileInfo::exists(path));
}

TEST_F(BadInputReport, AnEmptyPathWritesNothingInTheWorkingFolder)
{
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    manager->ExportReport(QString());
    EXPECT_TRUE(Entries(dir.path()).isEmpty());
    QDir::setCurrent(before);
}

} // namespace

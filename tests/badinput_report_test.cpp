// Report paths that cannot be written: nothing is written anywhere, nothing
// is reported, and the program goes on.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

namespace {

using BadInputReport = ControllerTest;

// A missing folder, a file in place of the folder, a path naming a folder, a
// folder no one can write to (even root cannot create files in /proc) and an
// empty path.
TEST_F(BadInputReport, PathsThatCannotBeWrittenGetNothing)
{
    QTemporaryDir dir;
    ASSERT_TRUE(dir.isValid());
    StartWith(testimages::Grey(30, 40, 128));
    scene->setSceneRect(0, 0, 40, 30);
    QFile file(dir.filePath("notes.txt"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("keep me") == 7);
    file.close();
    ASSERT_TRUE(QDir(dir.path()).mkdir("taken.xlsx"));
    const QString before = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(dir.path()));
    for (const QString& path :
         {dir.filePath("no/such/folder/report.xlsx"), dir.filePath("notes.txt/report.xlsx"),
          dir.filePath("taken.xlsx"), QString("/proc/autocount-report.xlsx"), QString()})
        manager->ExportReport(path);
    QDir::setCurrent(before);
    EXPECT_EQ(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              (QStringList{"notes.txt", "taken.xlsx"}));
    EXPECT_TRUE(QDir(dir.filePath("taken.xlsx")).isEmpty());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "keep me");
    EXPECT_FALSE(QFileInfo::exists("/proc/autocount-report.xlsx"));
}

} // namespace

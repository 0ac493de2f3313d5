// A report the studio cannot write: the message names the path and nothing is
// left behind.
#include "resultexport.h"
#include "studiofixture.h"

#include <QDir>
#include <QFile>

TEST_F(StudioTest, UnwritableReportPathsAreNamedAndLeaveNothing)
{
    QFile notes(folder.filePath("notes.txt"));
    ASSERT_TRUE(notes.open(QIODevice::WriteOnly) && notes.write("keep me") == 7);
    notes.close();
    const QStringList before =
        QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    const countrun::CountResult result = Session()->Result();
    for (const QString& path :
         {folder.filePath("no/such/r.xlsx"), folder.filePath("notes.txt/r.xlsx"),
          QString("/proc/autocount-r.xlsx")}) {
        QString error;
        EXPECT_FALSE(ResultExport::WriteReport(result, path, &error)) << path.toStdString();
        EXPECT_TRUE(error.startsWith(path + ": ")) << error.toStdString();
    }
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              before);
    ASSERT_TRUE(notes.open(QIODevice::ReadOnly));
    EXPECT_EQ(notes.readAll(), "keep me");
}

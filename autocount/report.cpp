// The spreadsheet report: the scene picture, the object table and the
// statistics table, one worksheet each.

#include "autocount/autocountmanager.h"
#include "autocount/reportworkbook.h"
#include "autocount/scenepicture.h"
#include "autocount/xlsxworkbook.h"

#include <QCoreApplication>
#include <QGraphicsScene>

namespace {

/// Row i, column j of @p rows into cell (i, j) of the current worksheet, so
/// the first row starts at A1.
void WriteRows(XlsxWorkbook& workbook, const QList<QStringList>& rows)
{
    for (int i = 0; i < rows.size(); ++i)
        for (int j = 0; j < rows[i].size(); ++j)
            workbook.WriteString(i, j, rows[i][j]);
}

} // namespace

void WriteReportWorkbook(const QString& path, const QImage& picture,
                         const QList<QStringList>& objectRows,
                         const QList<QStringList>& statisticsRows)
{
    WriteReportWorkbookPng(path, EncodePicturePng(picture), objectRows, statisticsRows);
}

void WriteReportWorkbookPng(const QString& path, const QByteArray& png,
                            const QList<QStringList>& objectRows,
                            const QList<QStringList>& statisticsRows)
{
    const auto tr = [](const char* text) {
        return QCoreApplication::translate("AutoCountManager", text);
    };
    XlsxWorkbook workbook(path);

    workbook.AddWorksheet(tr("Automatic Counting Image"));
    // An empty picture leaves the sheet empty.
    if (!png.isEmpty())
        workbook.InsertPng(0, 0, png);

    workbook.AddWorksheet(tr("Automatic Counting Table"));
    WriteRows(workbook, objectRows);

    workbook.AddWorksheet(tr("Automatic Counting Statistics"));
    WriteRows(workbook, statisticsRows);

    workbook.Commit();
}

void AutoCountManager::ExportReport(const QString& path)
{
    // The scene as it is shown; an empty scene rectangle gives no picture.
    QImage picture;
    if (scene_)
        picture = RenderScenePicture(*scene_);
    QList<QStringList> objects;
    GetObjectData(objects);
    QList<QStringList> statistics;
    GetStatisticsData(statistics);
    WriteReportWorkbook(path, picture, objects, statistics);
}

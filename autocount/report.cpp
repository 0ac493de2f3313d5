// The spreadsheet report: the scene picture, the object table and the
// statistics table, one worksheet each.

#include "autocount/autocountmanager.h"
#include "autocount/scenepicture.h"
#include "autocount/xlsxworkbook.h"

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

void AutoCountManager::ExportReport(const QString& path)
{
    // Failures are silent: the report either replaces the file at path
    // completely or leaves it as it was.
    XlsxWorkbook workbook(path);

    workbook.AddWorksheet(tr("Automatic Counting Image"));
    if (scene_) {
        // An empty scene rectangle gives no picture, and the sheet stays empty.
        const QByteArray png = EncodePicturePng(RenderScenePicture(*scene_));
        if (!png.isEmpty())
            workbook.InsertPng(0, 0, png);
    }

    QList<QStringList> rows;
    workbook.AddWorksheet(tr("Automatic Counting Table"));
    GetObjectData(rows);
    WriteRows(workbook, rows);

    workbook.AddWorksheet(tr("Automatic Counting Statistics"));
    rows.clear();
    GetStatisticsData(rows);
    WriteRows(workbook, rows);

    workbook.Commit();
}

#include "report.h"

#include "checkedfile.h"
#include "storedpicture.h"

#include "autocount/reportworkbook.h"

#include <QFile>
#include <QTemporaryDir>

namespace report {
namespace {

/// The workbook made around the stand-in picture in a scratch folder, with
/// the real picture then stored in it; empty when any step fails.
QByteArray WorkbookWithStoredPicture(const QByteArray& png, const QList<QStringList>& objects,
                                     const QList<QStringList>& statistics)
{
    const QByteArray standIn = storedpicture::StandIn(png);
    QTemporaryDir scratch;
    if (standIn.isEmpty() || !scratch.isValid())
        return {};
    const QString made = scratch.filePath(QStringLiteral("report.xlsx"));
    WriteReportWorkbookPng(made, standIn, objects, statistics);
    QFile file(made);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray zip = file.readAll();
    if (zip.isEmpty() || file.error() != QFileDevice::NoError)
        return {};
    return storedpicture::Replace(zip, standIn, png, nullptr);
}

} // namespace

bool Write(const QString& path, const countrun::CountResult& result, const QByteArray& png,
           QString* error)
{
    QList<QStringList> objects;
    countcore::AppendObjectTable(objects, result.typeNames, result.core.validRecords,
                                 result.core.types, result.scale);
    QList<QStringList> statistics;
    countcore::AppendStatisticsTable(statistics, result.typeNames, result.core.validRecords,
                                     result.core.types, result.scale);
    if (!png.isEmpty()) {
        const QByteArray workbook = WorkbookWithStoredPicture(png, objects, statistics);
        if (!workbook.isEmpty())
            return checkedfile::Write(path, workbook, error);
    }
    // No picture, or no scratch space: the workbook library writes it all.
    return checkedfile::Place(
        path, QStringLiteral("the report"),
        [&](const QString& temporary) {
            WriteReportWorkbookPng(temporary, png, objects, statistics);
        },
        error);
}

} // namespace report

#include "report.h"

#include "checkedfile.h"
#include "objectdata.h"
#include "storedpicture.h"

#include "autocount/reportworkbook.h"

#include <QCoreApplication>
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

/// A flag column, and a row for each object added by hand with its position.
void AppendHandAdded(QList<QStringList>& objects, const countrun::CountResult& result)
{
    objects[0] << QCoreApplication::translate("AutoCountManager", "Added by Hand");
    for (int r = 1; r < objects.size(); ++r)
        objects[r] << QCoreApplication::translate("AutoCountManager", "no");
    for (size_t i = 0; i < result.handAdded.size(); ++i) {
        QStringList row{QString::number(result.Count() + static_cast<int>(i) + 1)};
        for (int type : result.core.types) {
            const QByteArray key(objectdata::MeasurementKey(type));
            row << QString::fromLatin1(key == "center_x" ? objectdata::Number(result.handAdded[i].x)
                                       : key == "center_y"
                                           ? objectdata::Number(result.handAdded[i].y)
                                           : QByteArray());
        }
        row << QCoreApplication::translate("AutoCountManager", "yes");
        objects << row;
    }
}

} // namespace

bool Write(const QString& path, const countrun::CountResult& result, const QByteArray& png,
           QString* error)
{
    QList<QStringList> objects;
    countcore::AppendObjectTable(objects, result.typeNames, result.core.validRecords,
                                 result.core.types, result.scale);
    if (!result.handAdded.empty())
        AppendHandAdded(objects, result);
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

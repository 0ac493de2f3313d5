#include "report.h"

#include "checkedfile.h"

#include "autocount/reportworkbook.h"

namespace report {

bool Write(const QString& path, const countrun::CountResult& result, const QByteArray& png,
           QString* error)
{
    QList<QStringList> objects;
    countcore::AppendObjectTable(objects, result.typeNames, result.core.validRecords,
                                 result.core.types, result.scale);
    QList<QStringList> statistics;
    countcore::AppendStatisticsTable(statistics, result.typeNames, result.core.validRecords,
                                     result.core.types, result.scale);
    return checkedfile::Place(
        path, QStringLiteral("the report"),
        [&](const QString& temporary) {
            WriteReportWorkbookPng(temporary, png, objects, statistics);
        },
        error);
}

} // namespace report

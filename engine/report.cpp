#include "report.h"

#include "checkedfile.h"
#include "objectdata.h"

#include "autocount/reportworkbook.h"

#include <QCoreApplication>

namespace report {

bool Write(const QString& path, const countrun::CountResult& result, const QByteArray& png,
           QString* error)
{
    QList<QStringList> objects;
    countcore::AppendObjectTable(objects, result.typeNames, result.core.validRecords,
                                 result.core.types, result.scale);
    if (!result.handAdded.empty()) {
        // A flag column, and a row for each object added by hand with its position.
        objects[0] << QCoreApplication::translate("AutoCountManager", "Added by Hand");
        for (int r = 1; r < objects.size(); ++r)
            objects[r] << QCoreApplication::translate("AutoCountManager", "no");
        for (size_t i = 0; i < result.handAdded.size(); ++i) {
            QStringList row{QString::number(result.Count() + static_cast<int>(i) + 1)};
            for (int type : result.core.types) {
                const QByteArray key(objectdata::MeasurementKey(type));
                row << QString::fromLatin1(
                    key == "center_x"   ? objectdata::Number(result.handAdded[i].x)
                    : key == "center_y" ? objectdata::Number(result.handAdded[i].y)
                                        : QByteArray());
            }
            row << QCoreApplication::translate("AutoCountManager", "yes");
            objects << row;
        }
    }
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

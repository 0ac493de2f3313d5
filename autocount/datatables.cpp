// The object table and the statistics table, as rows of text for the host
// and the report.

#include "autocount/autocountmanager.h"

#include "autocount/core/countcore.h"

#include "host/scaleservice.h"

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;

/// The enabled data types, in type order: the columns of the object table
/// and the rows of the statistics table.
std::vector<int> EnabledTypes()
{
    std::vector<int> types;
    for (auto it = AutoCountManager::dataRangeList.cbegin();
         it != AutoCountManager::dataRangeList.cend(); ++it)
        if (it.value() && it.value()->enabled)
            types.push_back(it.key());
    return types;
}

} // namespace

void AutoCountManager::GetDataTypeNameList(QStringList& names)
{
    for (int type : EnabledTypes())
        names.append(GetDataTypeName(DataType(type)));
}

void AutoCountManager::GetObjectData(QList<QStringList>& rows)
{
    QStringList names;
    GetDataTypeNameList(names);
    countcore::AppendObjectTable(rows, names, validResults_, EnabledTypes(),
                                 ScaleService::calibrationStore.GetCurrentEntry().scale);
}

void AutoCountManager::GetStatisticsData(QList<QStringList>& rows)
{
    QStringList names;
    GetDataTypeNameList(names);
    countcore::AppendStatisticsTable(rows, names, validResults_, EnabledTypes(),
                                     ScaleService::calibrationStore.GetCurrentEntry().scale);
}

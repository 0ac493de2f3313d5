// The controller's catalogue: display names fixed when the catalogue is
// built, units and calibration from the host's calibration store.

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"
#include "autocount/datarangedefaults.h"

#include "host/scaleservice.h"

namespace {

using DataType = AutoCountManager::OBJECT_DATA_TYPE;

bool IsKnownType(DataType type)
{
    const int value = static_cast<int>(type);
    return value >= 0 && value < AutoCountManager::kDataTypeCount;
}

} // namespace

void AutoCountManager::InitDataTypeMap()
{
    for (int value = 0; value < kDataTypeCount; ++value)
        dataTypeNameMap[DataType(value)] = countcore::DataTypeName(value);

    for (auto it = dataTypeNameMap.cbegin(); it != dataTypeNameMap.cend(); ++it) {
        nameDataTypeMap[it.value()] = it.key();
        // The range records live for the whole process; a repeated call
        // keeps the existing ones so that no pointer handed out goes stale.
        if (!dataRangeList.value(it.key()))
            dataRangeList[it.key()] = new OBJECT_DATA_RANGE{false, 0.0, 0.0};
    }

    ApplyDefaultDataRanges();
}

QString AutoCountManager::GetDataTypeName(OBJECT_DATA_TYPE type)
{
    const QString name = dataTypeNameMap.value(type);
    if (!IsKnownType(type))
        return name;
    const QString unit = ScaleService::calibrationStore.GetCurrentEntry().unitName;
    return countcore::WithUnit(name, type, unit);
}

void AutoCountManager::GetAllDataTypeName(QStringList& names)
{
    for (int value = 0; value < kDataTypeCount; ++value)
        names.append(dataTypeNameMap.value(DataType(value)));
}

double GetObjectDataValue(AutoCountManager::OBJECT_DATA_TYPE type, const parResult& record)
{
    return countcore::DataValue(type, record,
                                ScaleService::calibrationStore.GetCurrentEntry().scale);
}

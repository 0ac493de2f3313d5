#include "autocount/autocountmanager.h"

// Data ranges and filtering: to be implemented.
void AutoCountManager::SetDefaultDataRange() {}
void AutoCountManager::AddDataType(const QString&) {}
void AutoCountManager::DeleteDataType(const QString&) {}
void AutoCountManager::ModifyDataMinValue(const QString&, double) {}
void AutoCountManager::ModifyDataMaxValue(const QString&, double) {}
void AutoCountManager::GetDataRangeList(QList<QStringList>&) {}
void AutoCountManager::RemoveInvalidData() {}
void AutoCountManager::DeleteObjectData(int) {}
bool IsObjectDataValid(
    QMap<AutoCountManager::OBJECT_DATA_TYPE, AutoCountManager::OBJECT_DATA_RANGE*>&,
    const parResult&)
{
    return true;
}

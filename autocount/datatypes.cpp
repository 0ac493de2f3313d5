#include "autocount/autocountmanager.h"

// Data-type catalogue: to be implemented.
QString AutoCountManager::GetDataTypeName(OBJECT_DATA_TYPE)
{
    return QString();
}
void AutoCountManager::InitDataTypeMap() {}
void AutoCountManager::GetAllDataTypeName(QStringList&) {}
double GetObjectDataValue(AutoCountManager::OBJECT_DATA_TYPE, const parResult&)
{
    return 0.0;
}

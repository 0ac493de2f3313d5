#include "autocount/autocountmanager.h"

// Object table and statistics: to be implemented.
void AutoCountManager::GetObjectData(QList<QStringList>&) {}
void AutoCountManager::GetDataTypeNameList(QStringList&) {}
void AutoCountManager::GetStatisticsData(QList<QStringList>&) {}

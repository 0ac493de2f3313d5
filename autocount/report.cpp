#include "autocount/autocountmanager.h"

// Spreadsheet report: to be implemented.
void AutoCountManager::ExportReport(const QString&) {}

#include "autocount/autocountmanager.h"

// Region mask: to be implemented.
void AutoCountManager::SetSelectedRegions() {}

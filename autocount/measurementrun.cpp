#include "autocount/autocountmanager.h"

// Measurement run: to be implemented.
void AutoCountManager::CalculateData() {}
void AutoCountManager::ObjectDetectAndCalculateData() {}

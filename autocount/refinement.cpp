#include "autocount/autocountmanager.h"

// Binary refinement: to be implemented.
void AutoCountManager::MorphologyOperation(int) {}
void AutoCountManager::FillHole() {}

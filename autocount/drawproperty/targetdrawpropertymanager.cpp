#include "autocount/drawproperty/targetdrawpropertymanager.h"

// To be implemented.
TargetDrawPropertyManager::TargetDrawPropertyManager() : property_{QFont(), QColor(), QColor(), 0}
{
}
void TargetDrawPropertyManager::Init() {}
void TargetDrawPropertyManager::InitTargetDrawProperty() {}
void TargetDrawPropertyManager::LoadTargetDrawProperty(const QString&) {}
void TargetDrawPropertyManager::SaveTargetDrawProperty(const QString&) {}
void TargetDrawPropertyManager::SetTargetDrawProperty(TARGET_DRAW_PROPERTY property)
{
    property_ = property;
}
void TargetDrawPropertyManager::SetDefaultTargetDrawProperty() {}

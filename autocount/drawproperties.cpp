#include "autocount/autocountmanager.h"

TARGET_DRAW_PROPERTY AutoCountManager::GetTargetDrawProperty()
{
    return targetDrawPropertyManager.GetTargetDrawProperty();
}

void AutoCountManager::SetTargetDrawProperty(TARGET_DRAW_PROPERTY property)
{
    targetDrawPropertyManager.SetTargetDrawProperty(property);
    SetTargetItemDrawProperty();
}

void AutoCountManager::SetDefaultTargetDrawProperty()
{
    targetDrawPropertyManager.SetDefaultTargetDrawProperty();
    SetTargetItemDrawProperty();
}

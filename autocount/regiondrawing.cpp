#include "autocount/autocountmanager.h"

// Mouse interaction and region items: to be implemented.

bool AutoCountManager::IsAcceptMouseEvent()
{
    return false;
}
void AutoCountManager::mousePressEvent(QMouseEvent*) {}
void AutoCountManager::mouseMoveEvent(QMouseEvent*) {}
void AutoCountManager::mouseReleaseEvent(QMouseEvent*) {}
void AutoCountManager::mouseDoubleClickEvent(QMouseEvent*) {}
void AutoCountManager::SetRegionSelectionMode(int mode)
{
    regionSelectionMode = mode;
}
void AutoCountManager::CreateRectItem(const QPointF&) {}
void AutoCountManager::CreatePolygonItem(const QPointF&) {}
void AutoCountManager::CreateLineItem(const QPointF&) {}
void AutoCountManager::ChangeRectItem(const QPointF&) {}
void AutoCountManager::ChangePolygonItem(const QPointF&) {}
void AutoCountManager::ChangeLineItem(const QPointF&) {}
void AutoCountManager::DeleteAllRectItem() {}
void AutoCountManager::DeleteAllPolygonItem() {}
void AutoCountManager::DeleteAllLineItem() {}

#include "autocount/autocountmanager.h"

#include "host/hostevents.h"

// Target drawing and highlighting: to be implemented.
void AutoCountManager::DrawTarget() {}
void AutoCountManager::DeleteTargetItem()
{
    allContours_.clear();
    allResults_.clear();
    validContours_.clear();
    validResults_.clear();
    DeleteTargetGraphicsItem();
    BroadcastHostEvent(HOST_EVENT_RESULTS_CHANGED, nullptr);
}
void AutoCountManager::DeleteTargetGraphicsItem() {}
void AutoCountManager::SetTargetItemDrawProperty() {}
void AutoCountManager::DrawObjectIndex(cv::Mat&) {}
void AutoCountManager::HighlightObject(const QPointF&) {}
void AutoCountManager::HighlightObject(int) {}
void AutoCountManager::HighlightObject(void*) {}

#include "autocount/workers/autocutmanager.h"

AutoCutManager::AutoCutManager() : QObject(nullptr) {}

AutoCutManager::~AutoCutManager() = default;

void AutoCutManager::SetImage(const cv::Mat& image)
{
    cutImage_ = image;
}

// To be implemented.
void AutoCutManager::slotAutoCut() {}

#include "autocount/workers/autocutmanager.h"

#include "autocount/alg/alg.h"
#include "host/hostevents.h"

AutoCutManager::AutoCutManager() : QObject(nullptr) {}

AutoCutManager::~AutoCutManager() = default;

void AutoCutManager::SetImage(const cv::Mat& image)
{
    cutImage_ = image;
}

void AutoCutManager::slotAutoCut()
{
    // On success the cut image gets a new buffer; whoever shared the old one
    // keeps the uncut image. The status is not needed: an empty image simply
    // stays as it is.
    AlgAutoCut(cutImage_, cutImage_);
    // The end of the cut is announced from this thread by host event 39 only;
    // signalAutoCutFinished is never emitted.
    BroadcastHostEvent(HOST_EVENT_AUTO_CUT_FINISHED, nullptr);
}

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"

#include "host/displaycanvas.h"
#include "host/hostevents.h"

void AutoCountManager::CalculateData()
{
    // Appends: the lists were cleared when counting started or targets went.
    countcore::Measure(sourceImage_, binaryImage_, isProcessBound, greyBuffer_, allContours_,
                       allResults_);
}

void AutoCountManager::ObjectDetectAndCalculateData()
{
    RemoveInvalidData();
    DrawTarget();
    if (displayCanvas_)
        displayCanvas_->ShowImage(sourceImage_);
    BroadcastHostEvent(HOST_EVENT_RESULTS_CHANGED, nullptr);
}

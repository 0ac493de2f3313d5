#include "autocount/alg/opencv24.h"
#include "autocount/autocountmanager.h"

#include "host/displaycanvas.h"
#include "host/hostevents.h"

#include <utility>

void AutoCountManager::CalculateData()
{
    // Blue-first grey here, while AlgCalResult's own fallback reads red first:
    // both stay as they are. A source image without 3 or 4 channels is refused
    // by the conversion.
    cv24::GreyFromBgr(sourceImage_, greyBuffer_);

    // Appends: the lists were cleared when counting started or targets went.
    AlgCalResult(greyBuffer_, binaryImage_, allContours_, allResults_);

    if (isProcessBound) {
        // The by-value parameters take over the lists before the outputs are
        // emptied, so the lists can be moved in and written back.
        AlgRemoveBorder(std::move(allContours_), std::move(allResults_), binaryImage_.cols,
                        binaryImage_.rows, allContours_, allResults_);
    }
}

void AutoCountManager::ObjectDetectAndCalculateData()
{
    RemoveInvalidData();
    DrawTarget();
    if (displayCanvas_)
        displayCanvas_->ShowImage(sourceImage_);
    BroadcastHostEvent(HOST_EVENT_RESULTS_CHANGED, nullptr);
}

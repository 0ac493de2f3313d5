#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"

#include "host/displaycanvas.h"

void AutoCountManager::MorphologyOperation(int op)
{
    // Any other number than 0..3 leaves the binary image alone but still
    // repaints it.
    countcore::Refine(binaryImage_, op);
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
}

void AutoCountManager::FillHole()
{
    countcore::FillHoles(binaryImage_);
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
}

#include "autocount/autocountmanager.h"

#include "host/displaycanvas.h"

void AutoCountManager::MorphologyOperation(int op)
{
    // Operation numbers 0..3 map onto the morphology codes 31..34; any other
    // number leaves the binary image alone but still repaints it.
    if (op >= MORPHOLOGY_DILATE && op <= MORPHOLOGY_CLOSE)
        AlgMorphology(binaryImage_, op + ALG_MORPH_DILATE, binaryImage_);
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
}

void AutoCountManager::FillHole()
{
    AlgFillHole(binaryImage_, binaryImage_);
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
}

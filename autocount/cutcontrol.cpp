#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"
#include "autocount/workers/autocutmanager.h"

#include "host/displaycanvas.h"

#include <QThread>

namespace {

// Stops a cut that may still be running. terminate() ends the worker thread
// wherever it is, without a wait: a new cut or another mode must not block
// the user interface behind a long cut. Qt warns that a terminated thread gets
// no chance to clean up and may die holding a lock or half-way through writing
// memory. Here the worker owns nothing but its image, and its result is only
// read after event 39, so a killed cut leaves nothing that is read later.
void StopRunningCut(QThread* thread)
{
    if (thread)
        thread->terminate();
}

} // namespace

void AutoCountManager::SetObjectCutMode(int mode)
{
    objectCutMode = mode;
    // Cut lines never survive a mode change.
    DeleteAllLineItem();

    if (mode == CUT_AUTO) {
        if (autoCountThread) {
            StopRunningCut(autoCountThread);
        } else {
            // One thread and one worker for the whole process, never deleted.
            autoCountThread = new QThread();
            autoCutManager = new AutoCutManager();
            autoCutManager->moveToThread(autoCountThread);
            connect(autoCountThread, SIGNAL(started()), autoCutManager, SLOT(slotAutoCut()));
            // The controller declares no slots, so Qt refuses this connection
            // at run time (with a warning). The finished cut is announced by
            // host event 39, and the host then calls slotAutoCutFinished().
            connect(autoCutManager, SIGNAL(signalAutoCutFinished()), this,
                    SLOT(slotAutoCutFinished()));
        }
        // The worker shares the binary image's buffer; the cut replaces its
        // own header with a new buffer, so the binary image stays as it is
        // until slotAutoCutFinished.
        autoCutManager->SetImage(binaryImage_);
        autoCountThread->start(QThread::InheritPriority);
        return;
    }

    StopRunningCut(autoCountThread);
    if (mode == CUT_MERGE) {
        countcore::Merge(binaryImage_);
        if (displayCanvas_)
            displayCanvas_->ShowInvertedImage(binaryImage_);
    }
}

void AutoCountManager::slotAutoCutFinished()
{
    binaryImage_ = autoCutManager->GetImage();
    if (displayCanvas_)
        displayCanvas_->ShowInvertedImage(binaryImage_);
}

#include "autocount/autocountmanager.h"

// Object separation front: to be implemented.
void AutoCountManager::SetObjectCutMode(int mode)
{
    objectCutMode = mode;
    DeleteAllLineItem();
}
void AutoCountManager::slotAutoCutFinished() {}

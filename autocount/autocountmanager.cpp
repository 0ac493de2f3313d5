#include "autocount/autocountmanager.h"

#include "host/displaycanvas.h"
#include "host/hostevents.h"
#include "host/pixelformatadapter.h"

// Module-wide settings: one copy for the process, shared by every controller.
int AutoCountManager::autoCountStep = AutoCountManager::STEP_ENDED;
int AutoCountManager::regionSelectionMode = AutoCountManager::REGION_WHOLE_IMAGE;
int AutoCountManager::segmentMode = AutoCountManager::SEGMENT_AUTO_DARK;
int AutoCountManager::lowThresh = 0;
int AutoCountManager::highThresh = 255;
int AutoCountManager::histogramChannel = AutoCountManager::CHANNEL_GREY;
int AutoCountManager::objectCutMode = AutoCountManager::CUT_AUTO;
int AutoCountManager::displayMode = 0;
bool AutoCountManager::isProcessBound = true;
QThread* AutoCountManager::autoCountThread = nullptr;
AutoCutManager* AutoCountManager::autoCutManager = nullptr;
TargetDrawPropertyManager AutoCountManager::targetDrawPropertyManager;
QMap<AutoCountManager::OBJECT_DATA_TYPE, QString> AutoCountManager::dataTypeNameMap;
QMap<QString, AutoCountManager::OBJECT_DATA_TYPE> AutoCountManager::nameDataTypeMap;
QMap<AutoCountManager::OBJECT_DATA_TYPE, AutoCountManager::OBJECT_DATA_RANGE*>
    AutoCountManager::dataRangeList;

AutoCountManager::AutoCountManager(QObject* parent) : QObject(parent) {}

// The graphics items stay on the scene, which owns them; only the lists go.
AutoCountManager::~AutoCountManager() = default;

void AutoCountManager::Init()
{
    targetDrawPropertyManager.Init();
}

bool AutoCountManager::IsAutoCountStarted()
{
    return autoCountStep != STEP_ENDED;
}

void AutoCountManager::SetAutoCountStep(int step)
{
    // Cut lines never survive a step change.
    DeleteAllLineItem();
    autoCountStep = step;

    if (step == STEP_ENDED) {
        regionSelectionMode = REGION_WHOLE_IMAGE;
        if (displayCanvas_)
            displayCanvas_->ShowImage(sourceImage_);
        BroadcastHostEvent(HOST_EVENT_COUNTING_ENDED, nullptr);
        return;
    }

    if (step == STEP_REGION) {
        DeleteTargetItem();
        DeleteAllRectItem();
        DeleteAllPolygonItem();
        // The source shares the canvas's pixel buffer; the capture conversion
        // works on it in place. The canvas is not repainted.
        sourceImage_ = displayCanvas_ ? displayCanvas_->GetImage() : cv::Mat();
        PixelFormatAdapter::Convert(sourceImage_, sourceImage_, PixelFormatAdapter::kCaptureMode);
    }
    // Steps 2 to 4 (and any other value) are only stored: the step governs
    // which mouse events are accepted; the host calls each step's operations.
}

void AutoCountManager::SetDisplayMode(int mode)
{
    displayMode = mode;
}

void AutoCountManager::Back(int step)
{
    if (!displayCanvas_)
        return;
    switch (step) {
    case STEP_SEGMENT:
        ImageSegment();
        displayCanvas_->ShowInvertedImage(binaryImage_);
        break;
    case STEP_SEPARATE:
        displayCanvas_->ShowInvertedImage(binaryImage_);
        break;
    default:
        displayCanvas_->ShowImage(sourceImage_);
        break;
    }
}

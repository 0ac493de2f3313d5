// The session's settings in the engine's terms, read from the controller and
// applied to it: what Studio saves, loads and hands to a folder run.
#include "countingsession.h"

#include "handmarks.h"
#include "planechoice.h"

#include "imagecanvas.h"
#include "refinementhistory.h"

#include "calibration.h"
#include "catalogue.h"
#include "controllerresult.h"
#include "separationworker.h"

#include "autocount/autocountmanager.h"
#include "host/hostevents.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>
#include <QGraphicsView>
#include <QMouseEvent>
#include <QThread>
#include <QUndoCommand>
#include <QUndoStack>

#include <algorithm>

CountSettings CountingSession::Settings() const
{
    CountSettings s;
    s.rectangles = rectangles_;
    s.polygons = polygons_;
    switch (AutoCountManager::segmentMode) {
    case AutoCountManager::SEGMENT_AUTO_BRIGHT:
        s.mode = SegmentMode::Bright;
        break;
    case AutoCountManager::SEGMENT_AUTO_DARK:
        s.mode = SegmentMode::Dark;
        break;
    default:
        s.mode = SegmentMode::Manual;
        break;
    }
    s.channel = planechoice::BandChannelOfModuleCode(AutoCountManager::histogramChannel);
    // The studio segments with the module's own threshold and measures the
    // grey image only: the command-line tool is to do the same.
    s.preparation.clear();
    s.measureChannels = false;
    s.low = AutoCountManager::lowThresh;
    s.high = AutoCountManager::highThresh;
    s.cut = Separation::None;
    for (const RefinementOperation& operation : history_->Applied())
        switch (operation.kind) {
        case RefinementOperation::MORPHOLOGY:
            s.morphology << static_cast<Morphology>(operation.morphology);
            break;
        case RefinementOperation::FILL_HOLES:
            s.fillHoles = true;
            break;
        case RefinementOperation::AUTO_CUT:
            s.cut = Separation::Auto;
            break;
        case RefinementOperation::DISTANCE_CUT:
            s.cut = Separation::Distance;
            break;
        case RefinementOperation::MERGE:
            s.cut = Separation::Merge;
            break;
        case RefinementOperation::MANUAL_CUT:
            break;
        }
    s.speckFloor = 0;
    s.dish = dish_ ? DishMode::Auto : DishMode::None;
    s.keepBorder = !AutoCountManager::isProcessBound;
    // Every range as the module holds it, so that nothing rests on defaults.
    s.defaultFilters = false;
    for (auto it = AutoCountManager::dataRangeList.cbegin();
         it != AutoCountManager::dataRangeList.cend(); ++it) {
        const AutoCountManager::OBJECT_DATA_RANGE* range = it.value();
        if (!range || !range->enabled)
            continue;
        s.filters << FilterSetting{catalogue::Names().value(static_cast<int>(it.key())),
                                   range->minValue, range->maxValue};
    }
    const Calibration calibration = Calibration::Current();
    s.scale = calibration.scale;
    s.unit = calibration.unit;
    return s;
}

void CountingSession::SetDish(bool on)
{
    if (dish_ == on)
        return;
    dish_ = on;
    emit dishChanged(on);
}

void CountingSession::ApplySettings(const CountSettings& s)
{
    Calibration calibration;
    calibration.scale = s.scale;
    calibration.unit = s.unit;
    calibration.Apply();
    const countcore::DataRanges ranges = catalogue::Ranges(s);
    for (auto it = AutoCountManager::dataRangeList.begin();
         it != AutoCountManager::dataRangeList.end(); ++it) {
        const int type = static_cast<int>(it.key());
        if (it.value() && type >= 0 && type < countcore::kDataTypeCount)
            *it.value() = {ranges[static_cast<size_t>(type)].enabled,
                           ranges[static_cast<size_t>(type)].minValue,
                           ranges[static_cast<size_t>(type)].maxValue};
    }
    AutoCountManager::isProcessBound = !s.keepBorder;
    SetDish(s.dish == DishMode::Auto);
    AutoCountManager::histogramChannel = planechoice::ModuleBandChannel(s.channel);
    AutoCountManager::lowThresh = s.low;
    AutoCountManager::highThresh = s.high;
    // The automatic mode leaves dark or bright to the image's suggestion.
    modeChosen_ = s.mode != SegmentMode::Auto;
    if (s.mode == SegmentMode::Auto) {
        if (Step() == AutoCountManager::STEP_SEGMENT)
            SuggestPolarity();
    } else {
        AutoCountManager::segmentMode =
            s.mode == SegmentMode::Bright ? AutoCountManager::SEGMENT_AUTO_BRIGHT
            : s.mode == SegmentMode::Dark ? AutoCountManager::SEGMENT_AUTO_DARK
                                          : AutoCountManager::SEGMENT_MANUAL;
        suggestion_.clear();
    }
    if (Step() == AutoCountManager::STEP_SEGMENT) {
        // Segments with the mode, channel and band just set.
        SetChannel(PlaneChannel());
    } else if (Step() == AutoCountManager::STEP_RESULTS) {
        Refilter();
    }
}

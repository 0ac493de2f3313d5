#include "controllerresult.h"

#include "planechoice.h"

#include "autocount/autocountmanager.h"
#include "host/scaleservice.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

namespace countrun {

CountResult FromController(const AutoCountManager& m)
{
    CountResult result;
    result.image = m.GetSourceImage();
    result.core.thresholds = {AutoCountManager::lowThresh, AutoCountManager::highThresh};
    result.core.binary = m.GetBinaryImage();
    result.core.contours = m.GetAllContours();
    result.core.records = m.GetAllResults();
    result.core.validContours = m.GetValidContours();
    result.core.validRecords = m.GetValidResults();
    for (const QGraphicsRectItem* item : m.GetRectItems())
        result.regions.push_back(countcore::RectangleRegion(item->rect()));
    for (const QGraphicsPolygonItem* item : m.GetPolygonItems())
        result.regions.push_back(countcore::PolygonRegion(item->polygon()));

    // The module's automatic modes threshold the grey plane; its band, the
    // plane its channel code reads.
    result.settingsManual = AutoCountManager::segmentMode == AutoCountManager::SEGMENT_MANUAL;
    result.plane = result.settingsManual ? countsettings::Name(planechoice::BandChannelOfModuleCode(
                                               AutoCountManager::histogramChannel))
                                         : QStringLiteral("grey");
    result.bright = AutoCountManager::segmentMode == AutoCountManager::SEGMENT_AUTO_BRIGHT;
    const CalibrationEntry calibration = ScaleService::calibrationStore.GetCurrentEntry();
    result.scale = calibration.scale;
    result.unit = calibration.unitName;
    for (auto it = AutoCountManager::dataRangeList.cbegin();
         it != AutoCountManager::dataRangeList.cend(); ++it) {
        if (!it.value() || !it.value()->enabled)
            continue;
        result.core.types.push_back(it.key());
        result.typeNames << AutoCountManager::GetDataTypeName(it.key());
    }
    return result;
}

} // namespace countrun

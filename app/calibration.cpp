#include "calibration.h"

#include "autocount/autocountmanager.h"
#include "autocount/core/countcore.h"
#include "host/scaleservice.h"

#include <QSettings>

Calibration Calibration::Load()
{
    QSettings settings;
    Calibration calibration;
    const double scale = settings.value("calibration/scale", 1.0).toDouble();
    calibration.scale = scale > 0.0 ? scale : 1.0;
    const QString unit = settings.value("calibration/unit").toString().trimmed();
    calibration.unit = unit.isEmpty() ? QStringLiteral("px") : unit;
    return calibration;
}

void Calibration::Save() const
{
    QSettings settings;
    settings.setValue("calibration/scale", scale);
    settings.setValue("calibration/unit", unit);
}

void Calibration::Apply() const
{
    CalibrationEntry entry;
    entry.scale = scale;
    entry.unitName = unit;
    ScaleService::calibrationStore.SetCurrentEntry(entry);
}

Calibration Calibration::Current()
{
    const CalibrationEntry entry = ScaleService::calibrationStore.GetCurrentEntry();
    Calibration calibration;
    calibration.scale = entry.scale > 0.0 ? entry.scale : 1.0;
    calibration.unit = entry.unitName.isEmpty() ? QStringLiteral("px") : entry.unitName;
    return calibration;
}

void Calibration::ConvertFilterRanges(double fromScale, double toScale)
{
    if (!(fromScale > 0.0) || !(toScale > 0.0) || fromScale == toScale)
        return;
    const double ratio = toScale / fromScale;
    auto& ranges = AutoCountManager::dataRangeList;
    for (auto it = ranges.begin(); it != ranges.end(); ++it) {
        if (!it.value())
            continue;
        double factor = 1.0;
        switch (countcore::DataUnitKind(static_cast<int>(it.key()))) {
        case countcore::UnitKind::Length:
            factor = ratio;
            break;
        case countcore::UnitKind::Area:
            factor = ratio * ratio;
            break;
        case countcore::UnitKind::None:
            continue;
        }
        it.value()->minValue *= factor;
        it.value()->maxValue *= factor;
    }
}

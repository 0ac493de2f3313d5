#include "calibration.h"

#include "host/scaleservice.h"

#include <QSettings>

Calibration Calibration::Load()
{
    QSettings settings;
    Calibration calibration;
    const double scale = settings.value("calibration/scale", 1.0).toDouble();
    calibration.scale = scale > 0.0 ? scale : 1.0;
    calibration.unit = settings.value("calibration/unit").toString();
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

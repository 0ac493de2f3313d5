#pragma once

#include <QString>

/// The spatial calibration the studio measures in, remembered between runs.
struct Calibration
{
    double scale = 1.0;                  ///< length units per pixel
    QString unit = QStringLiteral("px"); ///< unit name, e.g. "µm"; "px" for pixels

    /// The calibration last saved (QSettings), or 1 px a pixel.
    static Calibration Load();
    void Save() const;
    /// Makes this the counting module's current calibration.
    void Apply() const;
    /// The counting module's current calibration.
    static Calibration Current();
    /// The module's filter ranges are in the calibrated unit: converts every
    /// length bound from @p fromScale to @p toScale units per pixel (areas by
    /// the square), so that the filters keep the same objects.
    static void ConvertFilterRanges(double fromScale, double toScale);
};

#pragma once

#include <QString>

/// The spatial calibration the studio measures in, remembered between runs.
struct Calibration
{
    double scale = 1.0; ///< length units per pixel
    QString unit;       ///< unit name, e.g. "µm"; empty for pixels

    /// The calibration last saved (QSettings), or 1 and no unit.
    static Calibration Load();
    void Save() const;
    /// Makes this the counting module's current calibration.
    void Apply() const;
};

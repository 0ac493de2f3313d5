#pragma once

#include "calibration.h"

#include <QList>
#include <QString>

/// A calibration the user kept under a name, e.g. "10x objective".
struct NamedCalibration
{
    QString name;
    Calibration calibration;
};

/// The named calibrations, kept in the studio's settings (QSettings) in the
/// order they were first saved.
namespace namedcalibrations {

QList<NamedCalibration> All();
/// Keeps @p calibration under @p name, replacing one of the same name.
/// An empty name keeps nothing.
void Keep(const QString& name, const Calibration& calibration);

} // namespace namedcalibrations

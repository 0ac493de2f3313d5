#pragma once

#include "calibration.h"

#include <QDialog>

#include <optional>

QT_BEGIN_NAMESPACE
class QComboBox;
class QDoubleSpinBox;
QT_END_NAMESPACE

/// Asks for the scale (units per pixel) and the unit name, or one of the
/// calibrations kept under a name.
class CalibrationDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CalibrationDialog(const Calibration& calibration, QWidget* parent = nullptr);

    Calibration Value() const;

private:
    QDoubleSpinBox* scale_;
    QComboBox* unit_;
    std::optional<Calibration> exact_; ///< the named calibration chosen, unchanged since
};

#pragma once

#include "calibration.h"

#include <QDialog>

QT_BEGIN_NAMESPACE
class QComboBox;
class QDoubleSpinBox;
QT_END_NAMESPACE

/// Asks for the scale (units per pixel) and the unit name.
class CalibrationDialog : public QDialog
{
    Q_OBJECT
public:
    explicit CalibrationDialog(const Calibration& calibration, QWidget* parent = nullptr);

    Calibration Value() const;

private:
    QDoubleSpinBox* scale_;
    QComboBox* unit_;
};

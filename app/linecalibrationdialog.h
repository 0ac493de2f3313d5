#pragma once

#include "calibration.h"

#include <QDialog>

QT_BEGIN_NAMESPACE
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
QT_END_NAMESPACE

/**
 * @brief Asks what a line drawn over a stage micrometer or a scale bar
 * measures: its real length and unit, and a name to keep the calibration
 * under. The scale is that length over the line's length in pixels.
 */
class LineCalibrationDialog : public QDialog
{
    Q_OBJECT
public:
    LineCalibrationDialog(double pixels, const QString& unit, QWidget* parent = nullptr);

    /// The real length over the line's pixels, in the unit typed.
    Calibration Value() const;
    /// The name to keep the calibration under; empty keeps none.
    QString Name() const;

private:
    double pixels_;
    QDoubleSpinBox* length_;
    QComboBox* unit_;
    QLineEdit* name_;
};

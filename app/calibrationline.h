#pragma once

#include "calibration.h"
#include "mousetarget.h"

#include <QObject>
#include <QPointF>

QT_BEGIN_NAMESPACE
class QGraphicsLineItem;
QT_END_NAMESPACE

class ImageView;

/**
 * @brief Calibration from the image: while active, takes the view's mouse,
 * lets the user drag a line over a stage micrometer or a scale bar, then
 * asks its real length (LineCalibrationDialog). The result is kept under
 * its name (namedcalibrations) and announced; the view's mouse goes back
 * to @p previous either way.
 */
class CalibrationLine : public QObject, public MouseTarget
{
    Q_OBJECT
public:
    CalibrationLine(ImageView* view, MouseTarget* previous, QObject* parent = nullptr);
    ~CalibrationLine() override;

    /// Takes the view's mouse for one line.
    void Begin();
    bool IsActive() const { return active_; }

    bool AcceptsMouse() const override { return active_; }
    void Press(QMouseEvent* event) override;
    void Move(QMouseEvent* event) override;
    void Release(QMouseEvent* event) override;
    void DoubleClick(QMouseEvent*) override {}

signals:
    /// The user calibrated from a line: @p calibration is to be applied.
    void calibrated(const Calibration& calibration);

private:
    void End();

    ImageView* view_;
    MouseTarget* previous_;
    QGraphicsLineItem* line_ = nullptr;
    QPointF start_;
    bool active_ = false;
};

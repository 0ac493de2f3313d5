#include "calibrationline.h"

#include "imageview.h"
#include "linecalibrationdialog.h"
#include "namedcalibrations.h"

#include <QGraphicsLineItem>
#include <QGraphicsScene>
#include <QLineF>
#include <QMouseEvent>
#include <QPen>

CalibrationLine::CalibrationLine(ImageView* view, MouseTarget* previous, QObject* parent)
    : QObject(parent), view_(view), previous_(previous)
{
}

CalibrationLine::~CalibrationLine()
{
    delete line_;
}

void CalibrationLine::Begin()
{
    active_ = true;
    view_->SetMouseTarget(this);
    view_->viewport()->setCursor(Qt::CrossCursor);
}

void CalibrationLine::End()
{
    active_ = false;
    delete line_;
    line_ = nullptr;
    view_->viewport()->unsetCursor();
    view_->SetMouseTarget(previous_);
}

void CalibrationLine::Press(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    start_ = view_->mapToScene(event->pos());
    delete line_;
    QPen pen(QColor(255, 200, 0), 2);
    pen.setCosmetic(true);
    line_ = view_->scene()->addLine(QLineF(start_, start_), pen);
    line_->setZValue(1000);
}

void CalibrationLine::Move(QMouseEvent* event)
{
    if (line_)
        line_->setLine(QLineF(start_, view_->mapToScene(event->pos())));
}

void CalibrationLine::Release(QMouseEvent* event)
{
    if (!line_)
        return;
    // Scene units are image pixels.
    const QLineF line(start_, view_->mapToScene(event->pos()));
    line_->setLine(line);
    if (line.length() < 1.0) {
        End();
        return;
    }
    LineCalibrationDialog dialog(line.length(), Calibration::Current().unit, view_->window());
    const bool accepted = dialog.exec() == QDialog::Accepted;
    End();
    if (!accepted)
        return;
    const Calibration calibration = dialog.Value();
    namedcalibrations::Keep(dialog.Name(), calibration);
    emit calibrated(calibration);
}

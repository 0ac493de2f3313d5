#include "histogramwidget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace {

/// How far from a handle's line, in pixels, a press still takes the handle.
constexpr double kGrabDistance = 6.0;

} // namespace

HistogramWidget::HistogramWidget(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setMouseTracking(true);
    setToolTip(tr("Histogram of the chosen channel; the shaded band is counted as objects. "
                  "Drag its edges to move the low and high bounds."));
}

void HistogramWidget::SetHistogram(const std::array<int, 256>& bins)
{
    bins_ = bins;
    update();
}

void HistogramWidget::SetBand(int low, int high)
{
    low_ = low;
    high_ = high;
    update();
}

void HistogramWidget::SetLogScale(bool on)
{
    logScale_ = on;
    update();
}

QSize HistogramWidget::sizeHint() const
{
    return QSize(280, 120);
}

QSize HistogramWidget::minimumSizeHint() const
{
    return QSize(140, 80);
}

QRectF HistogramWidget::Frame() const
{
    return QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
}

double HistogramWidget::HandleX(bool low) const
{
    // The low line is the left edge of the low bin, the high line the right
    // edge of the high bin: the band covers both bins.
    const QRectF frame = Frame();
    const double level = low ? std::clamp(low_, 0, 255) : std::clamp(high_, 0, 255) + 1;
    return frame.left() + level * frame.width() / 256.0;
}

int HistogramWidget::LevelAt(double x) const
{
    const QRectF frame = Frame();
    const double level = std::floor((x - frame.left()) * 256.0 / frame.width());
    return std::clamp(static_cast<int>(level), 0, 255);
}

HistogramWidget::Handle HistogramWidget::HandleNear(double x) const
{
    const double toLow = std::abs(x - HandleX(true));
    const double toHigh = std::abs(x - HandleX(false));
    if (std::min(toLow, toHigh) > kGrabDistance)
        return Handle::None;
    // Handles on top of each other: the one that can move towards the pointer.
    if (toLow == toHigh)
        return x < HandleX(true) ? Handle::Low : Handle::High;
    return toLow < toHigh ? Handle::Low : Handle::High;
}

void HistogramWidget::DragTo(double x)
{
    if (dragging_ == Handle::Low) {
        emit boundDragged(true, LevelAt(x));
    } else if (dragging_ == Handle::High) {
        // The high line sits on the bin's right edge: the bin left of the pointer.
        const QRectF frame = Frame();
        const double level = std::round((x - frame.left()) * 256.0 / frame.width()) - 1.0;
        emit boundDragged(false, std::clamp(static_cast<int>(level), 0, 255));
    }
}

void HistogramWidget::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    dragging_ = HandleNear(event->localPos().x());
    DragTo(event->localPos().x());
    event->accept();
}

void HistogramWidget::mouseMoveEvent(QMouseEvent* event)
{
    if (dragging_ != Handle::None && (event->buttons() & Qt::LeftButton)) {
        DragTo(event->localPos().x());
        return;
    }
    setCursor(HandleNear(event->localPos().x()) == Handle::None ? Qt::ArrowCursor
                                                                : Qt::SizeHorCursor);
}

void HistogramWidget::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() == Qt::LeftButton && dragging_ != Handle::None) {
        DragTo(event->localPos().x());
        dragging_ = Handle::None;
    }
}

void HistogramWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRectF frame = Frame();
    painter.fillRect(rect(), palette().base());
    const double binWidth = frame.width() / 256.0;
    auto xOf = [&](double value) { return frame.left() + value * binWidth; };

    // The band first, under the bars; an empty band (low above high) shows nothing.
    const int low = std::clamp(low_, 0, 255);
    const int high = std::clamp(high_, 0, 255);
    if (low <= high) {
        const QRectF band(QPointF(xOf(low), frame.top()), QPointF(xOf(high + 1), frame.bottom()));
        painter.fillRect(band, QColor(70, 130, 220, 70));
    }

    const double top = std::log1p(1000.0);
    QPainterPath bars;
    bars.moveTo(frame.left(), frame.bottom());
    for (int k = 0; k < 256; ++k) {
        const double count = std::clamp(bins_[k], 0, 1000);
        const double share = logScale_ ? std::log1p(count) / top : count / 1000.0;
        const double height = share * (frame.height() - 2);
        bars.lineTo(xOf(k), frame.bottom() - height);
        bars.lineTo(xOf(k + 1), frame.bottom() - height);
    }
    bars.lineTo(frame.right(), frame.bottom());
    bars.closeSubpath();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillPath(bars, palette().text().color().lighter(160));

    // Each bound's line with a grip at the top that shows it can be dragged.
    const QColor handle(30, 90, 200);
    painter.setPen(QPen(handle, 1));
    painter.setBrush(handle);
    for (const bool isLow : {true, false}) {
        const double x = HandleX(isLow);
        painter.drawLine(QPointF(x, frame.top()), QPointF(x, frame.bottom()));
        const double side = isLow ? 1.0 : -1.0;
        const QPointF grip[] = {QPointF(x, frame.top()), QPointF(x + side * 6.0, frame.top()),
                                QPointF(x, frame.top() + 8.0)};
        painter.drawPolygon(grip, 3);
    }
    painter.setBrush(Qt::NoBrush);
    painter.setPen(palette().mid().color());
    painter.drawRect(frame);
}

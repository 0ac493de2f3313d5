#include "histogramwidget.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>

HistogramWidget::HistogramWidget(QWidget* parent) : QWidget(parent)
{
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setToolTip(tr("Histogram of the chosen channel; the shaded band is counted as objects"));
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

QSize HistogramWidget::sizeHint() const
{
    return QSize(280, 120);
}

QSize HistogramWidget::minimumSizeHint() const
{
    return QSize(140, 80);
}

void HistogramWidget::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const QRectF frame = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
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

    QPainterPath bars;
    bars.moveTo(frame.left(), frame.bottom());
    for (int k = 0; k < 256; ++k) {
        const double height = std::clamp(bins_[k], 0, 1000) / 1000.0 * (frame.height() - 2);
        bars.lineTo(xOf(k), frame.bottom() - height);
        bars.lineTo(xOf(k + 1), frame.bottom() - height);
    }
    bars.lineTo(frame.right(), frame.bottom());
    bars.closeSubpath();
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillPath(bars, palette().text().color().lighter(160));

    painter.setPen(QPen(QColor(30, 90, 200), 1));
    painter.drawLine(QPointF(xOf(low_), frame.top()), QPointF(xOf(low_), frame.bottom()));
    painter.drawLine(QPointF(xOf(high_ + 1), frame.top()), QPointF(xOf(high_ + 1), frame.bottom()));
    painter.setPen(palette().mid().color());
    painter.drawRect(frame);
}

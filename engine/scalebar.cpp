#include "scalebar.h"

#include "objectdata.h"

#include <QFont>
#include <QFontMetrics>
#include <QImage>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace scalebar {

Bar Choose(int width, double scale, const QString& unit)
{
    Bar bar;
    if (width < 8 || !std::isfinite(scale) || !(scale > 0.0))
        return bar;
    const double room = width / 4.0 * scale;
    // step × 10^e, divided by the exact 10^-e below one so that 0.2 is 0.2.
    auto value = [](double step, int e) {
        return e >= 0 ? step * std::pow(10.0, e) : step / std::pow(10.0, -e);
    };
    const int top = static_cast<int>(std::floor(std::log10(room)));
    double best = 0;
    // The floor of the logarithm may be one off for a room of exactly 10^k.
    for (int e = top - 1; e <= top + 1; ++e)
        for (double step : {1.0, 2.0, 5.0})
            if (value(step, e) <= room * (1 + 1e-12))
                best = std::max(best, value(step, e));
    const int pixels = static_cast<int>(std::lround(best / scale));
    if (!(best > 0) || pixels < 1)
        return bar;
    bar.length = best;
    bar.pixels = pixels;
    const QString name = unit.isEmpty() ? QStringLiteral("px") : unit;
    bar.label = QString::fromLatin1(objectdata::Number(best)) + QLatin1Char(' ') + name;
    return bar;
}

bool Draw(QImage& image, double scale, const QString& unit)
{
    const Bar bar = Choose(image.width(), scale, unit);
    if (bar.pixels == 0)
        return false;
    const int margin = std::min(16, image.width() / 16);
    const int thickness = std::max(2, std::min(8, image.height() / 60));
    const int x = margin;
    const int y = image.height() - margin - thickness;
    QPainter painter(&image);
    // Whole pixels, so that the bar is exactly its length.
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.fillRect(x, y, bar.pixels, thickness, Qt::white);
    QFont font = painter.font();
    font.setPixelSize(std::max(8, std::min(24, image.height() / 30)));
    painter.setFont(font);
    painter.setRenderHint(QPainter::TextAntialiasing, true);
    const QFontMetrics metrics(font);
    const QRect text(x, y - metrics.height() - 2,
                     std::max(bar.pixels, metrics.horizontalAdvance(bar.label)), metrics.height());
    // A dark edge keeps the white label readable on a light picture.
    painter.setPen(Qt::black);
    for (const QPoint& offset : {QPoint(1, 1), QPoint(-1, -1), QPoint(1, -1), QPoint(-1, 1)})
        painter.drawText(text.translated(offset), Qt::AlignLeft | Qt::AlignBottom, bar.label);
    painter.setPen(Qt::white);
    painter.drawText(text, Qt::AlignLeft | Qt::AlignBottom, bar.label);
    return true;
}

} // namespace scalebar

#include "picture.h"

#include "pngencoder.h"
#include "scalebar.h"

#include "autocount/drawproperty/targetdrawpropertymanager.h"

#include <QBuffer>
#include <QFontMetricsF>
#include <QGuiApplication>
#include <QImageWriter>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <memory>
#include <mutex>

namespace picture {

bool EnsureGui(QString* error)
{
    static std::mutex mutex;
    static std::unique_ptr<QGuiApplication> started;
    std::lock_guard<std::mutex> lock(mutex);
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        return true;
    if (QCoreApplication::instance()) {
        if (error)
            *error = QStringLiteral("pictures need Qt's GUI classes, and a non-GUI "
                                    "application is running");
        return false;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "autocount";
    static char* argv[] = {name, nullptr};
    started = std::make_unique<QGuiApplication>(argc, argv);
    return true;
}

TARGET_DRAW_PROPERTY CurrentLook()
{
    TargetDrawPropertyManager properties;
    properties.Init();
    return properties.GetTargetDrawProperty();
}

QImage Render(const countrun::CountResult& result, const TARGET_DRAW_PROPERTY& look,
              const Options& options)
{
    const cv::Mat& source = result.image;
    if (source.empty() || source.type() != CV_8UC3)
        return QImage();
    // One conversion of the whole image, into the painter's own format;
    // everything after that paints only the pixels it touches.
    QImage image = QImage(source.data, source.cols, source.rows, static_cast<int>(source.step),
                          QImage::Format_BGR888)
                       .convertToFormat(QImage::Format_RGB32);
    if (image.isNull())
        return image;

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);

    // The regions counted in, as they were drawn: green, one pixel wide.
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(Qt::green, 0));
    for (const Contour& region : result.regions)
        painter.drawPolygon(countcore::OutlinePolygon(region));
    // On a dish, the disc counted in.
    if (result.dish) {
        const double r = dish::CountedRadius(*result.dish);
        painter.drawEllipse(QPointF(result.dish->x + 0.5, result.dish->y + 0.5), r, r);
    }

    // The outlines, then the numbers centred on each object's enclosing circle.
    painter.setPen(QPen(look.targetColor, look.contourWidth));
    for (const Contour& contour : result.core.validContours)
        painter.drawPolygon(countcore::OutlinePolygon(contour));
    painter.setFont(look.font);
    painter.setPen(look.fontColor);
    const QFontMetricsF metrics(look.font);
    const std::vector<parResult>& records = result.core.validRecords;
    for (size_t i = 0; i < records.size(); ++i) {
        const QString label = QString::number(i + 1);
        QRectF box = metrics.boundingRect(label);
        box.moveCenter(QPointF(records[i].centerX, records[i].centerY));
        painter.drawText(box, Qt::AlignCenter, label);
    }
    // Objects added by hand: a cross where the user clicked, numbered on
    // after the counted objects.
    if (!result.handAdded.empty()) {
        const double arm = std::max(4.0, look.font.pointSizeF());
        painter.setPen(QPen(look.targetColor, std::max(1, look.contourWidth)));
        for (const cv::Point2d& point : result.handAdded) {
            const QPointF at(point.x, point.y);
            painter.drawLine(at - QPointF(arm, 0), at + QPointF(arm, 0));
            painter.drawLine(at - QPointF(0, arm), at + QPointF(0, arm));
        }
        painter.setPen(look.fontColor);
        for (size_t i = 0; i < result.handAdded.size(); ++i) {
            const QString label = QString::number(records.size() + i + 1);
            QRectF box = metrics.boundingRect(label);
            box.moveBottomLeft(
                QPointF(result.handAdded[i].x + arm / 2, result.handAdded[i].y - arm / 2));
            painter.drawText(box, Qt::AlignCenter, label);
        }
    }
    painter.end();
    if (options.scaleBar)
        scalebar::Draw(image, result.scale, result.unit);
    return image;
}

QByteArray Png(const QImage& image)
{
    return pngencoder::Encode(image);
}

QByteArray Jpeg(const QImage& image)
{
    QByteArray bytes;
    if (image.isNull())
        return bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpg");
    writer.setQuality(92);
    if (!writer.write(image.convertToFormat(QImage::Format_RGB888)))
        return QByteArray();
    return bytes;
}

} // namespace picture

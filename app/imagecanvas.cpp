#include "imagecanvas.h"

#include <QColor>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QImage>
#include <QPixmap>

#include <opencv2/imgproc.hpp>

const QColor ImageCanvas::kMaskColour(255, 0, 200);

ImageCanvas::ImageCanvas(QGraphicsScene* scene, QObject* parent)
    : QObject(parent), scene_(scene), pixmapItem_(new QGraphicsPixmapItem),
      overlayItem_(new QGraphicsPixmapItem)
{
    // Below the module's region, cut, target and label items (z 0).
    pixmapItem_->setZValue(-1.0);
    pixmapItem_->setPos(0, 0);
    pixmapItem_->setTransformationMode(Qt::FastTransformation);
    scene_->addItem(pixmapItem_);
    // Above the photo, still below everything the module draws.
    overlayItem_->setZValue(-0.5);
    overlayItem_->setPos(0, 0);
    overlayItem_->setTransformationMode(Qt::FastTransformation);
    overlayItem_->setOpacity(0.5);
    overlayItem_->setVisible(false);
    scene_->addItem(overlayItem_);
}

void ImageCanvas::SetMaskOverlay(bool on)
{
    if (overlayOn_ == on)
        return;
    overlayOn_ = on;
    if (inverted_)
        ShowInvertedImage(binary_);
}

void ImageCanvas::SetMaskOpacity(double opacity)
{
    overlayItem_->setOpacity(qBound(0.0, opacity, 1.0));
}

double ImageCanvas::MaskOpacity() const
{
    return overlayItem_->opacity();
}

void ImageCanvas::SetImage(const cv::Mat& image)
{
    image_ = image;
    inverted_ = false;
    binary_ = cv::Mat();
    overlayItem_->setVisible(false);
    scene_->setSceneRect(0, 0, image.cols, image.rows);
    Paint(ToQImage(image));
    emit imageChanged();
}

cv::Mat ImageCanvas::GetImage()
{
    return image_;
}

void ImageCanvas::ShowImage(cv::Mat& image)
{
    if (!image.empty())
        image_ = image;
    inverted_ = false;
    overlayItem_->setVisible(false);
    Paint(ToQImage(image));
}

void ImageCanvas::ShowInvertedImage(const cv::Mat& image)
{
    inverted_ = true;
    binary_ = image;
    overlayItem_->setVisible(false);
    if (image.empty() || image.type() != CV_8UC1) {
        Paint(ToQImage(image));
        return;
    }
    if (overlayOn_ && image.size() == image_.size()) {
        // The photo, and the objects in colour above it.
        QImage layer(image.cols, image.rows, QImage::Format_ARGB32);
        const QRgb object = kMaskColour.rgba();
        for (int y = 0; y < image.rows; ++y) {
            const uchar* in = image.ptr<uchar>(y);
            auto* out = reinterpret_cast<QRgb*>(layer.scanLine(y));
            for (int x = 0; x < image.cols; ++x)
                out[x] = in[x] ? object : 0u;
        }
        overlayItem_->setPixmap(QPixmap::fromImage(layer));
        overlayItem_->setVisible(true);
        Paint(ToQImage(image_));
        return;
    }
    QImage grey(image.cols, image.rows, QImage::Format_Grayscale8);
    for (int y = 0; y < image.rows; ++y) {
        const uchar* in = image.ptr<uchar>(y);
        uchar* out = grey.scanLine(y);
        for (int x = 0; x < image.cols; ++x)
            out[x] = static_cast<uchar>(255 - in[x]);
    }
    Paint(grey);
}

QImage ImageCanvas::ToQImage(const cv::Mat& image)
{
    if (image.empty())
        return QImage();
    if (image.type() == CV_8UC1) {
        QImage grey(image.data, image.cols, image.rows, static_cast<int>(image.step),
                    QImage::Format_Grayscale8);
        return grey.copy();
    }
    cv::Mat rgb;
    if (image.type() == CV_8UC3)
        cv::cvtColor(image, rgb, cv::COLOR_BGR2RGB);
    else if (image.type() == CV_8UC4)
        cv::cvtColor(image, rgb, cv::COLOR_BGRA2RGB);
    else
        return QImage();
    QImage wrapped(rgb.data, rgb.cols, rgb.rows, static_cast<int>(rgb.step), QImage::Format_RGB888);
    return wrapped.copy();
}

void ImageCanvas::Paint(const QImage& image)
{
    pixmapItem_->setPixmap(QPixmap::fromImage(image));
    emit shown();
}

#include "imagecanvas.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QImage>
#include <QPixmap>

#include <opencv2/imgproc.hpp>

ImageCanvas::ImageCanvas(QGraphicsScene* scene, QObject* parent)
    : QObject(parent), scene_(scene), pixmapItem_(new QGraphicsPixmapItem)
{
    // Below the module's region, cut, target and label items (z 0).
    pixmapItem_->setZValue(-1.0);
    pixmapItem_->setPos(0, 0);
    pixmapItem_->setTransformationMode(Qt::FastTransformation);
    scene_->addItem(pixmapItem_);
}

void ImageCanvas::SetImage(const cv::Mat& image)
{
    image_ = image;
    inverted_ = false;
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
    Paint(ToQImage(image));
}

void ImageCanvas::ShowInvertedImage(const cv::Mat& image)
{
    inverted_ = true;
    if (image.empty() || image.type() != CV_8UC1) {
        Paint(ToQImage(image));
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

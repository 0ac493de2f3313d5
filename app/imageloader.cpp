#include "imageloader.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <vector>

namespace {

const char* const kExtensions[] = {"png", "jpg", "jpeg", "tif", "tiff", "bmp"};

QString Tr(const char* text)
{
    return QCoreApplication::translate("ImageLoader", text);
}

/// Scales 16-bit samples to 8 bits, value · 255 / 65535 rounded half up.
cv::Mat Depth16To8(const cv::Mat& image)
{
    cv::Mat out(image.size(), CV_MAKETYPE(CV_8U, image.channels()));
    const int values = image.cols * image.channels();
    for (int y = 0; y < image.rows; ++y) {
        const ushort* in = image.ptr<ushort>(y);
        uchar* dst = out.ptr<uchar>(y);
        for (int x = 0; x < values; ++x)
            dst[x] = static_cast<uchar>((in[x] * 255u + 32767u) / 65535u);
    }
    return out;
}

cv::Mat DepthTo8(const cv::Mat& image)
{
    switch (image.depth()) {
    case CV_8U:
        return image;
    case CV_16U:
        return Depth16To8(image);
    default: {
        // Other depths are saturated as they are, as the command-line tool does,
        // so that both count the same pixels.
        cv::Mat out;
        image.convertTo(out, CV_MAKETYPE(CV_8U, image.channels()));
        return out;
    }
    }
}

} // namespace

namespace ImageLoader {

cv::Mat ToBgr8(const cv::Mat& image)
{
    if (image.empty())
        return cv::Mat();
    const cv::Mat eight = DepthTo8(image);
    cv::Mat bgr;
    switch (eight.channels()) {
    case 1:
        cv::cvtColor(eight, bgr, cv::COLOR_GRAY2BGR);
        break;
    case 3:
        bgr = eight;
        break;
    case 4:
        cv::cvtColor(eight, bgr, cv::COLOR_BGRA2BGR);
        break;
    default: {
        // Two channels (grey and alpha) or more than four: keep the first.
        std::vector<cv::Mat> planes;
        cv::split(eight, planes);
        cv::cvtColor(planes[0], bgr, cv::COLOR_GRAY2BGR);
        break;
    }
    }
    return bgr;
}

cv::Mat Load(const QString& path, QString* error)
{
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile()) {
        if (error)
            *error = Tr("%1: no such file").arg(path);
        return cv::Mat();
    }
    const cv::Mat raw = cv::imread(QFile::encodeName(path).toStdString(), cv::IMREAD_UNCHANGED);
    if (raw.empty()) {
        if (error)
            *error = Tr("%1: not an image that can be read (PNG, JPEG, TIFF or BMP)").arg(path);
        return cv::Mat();
    }
    return ToBgr8(raw);
}

QString FileDialogFilter()
{
    return Tr("Images (*.png *.jpg *.jpeg *.tif *.tiff *.bmp);;All files (*)");
}

bool IsSupportedFile(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const char* ext : kExtensions)
        if (suffix == QLatin1String(ext))
            return true;
    return false;
}

} // namespace ImageLoader

#include "imageloader.h"

#include "host/pixelformatadapter.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>

namespace {

const char* const kExtensions[] = {"png", "jpg", "jpeg", "tif", "tiff", "bmp"};

QString Tr(const char* text)
{
    return QCoreApplication::translate("ImageLoader", text);
}

} // namespace

namespace ImageLoader {

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
    return PixelFormatAdapter::ToModuleFormat(raw);
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

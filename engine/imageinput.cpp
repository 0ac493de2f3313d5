#include "imageinput.h"

#include "imageheader.h"

#include "host/pixelformatadapter.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <opencv2/imgcodecs.hpp>

const char* const kImageSuffixes[6] = {"png", "jpg", "jpeg", "tif", "tiff", "bmp"};

bool HasImageSuffix(const QString& path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    for (const char* known : kImageSuffixes)
        if (suffix == QLatin1String(known))
            return true;
    return false;
}

QString FileDialogFilter()
{
    return QCoreApplication::translate("ImageInput",
                                       "Images (*.png *.jpg *.jpeg *.tif *.tiff *.bmp);;"
                                       "All files (*)");
}

LoadedImage LoadImageFile(const QString& path)
{
    LoadedImage loaded;
    const QFileInfo info(path);
    if (!info.exists()) {
        loaded.error = QStringLiteral("no such file");
        return loaded;
    }
    if (info.isDir()) {
        loaded.error = QStringLiteral("is a folder");
        return loaded;
    }
    {
        QFile probe(path);
        if (!probe.open(QIODevice::ReadOnly)) {
            loaded.error = QStringLiteral("cannot read: %1").arg(probe.errorString());
            return loaded;
        }
        if (probe.size() == 0) {
            loaded.error = QStringLiteral("empty file");
            return loaded;
        }
    }
    // A header may claim any size; refuse what cannot be counted here before
    // the decoder takes memory for it.
    ImageHeader header;
    if (ReadImageHeader(path, header)) {
        const QString problem = ImageSizeProblem(header, AvailableMemory());
        if (!problem.isEmpty()) {
            loaded.error = problem;
            return loaded;
        }
    }
    const std::string name = QFile::encodeName(path).toStdString();
    try {
        if (!cv::haveImageReader(name)) {
            loaded.error = QStringLiteral("not an image in a supported format");
            return loaded;
        }
        loaded.image = cv::imread(name, cv::IMREAD_UNCHANGED);
    } catch (const cv::Exception& e) {
        loaded.error =
            QStringLiteral("corrupt image (%1)").arg(QString::fromStdString(e.err).simplified());
        return loaded;
    }
    if (loaded.image.empty()) {
        loaded.error = QStringLiteral("corrupt or truncated image");
        return loaded;
    }
    const int depth = loaded.image.depth();
    if (depth != CV_8U && depth != CV_16U) {
        loaded.error = QStringLiteral("unsupported pixel type (only 8- and 16-bit images "
                                      "are counted)");
        loaded.image.release();
        return loaded;
    }
    if (loaded.image.channels() > 4) {
        loaded.error = QStringLiteral("unsupported: %1 channels").arg(loaded.image.channels());
        loaded.image.release();
    }
    return loaded;
}

InputImage ReadImage(const QString& path)
{
    InputImage input;
    LoadedImage loaded = LoadImageFile(path);
    if (!loaded.ok()) {
        input.error = loaded.error;
        return input;
    }
    input.decoded = loaded.image.size();
    input.decodedDepth = loaded.image.depth() == CV_16U ? 16 : 8;
    input.decodedChannels = loaded.image.channels();
    input.image = PixelFormatAdapter::ToModuleFormat(loaded.image);
    return input;
}

void InstallModuleFormatConversion()
{
    PixelFormatAdapter::SetConverter([](const cv::Mat& src, cv::Mat& dst, int mode) {
        if (mode == PixelFormatAdapter::kCaptureMode) {
            dst = PixelFormatAdapter::ToModuleFormat(src);
        } else if (&src != &dst) {
            dst = src.clone();
        }
    });
}

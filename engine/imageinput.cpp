#include "imageinput.h"

#include "bitdepth.h"
#include "decoders.h"
#include "imageheader.h"
#include "tiffreader.h"

#include "host/pixelformatadapter.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>

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

namespace {
QString FileProblem(const QString& path);
} // namespace

void SplitPage(const QString& path, QString& file, int& page)
{
    file = path;
    page = 0;
    static const QRegularExpression paged(QStringLiteral("^(.+)\\[([1-9][0-9]{0,8})\\]$"));
    const QRegularExpressionMatch match = paged.match(path);
    if (!match.hasMatch())
        return;
    struct stat info;
    if (::stat(QFile::encodeName(path).constData(), &info) == 0)
        return; // a file of that very name
    file = match.captured(1);
    page = match.captured(2).toInt();
}

QString PageName(const QString& file, int page)
{
    return QStringLiteral("%1[%2]").arg(file).arg(page);
}

int PageCount(const QString& path)
{
    // Only regular files are opened: a FIFO would wait for a writer.
    if (!FileProblem(path).isEmpty())
        return 0;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    if (!tiffreader::IsTiff(file.peek(8)))
        return 1;
    file.close();
    return tiffreader::PageCount(path);
}

namespace {

/// Why @p path cannot be opened as an image file; empty when it can. Special
/// files are refused from their type alone: opening a FIFO would wait for a
/// writer, and a device or socket is no picture.
QString FileProblem(const QString& path)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    if (::stat(name.constData(), &info) != 0) {
        const int error = errno;
        struct stat link;
        if (error == ENOENT && ::lstat(name.constData(), &link) == 0)
            return QStringLiteral("dangling symbolic link");
        if (error == ENOENT)
            return QStringLiteral("no such file");
        return QStringLiteral("cannot read: %1").arg(QString::fromLocal8Bit(std::strerror(error)));
    }
    if (S_ISDIR(info.st_mode))
        return QStringLiteral("is a folder");
    if (S_ISFIFO(info.st_mode))
        return QStringLiteral("not a regular file (a FIFO); refused without reading it");
    if (S_ISSOCK(info.st_mode))
        return QStringLiteral("not a regular file (a socket); refused without reading it");
    if (S_ISCHR(info.st_mode) || S_ISBLK(info.st_mode))
        return QStringLiteral("not a regular file (a device); refused without reading it");
    if (!S_ISREG(info.st_mode))
        return QStringLiteral("not a regular file; refused without reading it");
    if (info.st_size == 0)
        return QStringLiteral("empty file");
    return QString();
}

bool StartsWith(const QByteArray& bytes, const char* magic, int size)
{
    return bytes.startsWith(QByteArray(magic, size));
}

/// Formats whose decoders give floating-point pixels, which are not counted;
/// they are refused before decoding.
QString FloatingPointFormat(const QByteArray& start)
{
    if (start.startsWith("#?RADIANCE") || start.startsWith("#?RGBE"))
        return QStringLiteral("Radiance HDR");
    if (start.startsWith("PF\n") || start.startsWith("Pf\n") || start.startsWith("PF\r") ||
        start.startsWith("Pf\r"))
        return QStringLiteral("PFM");
    if (StartsWith(start, "\x76\x2f\x31\x01", 4))
        return QStringLiteral("OpenEXR");
    return QString();
}

/// True when @p start begins like one of the formats whose header is read.
bool KnownSignature(const QByteArray& start)
{
    return start.startsWith("\x89PNG") || start.startsWith("BM") || start.startsWith("\xff\xd8") ||
           (start.startsWith("RIFF") && start.mid(8, 4) == "WEBP") ||
           StartsWith(start, "\0\0\0\x0cjP  ", 8) || StartsWith(start, "\xff\x4f\xff\x51", 4) ||
           (start.size() > 2 && start[0] == 'P' && start[1] >= '1' && start[1] <= '7' &&
            std::isspace(uchar(start[2]))) ||
           StartsWith(start, "\x59\xa6\x6a\x95", 4);
}

/// A declared maximum of 2^n - 1 is n significant bits.
void DeclarePnmRange(int maxValue, DecodedImage& image)
{
    if (maxValue <= 255 || maxValue >= 65535)
        return;
    for (int bits = 9; bits < 16; ++bits)
        if (maxValue == (1 << bits) - 1) {
            image.significantBits = bits;
            image.bitsSource = QStringLiteral("file: PNM maxval %1").arg(maxValue);
            return;
        }
    image.declaredMaximum = maxValue;
    image.bitsSource = QStringLiteral("file: PNM maxval %1").arg(maxValue);
}

} // namespace

LoadedImage LoadImageFile(const QString& path, int page, int64_t maxPixels)
{
    LoadedImage loaded;
    loaded.error = FileProblem(path);
    if (!loaded.ok())
        return loaded;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        loaded.error = QStringLiteral("cannot read: %1").arg(file.errorString());
        return loaded;
    }
    const QByteArray start = file.peek(64);
    if (tiffreader::IsTiff(start)) {
        file.close();
        loaded = tiffreader::Read(path, page, maxPixels);
    } else {
        if (page > 1) {
            loaded.error = QStringLiteral("no page %1: the file has one picture").arg(page);
            return loaded;
        }
        const QString floating = FloatingPointFormat(start);
        if (!floating.isEmpty()) {
            loaded.error = QStringLiteral("unsupported pixel type: %1 images are floating point "
                                          "(only 8- to 16-bit unsigned images are counted)")
                               .arg(floating);
            return loaded;
        }
        // A header may claim any size; refuse what cannot be counted here
        // before a decoder takes memory for it. A format whose header is not
        // read here is not handed to a decoder at all.
        ImageHeader header;
        if (!ReadImageHeader(path, header)) {
            loaded.error = KnownSignature(start)
                               ? QStringLiteral("corrupt or truncated image (the header is "
                                                "incomplete)")
                               : QStringLiteral("not an image in a supported format");
            return loaded;
        }
        const QString problem = ImageSizeProblem(header, AvailableMemory(), maxPixels);
        if (!problem.isEmpty()) {
            loaded.error = problem;
            return loaded;
        }
        const QByteArray bytes = file.readAll();
        if (file.error() != QFile::NoError) {
            loaded.error = QStringLiteral("cannot read: %1").arg(file.errorString());
            return loaded;
        }
        if (start.startsWith("\x89PNG"))
            loaded = decoders::ReadPng(bytes);
        else if (start.startsWith("\xff\xd8"))
            loaded = decoders::ReadJpeg(bytes);
        else
            loaded = decoders::ReadWithOpenCv(bytes);
        if (loaded.ok() && start.startsWith("P"))
            DeclarePnmRange(header.maxValue, loaded);
    }
    if (!loaded.ok()) {
        loaded.image.release();
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

void Calibrate(const CountSettings& settings, const PixelSize& size, ImageSource& source)
{
    source.scale = settings.scale;
    source.unit = settings.unit;
    source.scaleY = 0;
    source.calibrationSource.clear();
    if (!settings.input.fileCalibration) {
        source.calibrationSource = QStringLiteral("option");
        if (size.valid())
            source.notes << QStringLiteral("the file declares %1 × %2 µm pixels (%3); the "
                                           "option's %4 %5/px is used")
                                .arg(size.x)
                                .arg(size.y)
                                .arg(size.source)
                                .arg(settings.scale)
                                .arg(settings.unit);
        return;
    }
    if (!size.valid())
        return;
    // The unit asked for, or micrometres when none was.
    QString unit = settings.unit;
    if (unit == QLatin1String("px"))
        unit = QStringLiteral("µm");
    const double per = countsettings::MicrometresPer(unit);
    if (per <= 0) {
        source.notes << QStringLiteral("the file's pixel size (%1 µm, %2) is not used: %3 is not a "
                                       "length unit")
                            .arg(size.x)
                            .arg(size.source, unit);
        return;
    }
    source.scale = size.x / per;
    source.unit = unit;
    source.calibrationSource = size.source;
    if (std::abs(size.x - size.y) > 1e-9 * std::max(size.x, size.y)) {
        source.scaleY = size.y / per;
        source.notes << QStringLiteral("pixels are not square: %1 × %2 %3; lengths and areas use "
                                       "the width %1 %3")
                            .arg(source.scale)
                            .arg(source.scaleY)
                            .arg(unit);
    }
}

InputImage ReadImage(const QString& path, const InputSettings& options)
{
    InputImage input;
    QString file;
    int named = 0;
    SplitPage(path, file, named);
    const int page = named > 0 ? named : (options.page > 0 ? options.page : 1);
    LoadedImage loaded = LoadImageFile(file, page, options.maxPixels);
    if (!loaded.ok()) {
        input.error = loaded.error;
        return input;
    }
    ImageSource& source = input.source;
    source.page = loaded.page;
    source.pages = loaded.pages;
    source.plane = loaded.plane;
    source.storedBits = loaded.storedBits;
    source.channels = loaded.image.channels();
    source.notes = loaded.notes;
    if (loaded.pages > 1 && named == 0 && options.page == 0)
        source.notes.prepend(QStringLiteral("the file has %1 pages; page 1 was counted (--page N "
                                            "or --page all for the others)")
                                 .arg(loaded.pages));

    bitdepth::Request request;
    request.bits = options.bits;
    request.range = options.range;
    const bitdepth::Mapping mapping = bitdepth::Choose(
        loaded.image, request, loaded.significantBits, loaded.declaredMaximum, loaded.bitsSource);
    source.converted = mapping.applied;
    source.low = mapping.low;
    source.high = mapping.high;
    source.rangeSource = mapping.source;

    input.decoded = loaded.image.size();
    input.decodedDepth = loaded.image.depth() == CV_16U ? 16 : 8;
    input.decodedChannels = source.channels;
    input.pixelSize = loaded.pixelSize;
    input.image = PixelFormatAdapter::ToModuleFormat(bitdepth::ToEightBit(loaded.image, mapping));
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

#include "tiffreader.h"

#include "tiffmetadata.h"

#include <QFile>
#include <QXmlStreamReader>

#include <opencv2/imgproc.hpp>

#include <tiffio.h>

#include <algorithm>
#include <cstring>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <vector>

namespace tiffreader {

using namespace tiffmetadata;

namespace {

// libtiff's messages for one open file. The handlers are given to this file's
// TIFF handle only (TIFFOpenExt), so files read on other threads keep theirs.
struct Messages
{
    QStringList errors;
    QStringList warnings;
};

QString Format(const char* module, const char* format, va_list args)
{
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    QString message = QString::fromLocal8Bit(text).simplified();
    if (module && *module)
        message = QString::fromLocal8Bit(module) + QStringLiteral(": ") + message;
    return message;
}

int OnError(TIFF*, void* user, const char* module, const char* format, va_list args)
{
    static_cast<Messages*>(user)->errors << Format(module, format, args);
    return 1; // handled: the library-wide handler (stderr) is not called
}

int OnWarning(TIFF*, void* user, const char* module, const char* format, va_list args)
{
    static_cast<Messages*>(user)->warnings << Format(module, format, args);
    return 1;
}

struct Closer
{
    void operator()(TIFF* tif) const { TIFFClose(tif); }
};
using Handle = std::unique_ptr<TIFF, Closer>;

Handle Open(const QString& path, Messages& messages)
{
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetErrorHandlerExtR(options, OnError, &messages);
    TIFFOpenOptionsSetWarningHandlerExtR(options, OnWarning, &messages);
    // "m": read with read(2), never mapped, so a file cut short cannot fault.
    Handle tif(TIFFOpenExt(QFile::encodeName(path).constData(), "rm", options));
    TIFFOpenOptionsFree(options);
    return tif;
}

/// "reason (libtiff: first message; second message)" on one line.
QString WithMessages(const QString& reason, const Messages& m)
{
    QStringList all = m.errors;
    all << m.warnings;
    all.removeDuplicates();
    if (all.isEmpty())
        return reason;
    while (all.size() > 3)
        all.removeLast();
    return QStringLiteral("%1 (libtiff: %2)").arg(reason, all.join(QStringLiteral("; ")));
}

struct Layout
{
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t samples = 1;
    uint16_t bits = 1;
    uint16_t format = SAMPLEFORMAT_UINT;
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    uint16_t planar = PLANARCONFIG_CONTIG;
    uint16_t compression = COMPRESSION_NONE;
};

Layout ReadLayout(TIFF* tif)
{
    Layout l;
    TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &l.width);
    TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &l.height);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &l.samples);
    TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &l.bits);
    TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &l.format);
    if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &l.photometric))
        l.photometric = l.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &l.planar);
    TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &l.compression);
    return l;
}

/// Planes delivered for a layout: grey 1, colour 3 (an alpha plane is
/// dropped, as the module counts without it).
int OutputChannels(const Layout& l)
{
    if (l.photometric == PHOTOMETRIC_RGB || l.photometric == PHOTOMETRIC_PALETTE ||
        l.photometric == PHOTOMETRIC_YCBCR)
        return 3;
    return 1;
}

/// Why a layout cannot be decoded here; empty when it can.
QString LayoutProblem(const Layout& l)
{
    if (l.format != SAMPLEFORMAT_UINT)
        return l.format == SAMPLEFORMAT_IEEEFP
                   ? QStringLiteral("unsupported pixel type: floating-point samples (only 8- to "
                                    "16-bit unsigned images are counted)")
                   : QStringLiteral("unsupported pixel type: signed samples (only 8- to 16-bit "
                                    "unsigned images are counted)");
    if (l.bits < 1 || l.bits > 16)
        return QStringLiteral("unsupported pixel type: %1-bit samples (only up to 16 bits are "
                              "counted)")
            .arg(l.bits);
    switch (l.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
        return QString();
    case PHOTOMETRIC_RGB:
        return l.samples >= 3 ? QString() : QStringLiteral("RGB with fewer than three samples");
    case PHOTOMETRIC_PALETTE:
        return l.samples == 1 && l.bits <= 16 ? QString() : QStringLiteral("unsupported palette");
    case PHOTOMETRIC_YCBCR:
        if (l.compression == COMPRESSION_JPEG && l.bits == 8)
            return QString();
        return QStringLiteral("unsupported colour space: YCbCr without JPEG compression");
    default:
        return QStringLiteral("unsupported colour space (photometric interpretation %1)")
            .arg(l.photometric);
    }
}

/// Unpacks @p count samples of @p bits bits (most significant bit first, as
/// TIFF packs them) from @p src.
void Unpack(const uint8_t* src, int bits, size_t count, uint16_t* dst)
{
    if (bits == 8) {
        for (size_t i = 0; i < count; ++i)
            dst[i] = src[i];
        return;
    }
    if (bits == 16) {
        // libtiff has already put the samples into this machine's byte order.
        std::memcpy(dst, src, count * 2);
        return;
    }
    uint64_t bitPos = 0;
    for (size_t i = 0; i < count; ++i) {
        uint32_t v = 0;
        for (int b = 0; b < bits; ++b, ++bitPos)
            v = (v << 1) | ((src[bitPos >> 3] >> (7 - (bitPos & 7))) & 1u);
        dst[i] = uint16_t(v);
    }
}

} // namespace

bool IsTiff(const QByteArray& start)
{
    return start.startsWith(QByteArray("II*\0", 4)) || start.startsWith(QByteArray("MM\0*", 4)) ||
           start.startsWith(QByteArray("II+\0", 4)) || start.startsWith(QByteArray("MM\0+", 4));
}

int PageCount(const QString& path, QString* error)
{
    Messages messages;
    Handle tif = Open(path, messages);
    if (!tif) {
        if (error)
            *error = WithMessages(QStringLiteral("not a readable TIFF"), messages);
        return 0;
    }
    return int(TIFFNumberOfDirectories(tif.get()));
}

bool ReadHeader(const QString& path, int page, ImageHeader& header, QString* error)
{
    Messages messages;
    Handle tif = Open(path, messages);
    if (!tif || (page > 1 && !TIFFSetDirectory(tif.get(), tdir_t(page - 1)))) {
        if (error)
            *error = WithMessages(tif ? QStringLiteral("no page %1").arg(page)
                                      : QStringLiteral("not a readable TIFF"),
                                  messages);
        return false;
    }
    const Layout l = ReadLayout(tif.get());
    header.width = l.width;
    header.height = l.height;
    header.channels = OutputChannels(l);
    header.bytesPerSample = l.bits > 8 ? 2 : 1;
    return true;
}

DecodedImage Read(const QString& path, int page, int64_t maxPixels)
{
    DecodedImage out;
    Messages messages;
    Handle tif = Open(path, messages);
    if (!tif) {
        out.error = WithMessages(QStringLiteral("corrupt or unreadable TIFF"), messages);
        return out;
    }
    TIFF* t = tif.get();
    const QString firstDescription = Description(t);
    out.pages = int(TIFFNumberOfDirectories(t));
    out.page = page < 1 ? 1 : page;
    if (out.page > out.pages) {
        out.error = QStringLiteral("no page %1: the file has %2").arg(out.page).arg(out.pages);
        return out;
    }
    if (out.page > 1 && !TIFFSetDirectory(t, tdir_t(out.page - 1))) {
        out.error = WithMessages(QStringLiteral("page %1 cannot be read").arg(out.page), messages);
        return out;
    }
    Layout l = ReadLayout(t);
    const QString problem = LayoutProblem(l);
    if (!problem.isEmpty()) {
        out.error = problem;
        return out;
    }
    ImageHeader header;
    header.width = l.width;
    header.height = l.height;
    header.channels = OutputChannels(l);
    // Every page is decoded through 16-bit samples, whatever its depth.
    header.bytesPerSample = 2;
    if (l.width == 0 || l.height == 0) {
        out.error = WithMessages(QStringLiteral("corrupt TIFF: no image size"), messages);
        return out;
    }
    const QString sizeProblem = ImageSizeProblem(header, AvailableMemory(), maxPixels);
    if (!sizeProblem.isEmpty()) {
        out.error = sizeProblem;
        return out;
    }
    if (l.photometric == PHOTOMETRIC_YCBCR) {
        // libtiff's JPEG codec converts to RGB itself.
        TIFFSetField(t, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        l.photometric = PHOTOMETRIC_RGB;
    }

    const bool tiled = TIFFIsTiled(t);
    const bool separate = l.planar == PLANARCONFIG_SEPARATE && l.samples > 1;
    const int planes = separate ? l.samples : 1;
    const int chunkSamples = separate ? 1 : l.samples;
    uint32_t chunkWidth = l.width, chunkHeight = l.height;
    tmsize_t chunkBytes = 0, rowBytes = 0;
    if (tiled) {
        TIFFGetField(t, TIFFTAG_TILEWIDTH, &chunkWidth);
        TIFFGetField(t, TIFFTAG_TILELENGTH, &chunkHeight);
        chunkBytes = TIFFTileSize(t);
        rowBytes = TIFFTileRowSize(t);
    } else {
        uint32_t rows = l.height;
        TIFFGetFieldDefaulted(t, TIFFTAG_ROWSPERSTRIP, &rows);
        chunkHeight = std::min(rows, l.height);
        chunkBytes = TIFFStripSize(t);
        rowBytes = TIFFScanlineSize(t);
    }
    // A strip or tile is decoded whole: one far larger than the image it is
    // part of is a header's lie, refused before its buffer is taken.
    const uint64_t imageBytes = uint64_t(l.width) * l.height * l.samples * ((l.bits + 7) / 8);
    if (chunkBytes > 0 && uint64_t(chunkBytes) > std::max<uint64_t>(imageBytes * 2, 64u << 20)) {
        out.error = QStringLiteral("corrupt TIFF: a %1 of %2 MB for an image of %3 MB")
                        .arg(tiled ? QStringLiteral("tile") : QStringLiteral("strip"))
                        .arg(uint64_t(chunkBytes) >> 20)
                        .arg(imageBytes >> 20);
        return out;
    }
    if (chunkWidth == 0 || chunkHeight == 0 || chunkBytes <= 0 || rowBytes <= 0 ||
        uint64_t(rowBytes) * 8 < uint64_t(chunkWidth) * chunkSamples * l.bits) {
        out.error =
            WithMessages(QStringLiteral("corrupt TIFF: bad strip or tile layout"), messages);
        return out;
    }

    // The samples as stored, widened to 16 bits, all planes of a pixel together.
    const int kept = std::min<int>(l.samples, l.photometric == PHOTOMETRIC_RGB ? 3 : 1);
    cv::Mat samples(int(l.height), int(l.width), CV_16UC(kept));
    std::vector<uint8_t> chunk(static_cast<size_t>(chunkBytes));
    std::vector<uint16_t> row(size_t(chunkWidth) * chunkSamples);
    for (int plane = 0; plane < planes; ++plane) {
        if (plane >= kept)
            break;
        for (uint32_t y0 = 0; y0 < l.height; y0 += chunkHeight) {
            for (uint32_t x0 = 0; x0 < l.width; x0 += chunkWidth) {
                const tmsize_t got =
                    tiled ? TIFFReadEncodedTile(t, TIFFComputeTile(t, x0, y0, 0, tsample_t(plane)),
                                                chunk.data(), chunkBytes)
                          : TIFFReadEncodedStrip(t, TIFFComputeStrip(t, y0, tsample_t(plane)),
                                                 chunk.data(), chunkBytes);
                const uint32_t rows = std::min(chunkHeight, l.height - y0);
                if (got < tmsize_t(rows) * rowBytes) {
                    out.error = WithMessages(
                        QStringLiteral("corrupt or truncated TIFF: %1 %2 cannot be read")
                            .arg(tiled ? QStringLiteral("tile at") : QStringLiteral("strip at row"))
                            .arg(tiled ? QStringLiteral("%1,%2").arg(x0).arg(y0)
                                       : QString::number(y0)),
                        messages);
                    return out;
                }
                const uint32_t cols = std::min(chunkWidth, l.width - x0);
                for (uint32_t r = 0; r < rows; ++r) {
                    Unpack(chunk.data() + size_t(r) * size_t(rowBytes), l.bits, row.size(),
                           row.data());
                    uint16_t* dst = samples.ptr<uint16_t>(int(y0 + r)) + size_t(x0) * kept;
                    for (uint32_t x = 0; x < cols; ++x) {
                        if (separate)
                            dst[size_t(x) * kept + plane] = row[x];
                        else
                            for (int s = 0; s < kept; ++s)
                                dst[size_t(x) * kept + s] = row[size_t(x) * chunkSamples + s];
                    }
                }
            }
        }
    }

    const int maxValue = (1 << l.bits) - 1;
    if (l.photometric == PHOTOMETRIC_MINISWHITE)
        samples = cv::Scalar::all(maxValue) - samples;
    cv::Mat result;
    if (l.photometric == PHOTOMETRIC_PALETTE) {
        uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
        if (!TIFFGetField(t, TIFFTAG_COLORMAP, &red, &green, &blue)) {
            out.error = WithMessages(QStringLiteral("corrupt TIFF: palette image without a "
                                                    "colour map"),
                                     messages);
            return out;
        }
        result.create(samples.size(), CV_8UC3);
        for (int y = 0; y < samples.rows; ++y)
            for (int x = 0; x < samples.cols; ++x) {
                const uint16_t i = samples.at<uint16_t>(y, x);
                result.at<cv::Vec3b>(y, x) =
                    cv::Vec3b(uint8_t(blue[i] >> 8), uint8_t(green[i] >> 8), uint8_t(red[i] >> 8));
            }
        out.storedBits = 8;
    } else if (l.bits <= 8) {
        // Fewer than 8 bits are widened to the full 8-bit range.
        samples.convertTo(result, CV_8U, 255.0 / maxValue);
        out.storedBits = 8;
    } else {
        result = samples;
        out.storedBits = l.bits;
        if (l.bits < 16) {
            out.significantBits = l.bits;
            out.bitsSource = QStringLiteral("file: BitsPerSample %1").arg(l.bits);
        }
    }
    if (result.channels() == 3 && l.photometric != PHOTOMETRIC_PALETTE)
        cv::cvtColor(result, result, cv::COLOR_RGB2BGR);

    // What the file says about the picture: OME-XML first, then the tags.
    if (firstDescription.contains(QLatin1String("<OME"))) {
        const OmePixels ome = ParseOme(firstDescription.toUtf8());
        if (ome.found) {
            out.plane = OmePlane(ome, out.page - 1);
            if (ome.size.valid())
                out.pixelSize = ome.size;
            if (!ome.unitProblem.isEmpty())
                out.notes << ome.unitProblem;
            if (ome.significantBits > 0 && ome.significantBits < out.storedBits &&
                out.storedBits > 8) {
                out.significantBits = ome.significantBits;
                out.bitsSource =
                    QStringLiteral("file: OME SignificantBits %1").arg(ome.significantBits);
            }
        }
    }
    if (!out.pixelSize.valid())
        out.pixelSize = ResolutionSize(t, Description(t));
    for (const QString& warning : messages.warnings)
        out.notes << QStringLiteral("libtiff: %1").arg(warning);
    out.image = result;
    return out;
}

} // namespace tiffreader

#include "autocount/scenepicture.h"

#include <QBuffer>
#include <QGraphicsScene>
#include <QPainter>

#include <cstring>

namespace {

constexpr int kPngSignatureSize = 8;
/// Length, type and CRC around a chunk's data.
constexpr int kPngChunkOverhead = 12;

quint32 ReadBigEndian32(const char* bytes)
{
    const auto* b = reinterpret_cast<const unsigned char*>(bytes);
    return (quint32(b[0]) << 24) | (quint32(b[1]) << 16) | (quint32(b[2]) << 8) | quint32(b[3]);
}

/// Drops the pHYs chunk. Qt always records the image's resolution, which for
/// screen images is 3780 dots per metre (96.012 dpi); spreadsheet writers scale
/// a picture by 96 dpi over its resolution, so the picture would come out a
/// fraction of a pixel smaller than the image. Without the chunk the picture
/// keeps its pixel size exactly.
QByteArray WithoutPhysicalResolution(const QByteArray& png)
{
    if (png.size() < kPngSignatureSize)
        return png;
    QByteArray out = png.left(kPngSignatureSize);
    int offset = kPngSignatureSize;
    while (offset + kPngChunkOverhead <= png.size()) {
        const quint32 length = ReadBigEndian32(png.constData() + offset);
        if (length > quint32(png.size() - offset - kPngChunkOverhead))
            return png; // not a chunk sequence we understand: leave it alone
        const int chunkSize = int(length) + kPngChunkOverhead;
        if (std::memcmp(png.constData() + offset + 4, "pHYs", 4) != 0)
            out.append(png.constData() + offset, chunkSize);
        offset += chunkSize;
    }
    return offset == png.size() ? out : png;
}

} // namespace

QImage RenderScenePicture(QGraphicsScene& scene)
{
    const QRectF rect = scene.sceneRect();
    QImage image(static_cast<int>(rect.width()), static_cast<int>(rect.height()),
                 QImage::Format_RGB888);
    if (image.isNull())
        return image;
    // Pixels that no item paints have no defined colour. They are set to black,
    // what a freshly allocated image of this size shows anyway, so that the
    // PNG encoder never reads uninitialised memory and a report is the same
    // every time it is written.
    image.fill(Qt::black);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    scene.render(&painter, QRectF(), QRectF(), Qt::KeepAspectRatio);
    painter.end();
    return image;
}

QByteArray EncodePicturePng(const QImage& image)
{
    if (image.isNull())
        return QByteArray();
    QByteArray png;
    QBuffer buffer(&png);
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, "PNG"))
        return QByteArray();
    buffer.close();
    return WithoutPhysicalResolution(png);
}

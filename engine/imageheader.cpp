#include "imageheader.h"

#include <QFile>

#include <unistd.h>

namespace {

// Per-pixel working memory of a counting run beside the decoded picture: the
// 8-bit colour copy, grey and binary images, masks and the cut's maps.
constexpr int64_t kWorkingBytesPerPixel = 24;
// The image library refuses to decode more pixels than this.
constexpr int64_t kDecoderPixelLimit = int64_t(1) << 30;

uint32_t BigEndian(const QByteArray& b, int at, int size)
{
    uint32_t v = 0;
    for (int i = 0; i < size; ++i)
        v = (v << 8) | uint8_t(b[at + i]);
    return v;
}

uint32_t LittleEndian(const QByteArray& b, int at, int size)
{
    uint32_t v = 0;
    for (int i = size - 1; i >= 0; --i)
        v = (v << 8) | uint8_t(b[at + i]);
    return v;
}

bool ReadPng(const QByteArray& b, ImageHeader& h)
{
    if (b.size() < 26 || !b.startsWith("\x89PNG\r\n\x1a\n") || b.mid(12, 4) != "IHDR")
        return false;
    h.width = BigEndian(b, 16, 4);
    h.height = BigEndian(b, 20, 4);
    h.bytesPerSample = uint8_t(b[24]) == 16 ? 2 : 1;
    switch (uint8_t(b[25])) {
    case 0:
        h.channels = 1;
        break;
    case 4:
        h.channels = 2;
        break;
    case 6:
        h.channels = 4;
        break;
    default:
        h.channels = 3;
        break; // colour and palette images decode to three planes
    }
    return true;
}

bool ReadBmp(const QByteArray& b, ImageHeader& h)
{
    if (b.size() < 30 || !b.startsWith("BM"))
        return false;
    h.width = int32_t(LittleEndian(b, 18, 4));
    h.height = int32_t(LittleEndian(b, 22, 4));
    if (h.height < 0)
        h.height = -h.height; // top-down rows
    h.channels = LittleEndian(b, 28, 2) == 32 ? 4 : 3;
    return true;
}

bool ReadJpeg(QFile& file, ImageHeader& h)
{
    QByteArray b = file.read(2);
    if (b != QByteArray("\xff\xd8", 2))
        return false;
    // Walk the marker segments up to the first start-of-frame.
    for (;;) {
        b = file.read(4);
        if (b.size() < 4 || uint8_t(b[0]) != 0xff)
            return false;
        const int marker = uint8_t(b[1]);
        const int length = int(BigEndian(b, 2, 2));
        const bool frame =
            marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (frame) {
            b = file.read(6);
            if (b.size() < 6)
                return false;
            h.height = BigEndian(b, 1, 2);
            h.width = BigEndian(b, 3, 2);
            h.channels = uint8_t(b[5]) == 1 ? 1 : 3;
            return true;
        }
        if (length < 2 || !file.seek(file.pos() + length - 2))
            return false;
    }
}

bool ReadTiff(QFile& file, ImageHeader& h)
{
    const QByteArray head = file.read(8);
    if (head.size() < 8)
        return false;
    bool little;
    if (head.startsWith(QByteArray("II*\0", 4)))
        little = true;
    else if (head.startsWith(QByteArray("MM\0*", 4)))
        little = false;
    else
        return false;
    auto number = [little](const QByteArray& b, int at, int size) {
        return little ? LittleEndian(b, at, size) : BigEndian(b, at, size);
    };
    if (!file.seek(number(head, 4, 4)))
        return false;
    const QByteArray count = file.read(2);
    if (count.size() < 2)
        return false;
    const int entries = int(number(count, 0, 2));
    const QByteArray ifd = file.read(int64_t(entries) * 12);
    if (ifd.size() < entries * 12)
        return false;
    h.channels = 1;
    for (int i = 0; i < entries; ++i) {
        const int at = i * 12;
        const uint32_t tag = number(ifd, at, 2);
        const uint32_t type = number(ifd, at + 2, 2);
        const uint32_t value = type == 3 ? number(ifd, at + 8, 2) : number(ifd, at + 8, 4);
        if (tag == 256)
            h.width = value;
        else if (tag == 257)
            h.height = value;
        else if (tag == 258)
            h.bytesPerSample = value > 8 ? 2 : 1;
        else if (tag == 277)
            h.channels = int(value);
    }
    return h.width > 0 && h.height > 0;
}

} // namespace

bool ReadImageHeader(const QString& path, ImageHeader& header)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    ImageHeader h;
    const QByteArray start = file.peek(32);
    bool found = false;
    if (start.startsWith("\x89PNG"))
        found = ReadPng(start, h);
    else if (start.startsWith("BM"))
        found = ReadBmp(start, h);
    else if (start.startsWith("\xff\xd8"))
        found = ReadJpeg(file, h);
    else if (start.startsWith("II") || start.startsWith("MM"))
        found = ReadTiff(file, h);
    if (found)
        header = h;
    return found;
}

int64_t AvailableMemory()
{
    QFile meminfo(QStringLiteral("/proc/meminfo"));
    if (meminfo.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : meminfo.readAll().split('\n')) {
            if (line.startsWith("MemAvailable:")) {
                const QList<QByteArray> fields = line.simplified().split(' ');
                if (fields.size() >= 2)
                    return fields[1].toLongLong() * 1024;
            }
        }
    }
    return int64_t(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
}

QString ImageSizeProblem(const ImageHeader& header, int64_t available)
{
    // A header that claims no pixels is left to the decoder to refuse.
    if (header.width <= 0 || header.height <= 0)
        return QString();
    const QString size = QStringLiteral("%1 × %2 pixels").arg(header.width).arg(header.height);
    // Both sides may be near 2^32; compare before multiplying.
    if (header.width > kDecoderPixelLimit / header.height)
        return QStringLiteral("image too large to decode: %1 (at most %2 pixels)")
            .arg(size)
            .arg(kDecoderPixelLimit);
    const int64_t pixels = header.width * header.height;
    const int64_t decoded = pixels * header.channels * header.bytesPerSample;
    const int64_t needed = decoded + pixels * kWorkingBytesPerPixel;
    if (needed > available)
        return QStringLiteral("image too large for the memory available: %1 would need about "
                              "%2 MB, %3 MB are free")
            .arg(size)
            .arg(needed >> 20)
            .arg(available >> 20);
    return QString();
}

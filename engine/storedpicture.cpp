#include "storedpicture.h"

#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace storedpicture {
namespace {

constexpr char kPngSignature[] = "\x89PNG\r\n\x1a\n";
constexpr int kSignatureSize = 8;

constexpr uint32_t kLocalHeader = 0x04034b50;
constexpr uint32_t kCentralHeader = 0x02014b50;
constexpr uint32_t kEndOfDirectory = 0x06054b50;
constexpr int kLocalHeaderSize = 30;
constexpr int kCentralHeaderSize = 46;
constexpr int kEndSize = 22;
constexpr uint16_t kDataDescriptorFlag = 0x0008;
constexpr uint16_t kStored = 0;

uint16_t Get16(const QByteArray& data, int at)
{
    const auto* p = reinterpret_cast<const unsigned char*>(data.constData() + at);
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

uint32_t Get32(const QByteArray& data, int at)
{
    const auto* p = reinterpret_cast<const unsigned char*>(data.constData() + at);
    return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
           static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

/// A PNG chunk's length: big-endian, unlike the zip fields.
uint32_t Big32(const QByteArray& data, int at)
{
    const auto* p = reinterpret_cast<const unsigned char*>(data.constData() + at);
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
           static_cast<uint32_t>(p[2]) << 8 | static_cast<uint32_t>(p[3]);
}

void Put16(QByteArray& out, uint32_t value)
{
    out.append(static_cast<char>(value & 0xff));
    out.append(static_cast<char>(value >> 8 & 0xff));
}

void Put32(QByteArray& out, uint32_t value)
{
    Put16(out, value & 0xffff);
    Put16(out, value >> 16);
}

uint32_t Crc(const QByteArray& data)
{
    return static_cast<uint32_t>(crc32(crc32(0, nullptr, 0),
                                       reinterpret_cast<const Bytef*>(data.constData()),
                                       static_cast<uInt>(data.size())));
}

QByteArray Fail(QString* error, const QString& why)
{
    if (error)
        *error = why;
    return {};
}

/// One part of the container, as its central directory entry describes it.
struct Part
{
    int central = 0; ///< offset of the directory entry
    int centralSize = 0;
    uint16_t flags = 0;
    uint16_t method = 0;
    uint32_t crc = 0;
    uint32_t packedSize = 0;
    uint32_t size = 0;
    QByteArray name;
    int data = 0; ///< offset of the packed bytes
};

} // namespace

QByteArray StandIn(const QByteArray& png)
{
    if (!png.startsWith(QByteArray(kPngSignature, kSignatureSize)))
        return {};
    QByteArray standIn = png.left(kSignatureSize);
    int at = kSignatureSize;
    while (at + 12 <= png.size()) {
        const uint32_t length = Big32(png, at);
        if (length > static_cast<uint32_t>(png.size() - at - 12))
            return {};
        if (png.mid(at + 4, 4) != "IDAT")
            standIn.append(png.constData() + at, static_cast<int>(length) + 12);
        at += static_cast<int>(length) + 12;
    }
    return at == png.size() ? standIn : QByteArray();
}

QByteArray Replace(const QByteArray& zip, const QByteArray& standIn, const QByteArray& png,
                   QString* error)
{
    // The end record, found from the back (a comment may follow it).
    int end = zip.size() - kEndSize;
    while (end >= 0 && Get32(zip, end) != kEndOfDirectory)
        --end;
    if (end < 0)
        return Fail(error, QStringLiteral("the workbook has no zip directory"));
    const uint16_t entries = Get16(zip, end + 10);
    const uint32_t directorySize = Get32(zip, end + 12);
    const uint32_t directoryOffset = Get32(zip, end + 16);
    if (Get16(zip, end + 4) != 0 || Get16(zip, end + 6) != 0 || Get16(zip, end + 8) != entries ||
        entries == 0xffff || directoryOffset == 0xffffffff ||
        static_cast<qint64>(directoryOffset) + directorySize > end)
        return Fail(error, QStringLiteral("the workbook's zip directory is not a plain one"));

    // Every part, and which one holds the stand-in.
    const uint32_t standInCrc = Crc(standIn);
    std::vector<Part> parts;
    int picture = -1;
    int at = directoryOffset;
    for (int i = 0; i < entries; ++i) {
        if (at + kCentralHeaderSize > end || Get32(zip, at) != kCentralHeader)
            return Fail(error, QStringLiteral("the workbook's zip directory is damaged"));
        Part part;
        part.central = at;
        part.flags = Get16(zip, at + 8);
        part.method = Get16(zip, at + 10);
        part.crc = Get32(zip, at + 16);
        part.packedSize = Get32(zip, at + 20);
        part.size = Get32(zip, at + 24);
        const uint16_t nameSize = Get16(zip, at + 28);
        part.centralSize =
            kCentralHeaderSize + nameSize + Get16(zip, at + 30) + Get16(zip, at + 32);
        part.name = zip.mid(at + kCentralHeaderSize, nameSize);
        const uint32_t local = Get32(zip, at + 42);
        if (part.packedSize == 0xffffffff || part.size == 0xffffffff || local == 0xffffffff ||
            local + static_cast<int>(kLocalHeaderSize) > directoryOffset ||
            Get32(zip, local) != kLocalHeader)
            return Fail(error, QStringLiteral("the workbook's zip parts are not plain ones"));
        part.data = local + kLocalHeaderSize + Get16(zip, local + 26) + Get16(zip, local + 28);
        if (part.data + part.packedSize > directoryOffset)
            return Fail(error, QStringLiteral("the workbook's zip parts are damaged"));
        if (part.crc == standInCrc && part.size == static_cast<uint32_t>(standIn.size()) &&
            part.name.startsWith("xl/media/")) {
            if (picture >= 0)
                return Fail(error, QStringLiteral("the workbook holds the picture twice"));
            picture = i;
        }
        parts.push_back(part);
        at += part.centralSize;
    }
    if (picture < 0)
        return Fail(error, QStringLiteral("the workbook holds no picture"));
    if (static_cast<qint64>(zip.size()) + png.size() > 0x7fffffffLL)
        return Fail(error, QStringLiteral("the picture is too large for a plain zip"));

    // The parts again, each with a local header made from its directory
    // entry (sizes in the header, no data descriptor), then the directory.
    const uint32_t pictureCrc = Crc(png);
    QByteArray out;
    out.reserve(zip.size() + png.size());
    std::vector<uint32_t> offsets;
    for (int i = 0; i < static_cast<int>(parts.size()); ++i) {
        Part& part = parts[static_cast<size_t>(i)];
        part.flags = static_cast<uint16_t>(part.flags & ~kDataDescriptorFlag);
        if (i == picture) {
            part.method = kStored;
            part.crc = pictureCrc;
            part.packedSize = part.size = static_cast<uint32_t>(png.size());
        }
        offsets.push_back(static_cast<uint32_t>(out.size()));
        Put32(out, kLocalHeader);
        out.append(zip.constData() + part.central + 6, 2); // version needed
        Put16(out, part.flags);
        Put16(out, part.method);
        out.append(zip.constData() + part.central + 12, 4); // time and date
        Put32(out, part.crc);
        Put32(out, part.packedSize);
        Put32(out, part.size);
        Put16(out, static_cast<uint32_t>(part.name.size()));
        Put16(out, 0);
        out.append(part.name);
        if (i == picture)
            out.append(png);
        else
            out.append(zip.constData() + part.data, part.packedSize);
    }
    const uint32_t newDirectory = static_cast<uint32_t>(out.size());
    for (size_t i = 0; i < parts.size(); ++i) {
        const Part& part = parts[i];
        QByteArray entry = zip.mid(part.central, part.centralSize);
        out.append(entry.left(8));
        Put16(out, part.flags);
        Put16(out, part.method);
        out.append(entry.mid(12, 4));
        Put32(out, part.crc);
        Put32(out, part.packedSize);
        Put32(out, part.size);
        out.append(entry.mid(28, 14));
        Put32(out, offsets[i]);
        out.append(entry.mid(kCentralHeaderSize));
    }
    const uint32_t newDirectorySize = static_cast<uint32_t>(out.size()) - newDirectory;
    out.append(zip.constData() + end, 12);
    Put32(out, newDirectorySize);
    Put32(out, newDirectory);
    out.append(zip.mid(end + 20));
    return out;
}

} // namespace storedpicture

#include "imageheader.h"

#include "tiffreader.h"

#include <QFile>

#include <sys/resource.h>

#include <algorithm>
#include <cctype>

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

bool ReadWebp(const QByteArray& b, ImageHeader& h)
{
    if (b.size() < 30 || !b.startsWith("RIFF") || b.mid(8, 4) != "WEBP")
        return false;
    const QByteArray chunk = b.mid(12, 4);
    if (chunk == "VP8X") {
        h.width = int64_t(LittleEndian(b, 24, 3)) + 1;
        h.height = int64_t(LittleEndian(b, 27, 3)) + 1;
        h.channels = (uint8_t(b[20]) & 0x10) ? 4 : 3;
    } else if (chunk == "VP8L") {
        if (uint8_t(b[20]) != 0x2f)
            return false;
        const uint32_t bits = LittleEndian(b, 21, 4);
        h.width = int64_t(bits & 0x3fff) + 1;
        h.height = int64_t((bits >> 14) & 0x3fff) + 1;
        h.channels = 4;
    } else if (chunk == "VP8 ") {
        if (uint8_t(b[23]) != 0x9d || uint8_t(b[24]) != 0x01 || uint8_t(b[25]) != 0x2a)
            return false;
        h.width = LittleEndian(b, 26, 2) & 0x3fff;
        h.height = LittleEndian(b, 28, 2) & 0x3fff;
        h.channels = 3;
    } else {
        return false;
    }
    return true;
}

bool ReadJpeg2000(QFile& file, ImageHeader& h)
{
    const QByteArray b = file.read(64 * 1024);
    int siz = -1;
    if (b.startsWith(QByteArray("\xff\x4f\xff\x51", 4))) {
        siz = 4;
    } else {
        // JP2: the image header box gives the size and the components.
        const int ihdr = b.indexOf("ihdr");
        if (ihdr < 0 || b.size() < ihdr + 4 + 11)
            return false;
        h.height = BigEndian(b, ihdr + 4, 4);
        h.width = BigEndian(b, ihdr + 8, 4);
        h.channels = std::max(1, int(BigEndian(b, ihdr + 12, 2)));
        h.bytesPerSample = (uint8_t(b[ihdr + 14]) & 0x7f) + 1 > 8 ? 2 : 1;
        return true;
    }
    if (b.size() < siz + 40)
        return false;
    h.width = int64_t(BigEndian(b, siz + 4, 4)) - BigEndian(b, siz + 12, 4);
    h.height = int64_t(BigEndian(b, siz + 8, 4)) - BigEndian(b, siz + 16, 4);
    h.channels = std::max(1, int(BigEndian(b, siz + 36, 2)));
    h.bytesPerSample = (uint8_t(b[siz + 38]) & 0x7f) + 1 > 8 ? 2 : 1;
    return true;
}

// PBM, PGM, PPM (P1-P6) and PAM (P7) headers.
bool ReadPnm(QFile& file, ImageHeader& h)
{
    const QByteArray b = file.read(4096);
    if (b.size() < 3 || b[0] != 'P' || b[1] < '1' || b[1] > '7')
        return false;
    const char kind = b[1];
    QList<QByteArray> tokens;
    if (kind == '7') {
        for (const QByteArray& line : b.split('\n')) {
            const QList<QByteArray> words = line.simplified().split(' ');
            if (words.value(0) == "ENDHDR")
                break;
            if (words.size() >= 2) {
                if (words[0] == "WIDTH")
                    h.width = words[1].toLongLong();
                else if (words[0] == "HEIGHT")
                    h.height = words[1].toLongLong();
                else if (words[0] == "DEPTH")
                    h.channels = words[1].toInt();
                else if (words[0] == "MAXVAL")
                    h.maxValue = words[1].toInt();
            }
        }
    } else {
        // Width, height and (except for bitmaps) the largest value; # starts
        // a comment up to the end of its line.
        int i = 2;
        const int wanted = (kind == '1' || kind == '4') ? 2 : 3;
        while (tokens.size() < wanted && i < b.size()) {
            const char c = b[i];
            if (c == '#') {
                while (i < b.size() && b[i] != '\n')
                    ++i;
            } else if (std::isspace(uchar(c))) {
                ++i;
            } else {
                const int start = i;
                while (i < b.size() && !std::isspace(uchar(b[i])) && b[i] != '#')
                    ++i;
                tokens << b.mid(start, i - start);
            }
        }
        if (tokens.size() < wanted)
            return false;
        bool okW = false, okH = false;
        h.width = tokens[0].toLongLong(&okW);
        h.height = tokens[1].toLongLong(&okH);
        if (!okW || !okH)
            return false;
        h.maxValue = wanted == 3 ? tokens[2].toInt() : 1;
        h.channels = (kind == '3' || kind == '6') ? 3 : 1;
    }
    h.bytesPerSample = h.maxValue > 255 ? 2 : 1;
    if (h.channels < 1)
        h.channels = 1;
    return h.width > 0 && h.height > 0;
}

bool ReadSunRaster(const QByteArray& b, ImageHeader& h)
{
    if (b.size() < 16 || !b.startsWith(QByteArray("\x59\xa6\x6a\x95", 4)))
        return false;
    h.width = BigEndian(b, 4, 4);
    h.height = BigEndian(b, 8, 4);
    h.channels = BigEndian(b, 12, 4) == 32 ? 4 : 3;
    return true;
}

} // namespace

bool ReadImageHeader(const QString& path, ImageHeader& header, int page)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    ImageHeader h;
    const QByteArray start = file.peek(64);
    bool found = false;
    if (start.startsWith("\x89PNG"))
        found = ReadPng(start, h);
    else if (start.startsWith("BM"))
        found = ReadBmp(start, h);
    else if (start.startsWith("\xff\xd8"))
        found = ReadJpeg(file, h);
    else if (tiffreader::IsTiff(start))
        found = tiffreader::ReadHeader(path, page, h);
    else if (start.startsWith("RIFF"))
        found = ReadWebp(start, h);
    else if (start.startsWith(QByteArray("\0\0\0\x0cjP  ", 8)) ||
             start.startsWith(QByteArray("\xff\x4f\xff\x51", 4)))
        found = ReadJpeg2000(file, h);
    else if (start.startsWith("P"))
        found = ReadPnm(file, h);
    else if (start.startsWith(QByteArray("\x59\xa6\x6a\x95", 4)))
        found = ReadSunRaster(start, h);
    if (found)
        header = h;
    return found;
}

namespace {

/// A number in a file of its own (cgroup and proc files); -1 for "max", a
/// missing file or anything else.
int64_t NumberIn(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    bool ok = false;
    const int64_t value = file.readAll().trimmed().toLongLong(&ok);
    return ok ? value : -1;
}

/// The kB value of a "Name:  N kB" line of /proc/self/status or /proc/meminfo.
int64_t KilobytesIn(const QByteArray& text, const char* name)
{
    for (const QByteArray& line : text.split('\n'))
        if (line.startsWith(name)) {
            const QList<QByteArray> fields = line.simplified().split(' ');
            if (fields.size() >= 2)
                return fields[1].toLongLong() * 1024;
        }
    return -1;
}

QByteArray ReadAll(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The least headroom (limit - usage) of this process's control group and
/// every group above it; -1 when none sets a limit. @p cgroupFile is
/// /proc/self/cgroup, @p mount where the hierarchies are mounted.
int64_t CgroupHeadroom(const QString& cgroupFile, const QString& mount)
{
    int64_t least = -1;
    auto consider = [&least](int64_t limit, int64_t usage) {
        // v1 reports "no limit" as a huge number.
        if (limit < 0 || limit >= (int64_t(1) << 60))
            return;
        const int64_t room = std::max<int64_t>(0, limit - std::max<int64_t>(0, usage));
        least = least < 0 ? room : std::min(least, room);
    };
    for (const QByteArray& line : ReadAll(cgroupFile).split('\n')) {
        const QList<QByteArray> parts = line.split(':');
        if (parts.size() < 3)
            continue;
        const bool v2 = parts[0] == "0" && parts[1].isEmpty();
        const bool v1 = parts[1].split(',').contains("memory");
        if (!v2 && !v1)
            continue;
        // v2 alone is mounted on the mount point itself, beside v1 under "unified".
        const QStringList roots = v2 ? QStringList{mount, mount + QStringLiteral("/unified")}
                                     : QStringList{mount + QStringLiteral("/memory")};
        for (const QString& root : roots) {
            // The group's own path, then each parent up to the root of the
            // mount (inside a container the path may not exist below it).
            QString group = QString::fromUtf8(parts.mid(2).join(':')).trimmed();
            for (;;) {
                const QString dir = root + (group == QLatin1String("/") ? QString() : group);
                if (v2)
                    consider(NumberIn(dir + "/memory.max"), NumberIn(dir + "/memory.current"));
                else
                    consider(NumberIn(dir + "/memory.limit_in_bytes"),
                             NumberIn(dir + "/memory.usage_in_bytes"));
                if (group.isEmpty() || group == QLatin1String("/"))
                    break;
                const int slash = group.lastIndexOf(QLatin1Char('/'));
                group = slash <= 0 ? QStringLiteral("/") : group.left(slash);
            }
        }
    }
    return least;
}

} // namespace

int64_t AvailableMemory()
{
    return AvailableMemory(MemorySources());
}

int64_t AvailableMemory(const MemorySources& from)
{
    int64_t available = KilobytesIn(ReadAll(from.meminfo), "MemAvailable:");
    if (available < 0)
        available = int64_t(sysconf(_SC_PHYS_PAGES)) * sysconf(_SC_PAGESIZE);
    const int64_t cgroup = CgroupHeadroom(from.cgroup, from.cgroupMount);
    if (cgroup >= 0)
        available = std::min(available, cgroup);
    // Address-space and data-segment limits count what the process holds already.
    const QByteArray status = ReadAll(from.status);
    const std::pair<int, const char*> limits[] = {{RLIMIT_AS, "VmSize:"}, {RLIMIT_DATA, "VmData:"}};
    for (const auto& [resource, field] : limits) {
        rlimit limit{};
        if (getrlimit(resource, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY)
            continue;
        const int64_t used = std::max<int64_t>(0, KilobytesIn(status, field));
        available = std::min(available, std::max<int64_t>(0, int64_t(limit.rlim_cur) - used));
    }
    return available;
}

QString ImageSizeProblem(const ImageHeader& header, int64_t available, int64_t maxPixels)
{
    // A header that claims no pixels is left to the decoder to refuse.
    if (header.width <= 0 || header.height <= 0)
        return QString();
    const QString size = QStringLiteral("%1 × %2 pixels").arg(header.width).arg(header.height);
    const int64_t limit = std::min(kDecoderPixelLimit, std::max<int64_t>(1, maxPixels));
    // Both sides may be near 2^32; compare before multiplying.
    if (header.width > limit / header.height)
        return QStringLiteral("image too large to decode: %1 (at most %2 pixels%3)")
            .arg(size)
            .arg(limit)
            .arg(limit < kDecoderPixelLimit ? QStringLiteral("; --max-pixels allows more")
                                            : QString());
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

#pragma once

// The size an image file claims in its header, read without decoding it, so
// that an image too large for this machine is refused before any pixel memory
// is taken.

#include <QString>

#include <cstdint>

struct ImageHeader
{
    int64_t width = 0;
    int64_t height = 0;
    int channels = 0;       ///< planes the decoder will deliver
    int bytesPerSample = 1; ///< 2 for 16-bit samples
    int maxValue = 0;       ///< PNM and PAM: the largest sample value the header declares
};

/// Pixels an image may have unless --max-pixels allows more: 400 megapixels.
constexpr int64_t kDefaultMaxPixels = 400000000;

/// Reads the width, height and sample layout from the header of a PNG, BMP,
/// JPEG, TIFF or BigTIFF (page @p page, 1-based), WebP, JPEG 2000, PNM/PAM or
/// Sun raster file, without decoding it. False when the format is none of
/// those or the header is cut short.
bool ReadImageHeader(const QString& path, ImageHeader& header, int page = 1);

/// Bytes of memory this process can take now: the least of the kernel's
/// estimate of available memory (/proc/meminfo), what the control group
/// leaves (cgroup v2 memory.max - memory.current, v1 memory.limit_in_bytes -
/// memory.usage_in_bytes), and what RLIMIT_AS and RLIMIT_DATA leave beside
/// the process's present size.
int64_t AvailableMemory();

/// Where AvailableMemory reads: the system's files by default.
struct MemorySources
{
    QString meminfo = QStringLiteral("/proc/meminfo");
    QString status = QStringLiteral("/proc/self/status");
    QString cgroup = QStringLiteral("/proc/self/cgroup");
    QString cgroupMount = QStringLiteral("/sys/fs/cgroup");
};
int64_t AvailableMemory(const MemorySources& from);

/**
 * @brief Why an image of @p header's size cannot be counted here, or an empty
 * string when it can.
 *
 * Refuses more than @p maxPixels pixels, more pixels than the image library
 * decodes (2^30), and sizes whose decoding and counting would need more than
 * @p available bytes: the decoded image plus about 24 bytes per pixel of
 * working images (grey, masks, binary image, distance maps).
 */
QString ImageSizeProblem(const ImageHeader& header, int64_t available,
                         int64_t maxPixels = kDefaultMaxPixels);

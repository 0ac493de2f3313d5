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
};

/// Reads the width, height and sample layout from a PNG, BMP, JPEG or TIFF
/// header. False when the format is not one of those or the header is cut
/// short; the decoder then has the last word.
bool ReadImageHeader(const QString& path, ImageHeader& header);

/// Bytes of memory the machine can give this process now (the kernel's
/// estimate of available memory; the physical memory where that is unknown).
int64_t AvailableMemory();

/**
 * @brief Why an image of @p header's size cannot be counted here, or an empty
 * string when it can.
 *
 * Refuses more pixels than the image library decodes (2^30) and sizes whose
 * decoding and counting would need more than @p available bytes: the decoded
 * image plus about 24 bytes per pixel of working images (grey, masks, binary
 * image, distance maps).
 */
QString ImageSizeProblem(const ImageHeader& header, int64_t available);

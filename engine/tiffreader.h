#pragma once

// TIFF files through libtiff: strips and tiles, 1- to 16-bit unsigned
// samples, grey, palette and RGB, classic and BigTIFF, every page, the pixel
// size from OME-XML or the resolution tags. libtiff's own messages never
// reach the terminal: each file's are collected and handed back with it.

#include "decodedimage.h"
#include "imageheader.h"

#include <QByteArray>
#include <QString>

namespace tiffreader {

/// True when @p start (the file's first bytes) is a TIFF or BigTIFF header.
bool IsTiff(const QByteArray& start);

/// Number of pages of the TIFF at @p path (0 when it cannot be read; then
/// @p error says why).
int PageCount(const QString& path, QString* error = nullptr);

/// The size of page @p page (1-based) as its directory declares it, read
/// without decoding any pixel. False with @p error when the file or the page
/// cannot be read.
bool ReadHeader(const QString& path, int page, ImageHeader& header, QString* error = nullptr);

/**
 * @brief Decodes page @p page (1-based) of the TIFF at @p path.
 *
 * The page's declared size is checked first (ImageSizeProblem with
 * @p maxPixels), so no pixel memory is taken for an image that cannot be
 * counted. Samples of fewer than 8 bits are widened to 8 bits; 9 to 16 bits
 * come back as 16-bit values with significantBits set when fewer than 16
 * are stored. Minimum-is-white grey is inverted, palettes are looked up, RGB
 * becomes BGR.
 */
DecodedImage Read(const QString& path, int page, int64_t maxPixels);

} // namespace tiffreader

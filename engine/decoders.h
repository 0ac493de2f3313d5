#pragma once

// Decoders for the formats other than TIFF, each of which keeps what its
// library has to say about a file instead of printing it: PNG through libpng
// and JPEG through libjpeg with error handlers of their own, the rest through
// OpenCV with its standard-error output collected per thread.

#include "decodedimage.h"

#include <QByteArray>

namespace decoders {

/// PNG as stored: 8- or 16-bit grey or BGR (palette expanded, fewer than 8
/// bits widened, alpha dropped); sBIT gives significantBits.
DecodedImage ReadPng(const QByteArray& bytes);

/// JPEG: 8-bit grey or BGR. Every warning of the library (a premature end of
/// the data, corrupt entropy data, extraneous bytes) makes the file corrupt.
DecodedImage ReadJpeg(const QByteArray& bytes);

/// Any other format OpenCV reads (BMP, WebP, JPEG 2000, PNM, Sun raster);
/// what OpenCV writes to standard error while decoding becomes part of the
/// error.
DecodedImage ReadWithOpenCv(const QByteArray& bytes);

} // namespace decoders

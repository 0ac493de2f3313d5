#pragma once

// The report's picture stored as it is. The workbook library deflates every
// part of the workbook, and a PNG, already compressed, costs as much to
// deflate again as to encode, for nothing. So the workbook is made around a
// stand-in picture with the same header (and so the same size on the sheet),
// and the stand-in's part of the zip container is then replaced by the real
// PNG, stored without compression. Every other part is copied byte for byte.

#include <QByteArray>
#include <QString>

namespace storedpicture {

/// A PNG with the chunks of @p png but no image data: the workbook library
/// reads only its header. Empty when @p png is not a PNG.
QByteArray StandIn(const QByteArray& png);

/**
 * @brief The zip container @p zip with the one part whose contents are
 * @p standIn replaced by @p png, stored.
 * @return the new container; empty, with the reason in @p error, when @p zip
 * is not a container this function can rewrite (ZIP64, several disks, no or
 * several such parts).
 */
QByteArray Replace(const QByteArray& zip, const QByteArray& standIn, const QByteArray& png,
                   QString* error);

} // namespace storedpicture

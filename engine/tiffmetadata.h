#pragma once

// What a TIFF says about its pixels besides their values: the pixel size
// from OME-XML or from the resolution tags (with ImageJ's unit in its
// description), and where a page sits among the channels, z slices and time
// points of an OME-TIFF.

#include "decodedimage.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <tiffio.h>

namespace tiffmetadata {

/// Micrometres in one @p unit ("µm", "nm", "mm", "in", ...); 1 for an empty
/// unit, 0 for anything that is not a length.
double UnitToMicrometres(QString unit);

/// What the OME-XML says of the pixels.
struct OmePixels
{
    bool found = false;
    PixelSize size;
    int significantBits = 0;
    int sizeC = 1, sizeZ = 1, sizeT = 1;
    QString order = QStringLiteral("XYZCT");
    struct TiffData
    {
        int ifd = 0, c = 0, z = 0, t = 0, planes = -1;
    };
    QList<TiffData> tiffData;
    QString unitProblem;
};

/// The Pixels element of OME-XML @p xml; found is false without one.
OmePixels ParseOme(const QByteArray& xml);

/// The channel, z and time index of IFD @p ifd (0-based), or empty when the
/// OME-XML does not place it.
QString OmePlane(const OmePixels& ome, int ifd);

/// The pixel size from the resolution tags of the current directory of
/// @p tif; empty (x and y 0) without usable tags.
PixelSize ResolutionSize(TIFF* tif, const QString& description);

/// The ImageDescription of the current directory, or empty.
QString Description(TIFF* tif);

} // namespace tiffmetadata

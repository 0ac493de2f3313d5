#pragma once

// What a decoder hands the image input: the pixels as stored, and what the
// file says about them (significant bits, pages, the size of a pixel).

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <cstdint>

/// The physical size of one pixel as the file declares it, in micrometres.
struct PixelSize
{
    double x = 0;
    double y = 0;
    QString source; ///< "file: OME-XML", "file: resolution tags"
    bool valid() const { return x > 0 && y > 0; }
};

struct DecodedImage
{
    cv::Mat image;           ///< 8- or 16-bit unsigned; 1, 3 or 4 planes (BGR, BGRA)
    int significantBits = 0; ///< bits the file declares as used, when fewer than stored
    int declaredMaximum = 0; ///< the largest value the file declares (PNM maxval), when not 2^n - 1
    QString bitsSource;      ///< where the declared range comes from, e.g. "file: BitsPerSample 12"
    int storedBits = 8;      ///< bits per sample as stored in the file (12 for packed 12-bit)
    int page = 1;            ///< 1-based page decoded
    int pages = 1;           ///< pages in the file
    QString plane;           ///< OME-TIFF plane of the page, e.g. "c=0 z=2 t=0"
    PixelSize pixelSize;     ///< empty when the file declares none
    QStringList notes;       ///< what the decoder had to say about a file it still read
    QString error;           ///< why the file cannot be read; empty on success
    bool ok() const { return error.isEmpty(); }
};

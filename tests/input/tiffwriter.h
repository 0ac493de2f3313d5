#pragma once

// TIFF files for tests, written with libtiff: strips or tiles, classic or
// BigTIFF, 8-, 12- (packed) or 16-bit samples, several pages, a description
// (OME-XML) and resolution tags.

#include <opencv2/core.hpp>

#include <QString>

#include <string>
#include <vector>

namespace tifftest {

struct Page
{
    cv::Mat image;           ///< CV_8U or CV_16U, one or three planes (RGB order as stored)
    int bits = 0;            ///< BitsPerSample written; 0: the image's depth (8 or 16)
    int tile = 0;            ///< tile side (a multiple of 16); 0: strips
    int rowsPerStrip = 8;    ///< with strips
    std::string description; ///< ImageDescription, e.g. OME-XML; empty: none
    float xResolution = 0;   ///< pixels per unit; 0: no resolution tags
    float yResolution = 0;
    int resolutionUnit = 0;      ///< 1 none, 2 inch, 3 cm
    bool separatePlanes = false; ///< strips of each plane apart (PlanarConfig 2)
    bool minIsWhite = false;     ///< grey stored inverted (Photometric 0)
};

/// Writes @p pages into @p path; false when libtiff refuses.
bool Write(const QString& path, const std::vector<Page>& pages, bool bigTiff = false);

/// A grey @p size image of value @p background with discs of value @p disc
/// and radius @p radius at @p count places spread over it, apart from each
/// other and from the border.
cv::Mat Discs(int count, int depth, double background, double disc, cv::Size size = {320, 240},
              int radius = 12);

} // namespace tifftest

#pragma once

// A scale bar for a calibrated picture: a length that reads well (1, 2 or 5
// times a power of ten, in the calibration's unit), drawn as a white bar with
// its length written above it in the bottom left corner.

#include <QString>

QT_BEGIN_NAMESPACE
class QImage;
QT_END_NAMESPACE

namespace scalebar {

struct Bar
{
    double length = 0; ///< in the calibration's unit
    int pixels = 0;    ///< the bar's length in picture pixels
    QString label;     ///< e.g. "50 µm"
};

/**
 * @brief The bar for a picture @p width pixels wide at @p scale units per
 * pixel: the longest 1, 2 or 5 × 10^k units that is at most a quarter of the
 * picture's width. pixels is 0 when no bar fits (a width under 8 pixels or
 * a scale that is not a positive finite number).
 */
Bar Choose(int width, double scale, const QString& unit);

/// Draws the bar of Choose() onto @p image, 16 pixels from its left and bottom
/// edges (less on a small picture). False when no bar fits.
bool Draw(QImage& image, double scale, const QString& unit);

} // namespace scalebar

#pragma once

// The one conversion of samples deeper than 8 bits into the module's 8 bits,
// and its inverse for intensities reported in the file's own units.
//
// A range LOW..HIGH of the input is mapped linearly onto 0..255:
//     out = round((in - LOW) × 255 / (HIGH - LOW)), clamped to 0..255
// (rounded to the nearest level, halves to even). The range is, first that
// applies: --range LOW:HIGH; --bits B (0..2^B-1); the range the file declares
// (TIFF BitsPerSample below 16, OME SignificantBits, PNG sBIT, PNM maxval);
// otherwise the image's own minimum and maximum. An image whose samples are
// all equal maps to 0. 8-bit images are taken as they are.

#include <QPair>
#include <QString>

#include <opencv2/core.hpp>

#include <optional>

namespace bitdepth {

struct Mapping
{
    bool applied = false; ///< false: 8-bit samples, taken as they are
    int storedBits = 8;   ///< bits per sample as stored
    double low = 0;       ///< input value that becomes 0
    double high = 255;    ///< input value that becomes 255
    QString
        source; ///< "option --range", "option --bits 12", "file: ...", "image minimum and maximum"
};

/// What the batch fixes: --bits (0 when not given) and --range.
struct Request
{
    int bits = 0;
    std::optional<QPair<double, double>> range;
};

/**
 * @brief The range for @p image (8- or 16-bit, any number of planes).
 * @param significantBits bits the file declares as used (0: none)
 * @param declaredMaximum largest value the file declares (0: none)
 * @param declaredBy where the file declares it, e.g. "file: BitsPerSample 12"
 */
Mapping Choose(const cv::Mat& image, const Request& request, int significantBits = 0,
               int declaredMaximum = 0, const QString& declaredBy = QString());

/// @p image in 8 bits by @p mapping (the same planes; unchanged when not applied).
cv::Mat ToEightBit(const cv::Mat& image, const Mapping& mapping);

/// The input value of 8-bit level @p level: LOW + level × (HIGH - LOW) / 255.
double ToOriginal(double level, const Mapping& mapping);

/// "12-bit range 0-4095 (file: BitsPerSample 12)"-like text for notes.
QString Describe(const Mapping& mapping);

} // namespace bitdepth

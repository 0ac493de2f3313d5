#pragma once

// How an image was read: its page, the conversion of its samples to 8 bits,
// the calibration and where it came from, and what else the input noted.
// It travels with each result into the JSON record, the summary line and
// Studio's status bar, so that nothing about the input is decided silently.

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

struct ImageSource
{
    int page = 1;       ///< 1-based page counted
    int pages = 1;      ///< pages in the file
    QString plane;      ///< OME-TIFF: "c=0 z=2 t=0" of the page
    int storedBits = 8; ///< bits per sample as stored
    int channels = 0;   ///< planes as decoded

    bool converted = false; ///< deeper samples mapped onto 0-255
    double low = 0;         ///< the input value that became 0
    double high = 255;      ///< the input value that became 255
    QString rangeSource;    ///< "file: BitsPerSample 12", "option --bits 12", ...

    double scale = 1.0;        ///< units per pixel used (x)
    double scaleY = 0;         ///< units per pixel in y, when the file's pixels are not square
    QString unit;              ///< unit of scale
    QString calibrationSource; ///< "option", "file: OME-XML", "file: resolution tags"; empty: none

    QStringList notes; ///< further pages, non-square pixels, decoder remarks

    /// Intensities of each counted object in the input's own units (when
    /// converted): columns kOriginalColumns, one row per object.
    QList<QList<double>> original;
};

namespace imagesource {

/// "Mean Gray Value", "Min Gray Value", "Max Gray Value", "Integral".
extern const QStringList kOriginalColumns;

/// The "input" block of an image's JSON record.
QJsonObject ToJson(const ImageSource& source);
/// The "original" block (empty when nothing was converted).
QJsonObject OriginalToJson(const ImageSource& source);
/// Reads back what ToJson and OriginalToJson wrote.
ImageSource FromJson(const QJsonObject& input, const QJsonObject& original);

/// The conversions and choices worth a mention on the image's summary line,
/// e.g. "page 1 of 3; 16-bit range 0-4095 to 0-255 (file: BitsPerSample 12);
/// 0.5 µm/px (file: OME-XML)"; empty when there are none.
QString Describe(const ImageSource& source);

} // namespace imagesource

#pragma once

// The result of counting one image, as the run produces it, as a worker
// process hands it back, and as the JSON output carries it.

#include "imagesource.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// Statistics of one enabled data type over the valid objects.
struct TypeStatistics
{
    QString name;               ///< display name with unit, e.g. "Area_µm²"
    std::optional<double> mean; ///< empty when there is no object (the module prints nan)
    std::optional<double> standardDeviation;
    double minimum = 0;
    double maximum = 0;
    double range = 0;
    double sum = 0;
    double count = 0;
};

struct ImageResult
{
    QString file;                   ///< the input path as given
    QString error;                  ///< why the image was not counted; empty on success
    int count = 0;                  ///< valid objects
    QString unit;                   ///< length unit of the calibration
    std::optional<double> meanArea; ///< calibrated; empty without objects
    int lowThreshold = 0;
    int highThreshold = 255;
    QStringList columns;          ///< object table header: "NO." and the enabled types
    QList<QList<double>> objects; ///< object table rows as numbers
    QList<TypeStatistics> statistics;
    QStringList outputs;      ///< files written for this image
    QStringList outputErrors; ///< outputs that could not be written, with the reason
    ImageSource source;       ///< page, conversion to 8 bits, calibration and notes of the input

    bool ok() const { return error.isEmpty(); }
    /// Counted, and every output written.
    bool complete() const { return ok() && outputErrors.isEmpty(); }
};

namespace imageresult {

QJsonObject ToJson(const ImageResult& result);
/// Reads what ToJson wrote; returns false for anything else.
bool FromJson(const QJsonObject& json, ImageResult& result);

/// The one line printed per image: "FILE: N objects, mean area A unit²",
/// followed by " [page, conversion, calibration]" where the input needed any.
QString SummaryLine(const ImageResult& result);

/// Converts a number cell of the module's tables; "nan" and the like give empty.
std::optional<double> Cell(const QString& text);

} // namespace imageresult

#pragma once

// The result of counting one image, as the run produces it, as a worker
// process hands it back, and as the JSON output carries it.

#include "dish.h"
#include "imagesource.h"
#include "objectdata.h"
#include "preparation.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

/// Statistics of one data type over the valid objects, at full precision.
/// Every value is empty when there is no object.
struct TypeStatistics
{
    QString name; ///< the measurement's key, e.g. "area"
    std::optional<double> mean;
    std::optional<double> standardDeviation; ///< population: divided by n
    std::optional<double> minimum;
    std::optional<double> maximum;
    std::optional<double> range;
    std::optional<double> sum;

    /// The values in the order of objectdata::StatisticKeys().
    std::array<std::optional<double>, 6> values() const
    {
        return {mean, standardDeviation, minimum, maximum, range, sum};
    }
};

struct ImageResult
{
    QString file;  ///< the input path as given
    QString error; ///< why the image was not counted; empty on success
    int width = 0; ///< image size in pixels
    int height = 0;
    int count = 0;                  ///< valid objects and those added by hand
    int handAdded = 0;              ///< the last handAdded object rows were marked by hand
    QString unit;                   ///< length unit of the calibration
    double scale = 1.0;             ///< units per pixel
    std::optional<double> meanArea; ///< calibrated; empty without objects
    int lowThreshold = 0;
    int highThreshold = 255;
    std::optional<dish::Circle> dish; ///< the dish's rim, with --dish auto
    /// The plane thresholded ("grey", "red", ..., or a stain) and the
    /// objects kept: "dark", "bright", or "band" for the manual band.
    QString plane;
    QString objectsKept;
    /// One row per valid object, numbered 1..count, keyed by objectdata::Keys().
    std::vector<objectdata::Row> objects;
    /// Measurements of the objects in the image's other planes (see
    /// channelmeasures.h): keys such as "mean_gray_c2", one row per object.
    QStringList channelKeys;
    std::vector<std::vector<double>> channelRows;
    /// What the preparation of the threshold found and used; ran is false
    /// when it was off or nothing stood out.
    preparation::Report preparation;
    /// One entry per data type, in data type order, named by its key.
    QList<TypeStatistics> statistics;
    QStringList outputs;      ///< files written for this image
    QStringList outputErrors; ///< outputs that could not be written, with the reason
    ImageSource source;       ///< page, conversion to 8 bits, calibration and notes of the input

    qint64 countMs = -1; ///< time spent reading and counting (not carried in JSON)
    qint64 writeMs = -1; ///< time spent writing the image's files

    bool ok() const { return error.isEmpty(); }
    /// Frees the object rows and statistics, keeping count, mean area and
    /// the outputs: what a long batch keeps of each image once it is written.
    QByteArray thumbnail; ///< a small JPEG of the picture, for the batch overview

    void DropDetail()
    {
        std::vector<objectdata::Row>().swap(objects);
        std::vector<std::vector<double>>().swap(channelRows);
        statistics = QList<TypeStatistics>();
        thumbnail.clear();
    }
    /// Counted, and every output written.
    bool complete() const { return ok() && outputErrors.isEmpty(); }
};

namespace imageresult {

QJsonObject ToJson(const ImageResult& result);
/// The dish's rim as the outputs carry it: {"x", "y", "radius"}, pixels.
QJsonObject DishJson(const dish::Circle& rim);
/// Reads what ToJson wrote; returns false for anything else.
bool FromJson(const QJsonObject& json, ImageResult& result);

/// The one line printed per image: "FILE: N objects, mean area A unit²",
/// followed by " [page, conversion, calibration]" where the input needed any.
QString SummaryLine(const ImageResult& result);

/// The image as a data record: the JSON Lines object of --jsonl and an
/// entry of --json, with @p index the image's 1-based input position.
/// Values are written with objectdata::Number, so they read back exactly.
QByteArray DataRecord(const ImageResult& result, int index, bool withOutputs = false);

/// Converts a number cell of the module's tables; "nan" and the like give empty.
std::optional<double> Cell(const QString& text);

} // namespace imageresult

#pragma once

// The objects of a count as data: every measurement at full precision under
// a fixed key, whatever the calibration, the language or the filters, plus
// the centroid and the bounding box of each object's pixels.
//
// Units: area is in calibrated units squared; perimeter, radius, diameter,
// long_axis and short_axis in calibrated units; direction in degrees; every
// other value (center, centroid, bounding box) in pixels, grey values and
// ratios as they are.

#include "autocount/core/countcore.h"

#include <QByteArray>
#include <QString>

#include <array>
#include <optional>

namespace objectdata {

/// Version of the keys and record layout of the data outputs.
constexpr int kSchemaVersion = 1;

/// The column of the area in a row (after the object's number).
constexpr int kArea = 1;

/// Columns of an object row: "object", the measurements in data type order,
/// then "centroid_x", "centroid_y", "bbox_x", "bbox_y", "bbox_width",
/// "bbox_height".
constexpr int kColumnCount = 1 + countcore::kDataTypeCount + 6;
const std::array<const char*, kColumnCount>& Keys();
/// The key of data type @p type ("area", "std_dev", ...).
const char* MeasurementKey(int type);
/// True for the columns that only ever hold whole numbers.
bool IsInteger(int column);

/// What a value of data type @p type is measured in for calibration
/// @p unit: "unit²", "unit", "deg" or "" (pixels, grey values, ratios).
QString MeasurementUnit(int type, const QString& unit);

/// Statistics keys in column order: "mean", "std_dev", "min", "max",
/// "range", "sum".
const std::array<const char*, 6>& StatisticKeys();

/// One object row, in the order of Keys().
using Row = std::array<double, kColumnCount>;

/// The row of object @p number (1-based) with its @p record and @p contour.
Row MakeRow(int number, const parResult& record, const Contour& contour, double scale);

/// The row of object @p number that the user marked by hand at pixel
/// (@p x, @p y): its centre and centroid there, every measurement empty (NaN).
Row MarkerRow(int number, double x, double y);

/// A number in the shortest form that reads back to the same double;
/// whole numbers without a point (but "-0.0" for a negative zero). NaN and
/// infinities give an empty string.
QByteArray Number(double value);

} // namespace objectdata

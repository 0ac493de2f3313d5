#pragma once

// The text files of a count: the object table, the batch summary, the JSON
// document and the settings file, as bytes ready to be written.

#include "dish.h"
#include "imageresult.h"
#include "settings.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace outputs {

/// The first line of every CSV data file: "# unit: UNIT", the calibration's
/// length unit (px when uncalibrated). Readers skip it as a comment.
QByteArray CsvUnitLine(const QString& unit);

/// The object table of one image: the unit line, a header of the stable keys
/// (objectdata::Keys()), then one row per object at full precision. With
/// objects added by hand, a last column "by_hand" says 1 for them, 0 for
/// the others.
QByteArray TableCsv(const ImageResult& result);
/// The same table separated by tabs, for a path ending in .tsv.
QByteArray TableTsv(const ImageResult& result);

/// The header of the batch object table: the unit line, then "image",
/// "image_index" and the stable keys.
QByteArray ObjectsCsvHeader(const QString& unit);
/// The rows of one image for the batch object table; none for an image
/// without objects or that failed.
QByteArray ObjectsCsvRows(const ImageResult& result, int index);

/// The header of the summary: the unit line, then file, image_index, width,
/// height, count, "KEY_STATISTIC" for every measurement and statistic
/// ("area_mean", "area_std_dev", ...), and error.
QByteArray SummaryCsvHeader(const QString& unit);
/// One summary row; statistics are empty without objects, everything but
/// file, index and error is empty for an image that failed.
QByteArray SummaryCsvRow(const ImageResult& result, int index);

/// "dir/name.settings.json" for "dir/name.ext": the settings written beside
/// a report or table.
QString SettingsPathBeside(const QString& path);

/// True when the settings may be written beside @p path: not for standard
/// output ("-"), paths under /dev/, nor character or block devices, FIFOs
/// and sockets.
bool SettingsBesideAllowed(const QString& path);

/// A settings file that records @p settings and the image they were used on,
/// with the dish found on it ("dishFound", when there is one). With
/// @p prepared (that ran), what the preparation chose for the image is
/// recorded under "prepared"; reading the file back passes over both.
QByteArray SettingsFile(const CountSettings& settings, const QString& image = QString(),
                        const std::optional<dish::Circle>& dish = std::nullopt,
                        const preparation::Report* prepared = nullptr);

/// The --json document: schema and tool version, the settings and one
/// data record (imageresult::DataRecord) per image, with @p indexes their
/// 1-based input positions.
QByteArray JsonDocument(const QList<ImageResult>& results, const QList<int>& indexes,
                        const CountSettings& settings);

/// A number as CSV and JSON carry it: shortest form that reads back exactly.
QString Number(double value);

} // namespace outputs

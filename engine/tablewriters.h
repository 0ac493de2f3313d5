#pragma once

// The text files of a count: the object table, the batch summary, the JSON
// document and the settings file, as bytes ready to be written.

#include "imageresult.h"
#include "settings.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

namespace outputs {

/// The object table: the module's header, then one row of numbers per object.
QByteArray TableCsv(const ImageResult& result);

/// One row per image: file, count, then mean, standard deviation, minimum,
/// maximum, range and sum of each of @p typeNames, and the error, if any.
QByteArray SummaryCsv(const QList<ImageResult>& results, const QStringList& typeNames);
/// The summary's header line, and one image's row: the summary written as a
/// batch goes.
QByteArray SummaryHeader(const QStringList& typeNames);
QByteArray SummaryRow(const ImageResult& result, const QStringList& typeNames);

/// "dir/name.settings.json" for "dir/name.ext": the settings written beside
/// a report or table.
QString SettingsPathBeside(const QString& path);

/// True when a settings file may go beside @p path: a regular file (or one
/// still to be made) outside /dev, not "-" (standard output), a device or a
/// pipe.
bool TakesSettingsBeside(const QString& path);

/// A settings file that records @p settings and the image they were used on.
QByteArray SettingsFile(const CountSettings& settings, const QString& image = QString());

/// The --json document: the settings and one entry per image.
QByteArray JsonDocument(const QList<ImageResult>& results, const CountSettings& settings);

/// A number as CSV and JSON carry it: shortest form that reads back exactly.
QString Number(double value);

} // namespace outputs

#pragma once

// The files the tool writes. Every file is written to a temporary file beside
// its destination and renamed into place, so a reader never sees half of it
// and a failed write leaves an existing file as it was.

#include "countsettings.h"
#include "imageresult.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

QT_BEGIN_NAMESPACE
class QImage;
QT_END_NAMESPACE

class AutoCountManager;

namespace outputs {

/// Writes @p data to @p path through a temporary file and a rename; creates
/// missing parent folders. On failure returns false with the reason.
bool WriteAtomically(const QString& path, const QByteArray& data, QString* error);

/// The controller's spreadsheet report, exported to a temporary name in the
/// destination folder and renamed into place once it exists.
bool ExportReportAtomically(AutoCountManager& manager, const QString& path, QString* error);

/// The object table: the module's header, then one row of numbers per object.
QByteArray TableCsv(const ImageResult& result);

/// One row per image: file, count, then mean, standard deviation, minimum,
/// maximum, range and sum of each of @p typeNames, and the error, if any.
QByteArray SummaryCsv(const QList<ImageResult>& results, const QStringList& typeNames);

/// PNG bytes of @p image.
QByteArray PngBytes(const QImage& image);

/// "dir/name.settings.json" for "dir/name.ext": the settings written beside
/// a report or table.
QString SettingsPathBeside(const QString& path);

/// A settings file that records @p settings and the image they were used on.
QByteArray SettingsFile(const CountSettings& settings, const QString& image = QString());

/// The --json document: the settings and one entry per image.
QByteArray JsonDocument(const QList<ImageResult>& results, const CountSettings& settings);

/// A number as CSV and JSON carry it: shortest form that reads back exactly.
QString Number(double value);

} // namespace outputs

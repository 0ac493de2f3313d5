#pragma once

// The studio's exports of the current results: the report and the picture,
// written by the counting engine from the session's results (see
// CountingSession::Result).

#include "picture.h"
#include "settings.h"

#include <QString>

namespace ResultExport {

/**
 * @brief Writes the counting report to @p path through a temporary file in
 * the same folder, renamed over @p path only when complete. The folder must
 * exist (a save dialog offers only folders that do).
 * @return true on success; otherwise false with @p error naming the file.
 */
bool WriteReport(const countrun::CountResult& result, const QString& path, QString* error);

/// Writes @p settings, which counted @p image, as a settings file beside
/// @p path (outputs::SettingsPathBeside), as the command-line tool does
/// beside its reports and tables.
bool WriteSettingsBeside(const QString& path, const CountSettings& settings, const QString& image,
                         QString* error);

/// Writes the object table of the results to @p path as the command-line
/// tool's --table does (outputs::TableCsv), and the settings beside it.
bool WriteTable(const countrun::CountResult& result, const QString& path,
                const CountSettings& settings, const QString& image, QString* error);

/// Writes @p settings as a settings file (the command-line tool's --settings).
bool WriteSettings(const QString& path, const CountSettings& settings, const QString& image,
                   QString* error);

/// Saves the picture of the results (image, regions, numbered outlines) as
/// PNG to @p path, the picture the report carries, with what @p options add.
bool WriteAnnotatedImage(const countrun::CountResult& result, const QString& path, QString* error,
                         const picture::Options& options = picture::Options());

} // namespace ResultExport

#pragma once

// The studio's exports of the current results: the report and the picture,
// written by the counting engine from the controller's results.

#include <QString>

class AutoCountManager;

namespace ResultExport {

/**
 * @brief Writes the counting report to @p path through a temporary file in
 * the same folder, renamed over @p path only when complete. The folder must
 * exist (a save dialog offers only folders that do).
 * @return true on success; otherwise false with @p error naming the file.
 */
bool WriteReport(const AutoCountManager* manager, const QString& path, QString* error);

/// Saves the picture of the results (image, regions, numbered outlines) as
/// PNG to @p path, the picture the report carries.
bool WriteAnnotatedImage(const AutoCountManager* manager, const QString& path, QString* error);

} // namespace ResultExport

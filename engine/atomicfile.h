#pragma once

// Writing a file so that a reader never sees half of it: the data goes to a
// temporary file beside the destination, which is renamed into place only
// when complete; a failed write leaves an existing file as it was.

#include <QByteArray>
#include <QString>

#include <functional>

namespace atomicfile {

/// Writes @p data to @p path; creates missing parent folders. On failure
/// returns false with the reason in @p error.
bool Write(const QString& path, const QByteArray& data, QString* error);

/**
 * @brief Puts a file that another library writes by name into place at
 * @p path: @p make is called with a unique temporary name in the same folder
 * and must create that file; it is renamed over @p path when it exists and
 * is not empty. @p what names the file in messages ("the report").
 */
bool Place(const QString& path, const QString& what,
           const std::function<void(const QString& temporary)>& make, QString* error);

} // namespace atomicfile

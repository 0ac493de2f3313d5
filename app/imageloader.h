#pragma once

#include <QString>

#include <opencv2/core.hpp>

namespace ImageLoader {

/**
 * @brief Reads @p path (PNG, JPEG, TIFF, BMP, ...) and brings it into the
 * module's form with PixelFormatAdapter::ToModuleFormat.
 * @return the image, or an empty matrix with @p error naming the file and the
 * reason.
 */
cv::Mat Load(const QString& path, QString* error);

/// The file-dialog filter of the formats Load reads.
QString FileDialogFilter();

/// True when @p path has the extension of a format Load reads.
bool IsSupportedFile(const QString& path);

} // namespace ImageLoader

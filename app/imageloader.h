#pragma once

#include <QString>

#include <opencv2/core.hpp>

namespace ImageLoader {

/**
 * @brief Brings any image the studio can open into the form the counting
 * module works on: 8-bit, three channels, blue-green-red byte order.
 *
 * 16-bit samples are scaled to 8 bits as value · 255 / 65535, rounded
 * (the same as dividing by 257); grey images are spread to three equal
 * channels; a fourth (alpha) channel is dropped; grey with alpha keeps its
 * grey plane. Other depths are saturated to 0..255 unscaled. The
 * command-line tool converts by the same rule. An empty image stays empty.
 */
cv::Mat ToBgr8(const cv::Mat& image);

/**
 * @brief Reads @p path (PNG, JPEG, TIFF, BMP, ...) and converts it with ToBgr8.
 * @return the image, or an empty matrix with @p error naming the file and the
 * reason.
 */
cv::Mat Load(const QString& path, QString* error);

/// The file-dialog filter of the formats Load reads.
QString FileDialogFilter();

/// True when @p path has the extension of a format Load reads.
bool IsSupportedFile(const QString& path);

} // namespace ImageLoader

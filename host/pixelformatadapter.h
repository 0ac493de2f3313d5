#pragma once

#include "host/host_export.h"

#include <opencv2/core.hpp>

#include <functional>

namespace PixelFormatAdapter {

/// The pixel-format mode the counting module asks for when it captures an image.
constexpr int kCaptureMode = 16;

using Converter = std::function<void(const cv::Mat& src, cv::Mat& dst, int mode)>;

/**
 * @brief Converts @p src between the host's pixel formats into @p dst.
 *
 * @p src and @p dst may be the same matrix. Without a host converter the
 * image passes unchanged: the same matrix stays as it is (its buffer is kept),
 * a different destination receives a copy.
 */
AUTOCOUNT_HOST_EXPORT void Convert(const cv::Mat& src, cv::Mat& dst, int mode);

/// Installs the host's converter; an empty function restores the default.
AUTOCOUNT_HOST_EXPORT void SetConverter(Converter converter);

/**
 * @brief Brings a decoded image into 8-bit BGR, the form the module counts.
 *
 * 16-bit samples are scaled by 255/65535 and rounded (65535 becomes 255, so
 * the same grey reads the same in every picture); other depths are saturated
 * to 0..255 unscaled. Grey is repeated into the three planes, an alpha plane
 * is dropped, and grey with alpha (or any other channel count) keeps its first
 * plane. An 8-bit BGR image comes back as it is, sharing its buffer; an empty
 * image stays empty.
 */
AUTOCOUNT_HOST_EXPORT cv::Mat ToModuleFormat(const cv::Mat& image);

} // namespace PixelFormatAdapter

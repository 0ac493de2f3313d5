#pragma once

// The change between two binary images of one size, kept small for an undo
// history: the pixels that differ, packed losslessly. Applying the change to
// either image gives the other.

#include <QByteArray>

#include <opencv2/core.hpp>

namespace maskchange {

/// The packed change from @p before to @p after; empty when the two differ in
/// size or type.
QByteArray Pack(const cv::Mat& before, const cv::Mat& after);

/// @p image with @p change applied (a new buffer); empty when the change does
/// not fit the image.
cv::Mat Apply(const cv::Mat& image, const QByteArray& change);

} // namespace maskchange

#pragma once

/**
 * @file opencv24.h
 * @brief Image-library routines whose results the counting rules fix to the
 * behaviour of OpenCV 2.4, where the 4.x library answers differently.
 *
 * Shared by the measurement and the automatic cut. Internal to the module
 * (not installed); exported only so that the tests can pin them.
 */

#include "autocount/alg/alg.h"
#include "autocount/autocount_export.h"

#include <opencv2/core.hpp>

#include <vector>

namespace cv24 {

/// Grey conversion with 14-bit weights, blue first (conversion code 6):
/// (1868·p0 + 9617·p1 + 4899·p2 + 8192) >> 14. Takes 3 or 4 channels.
AUTOCOUNT_EXPORT void GreyFromBgr(const cv::Mat& src, cv::Mat& dst);

/// Grey conversion with 14-bit weights, red first (conversion code 7):
/// (4899·p0 + 9617·p1 + 1868·p2 + 8192) >> 14. Takes 3 or 4 channels.
AUTOCOUNT_EXPORT void GreyFromRgb(const cv::Mat& src, cv::Mat& dst);

/// Contour search that ignores the image's outer one-pixel frame, as 2.4
/// does: the frame of a copy of @p image is zeroed before tracing. @p image
/// itself is not modified. Modes and methods are those of cv::findContours.
AUTOCOUNT_EXPORT void FindContours(const cv::Mat& image, ContourList& contours,
                                   std::vector<cv::Vec4i>* hierarchy, int mode, int method);

/// Minimum-area rotated rectangle by 2.4's rotating calipers: angles of hulls
/// with three or more points lie in [-90, 0].
AUTOCOUNT_EXPORT cv::RotatedRect MinAreaRect(const std::vector<cv::Point>& points);

/// 2.4's enclosing-circle heuristic (radius about 3 % larger than exact).
AUTOCOUNT_EXPORT void MinEnclosingCircle(const std::vector<cv::Point>& points, cv::Point2f& centre,
                                         float& radius);

/// 2.4's direct ellipse fit with its own SVD solver; needs at least 5 points.
AUTOCOUNT_EXPORT cv::RotatedRect FitEllipse(const std::vector<cv::Point>& points);

/// Euclidean distance map with the 5 × 5 chamfer mask, 32-bit float, that
/// matches 2.4 also for an image without any zero pixel.
AUTOCOUNT_EXPORT void DistanceTransformL2(const cv::Mat& binary, cv::Mat& dist);

/// Min-max normalisation of a 32-bit float image to [alpha, beta] with 2.4's
/// separate multiply and add in single precision.
AUTOCOUNT_EXPORT void NormalizeMinMax(const cv::Mat& src, cv::Mat& dst, double alpha, double beta);

} // namespace cv24

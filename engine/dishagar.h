#pragma once

// The agar of a dish found by dish::Find, made ready for the count: its own
// level fitted as a smooth surface, the glare taken down to that level, the
// outside of the counted disc filled with it, and the colonies' first mask
// for the preparation's size estimate. The uneven light that is left goes
// to the preparation's background step.

#include <opencv2/core.hpp>

namespace dishagar {

/// The agar's own level: a quadratic surface in x and y fitted to samples
/// on a grid of about kLevelSide across the disc, kLevelRounds times, each
/// time without the samples further than kLevelReject robust standard
/// deviations from the last fit (colonies below it, glare above it).
constexpr int kLevelTerms = 6;
constexpr double kLevelSide = 256;
constexpr int kLevelRounds = 5;
constexpr double kLevelReject = 2.5;
/// Glare: what stands more than this many robust standard deviations of the
/// agar's noise above the agar's level is brought down to it. Kept small:
/// agar left between two patches of glare is a dip of that depth.
constexpr double kGlareNoise = 1.5;
/// Sigma of a Gaussian over the evened image against the camera's noise,
/// as a share of the counted radius (in place of the preparation's
/// smoothing, which is for grainy objects and would fill the necks between
/// touching colonies).
constexpr double kDenoiseShare = 0.002;

/// @p image (8-bit BGR, a box around the counted disc @p disc of centre
/// @p centre, in the box's pixels, and radius @p radius) made ready for the count: outside the disc
/// the agar's level, inside it the image with its glare taken down to that level (every plane held
/// to the level plus kGlareNoise standard deviations). The colonies (darker than the agar) stay as
/// they are; the uneven light is left to the preparation's background step.
cv::Mat Evened(const cv::Mat& image, const cv::Mat& disc, cv::Point2d centre, double radius);

/// Colonies stand this many robust standard deviations of the agar's noise
/// above the background, which comes from a disc of kObjectDisc times the
/// counted radius (wider than any colony): the first mask of the
/// preparation's size estimate on a dish.
constexpr double kObjectNoise = 4.0;
constexpr double kObjectDisc = 0.08;

/// The colonies of @p plane (8-bit; @p bright: objects brighter than the
/// agar) inside @p region, a dish's counted disc of radius @p radius: 255
/// where the plane stands kObjectNoise standard deviations above its
/// background (preparation::Background).
cv::Mat ObjectMask(const cv::Mat& plane, bool bright, const cv::Mat& region, double radius);

/// Median of each plane of @p image (8-bit) where @p mask is set.
cv::Scalar MedianColour(const cv::Mat& image, const cv::Mat& mask);

} // namespace dishagar

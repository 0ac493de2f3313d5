#pragma once

// Finding the dish in a photograph of an agar plate, so that only its inside
// is counted.
//
// The search runs on the grey image reduced to kSearchSide pixels on its
// long side and smoothed. A circle Hough transform (gradient method) gives
// up to kCandidates circles of a dish's size (a fifth of the short side to
// half the long one). Each is refined on the rim: along kRays rays from its
// centre, within kSearchBand of its radius, the rim is where the grey level
// stands highest above its two sides at a distance of kRimWidth times the
// radius (the bright wall is a ridge, whatever the agar and the surround
// look like). An algebraic least-squares circle is fitted to those points,
// and refitted kRefits times without the points further from it than three
// robust standard deviations (glare on the rim, a colony beside it). The
// candidate whose fit keeps the most points wins; it must keep kMinShare of
// the rays.
//
// The count runs inside the rim's circle shrunk by kRimMargin of its radius:
// the wall, its shadow on the agar and the meniscus stay outside.

#include <opencv2/core.hpp>

#include <optional>

namespace dish {

constexpr double kSearchSide = 512;
constexpr int kCandidates = 3;
constexpr int kRays = 360;
constexpr double kSearchBand = 0.2;
constexpr double kRimWidth = 0.04;
constexpr int kRefits = 4;
constexpr double kMinShare = 0.5;
constexpr double kRimMargin = 0.07;
/// A rim stands at least this many grey levels above its sides.
constexpr double kMinRidge = 6.0;

/// The rim's circle, in pixels of the full image.
struct Circle
{
    double x = 0;
    double y = 0;
    double radius = 0;
    bool operator==(const Circle& o) const { return x == o.x && y == o.y && radius == o.radius; }
};

/// The dish of @p image (8-bit, one or three channels); none when no round
/// rim stands out.
std::optional<Circle> Find(const cv::Mat& image);

/// Radius of the disc counted inside @p rim.
double CountedRadius(const Circle& rim);

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

/// 255 inside the counted disc of @p rim, 0 elsewhere.
cv::Mat Mask(cv::Size size, const Circle& rim);

} // namespace dish

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

/// 255 inside the counted disc of @p rim, 0 elsewhere.
cv::Mat Mask(cv::Size size, const Circle& rim);

} // namespace dish

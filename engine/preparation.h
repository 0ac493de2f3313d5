#pragma once

// Preparation of the automatic threshold for real microscope images: grainy
// nuclei with dark nucleoli, objects whose brightness varies tenfold, uneven
// illumination. It replaces the module's single Otsu level on the grey image
// and leaves the separation and the measurement (on the original image) as
// they are.
//
// Methods, all published: the typical object size from the Euclidean
// distance map of a first Otsu mask; background subtraction by a grey-level
// opening with a disc larger than the largest object (the morphological
// top-hat; Sternberg's rolling ball is the same idea with a ball); a
// Gaussian smoothing whose width is a share of the object radius; a robust
// noise estimate (median and median absolute deviation of the background);
// and a per-pixel threshold at a share of the local peak, in the manner of
// the "local" and "per object" thresholds of CellProfiler.
//
// The steps, on the grey image turned so that objects are bright:
//
// 1. Size. The grey image, reduced to about one megapixel and smoothed with
//    sigma 1, is thresholded by Otsu. Per component of that mask, three
//    times the mean of its distance map is its radius (exact for a disc, and
//    close to each member's radius for touching discs, so a cluster or a
//    dense field still gives its objects' radius); holes are filled first,
//    unless filling makes a component kHoleWidening times wider (its holes
//    were gaps between objects). The typical radius R is the median of the
//    larger half of the radii, the largest radius their 95th percentile.
// 2. Background (step "background"). Grey-level opening with a disc of
//    radius B = 1.5 x the largest radius, held within 2R..4R, on the image
//    reduced so that the disc is at least kMinDiscPixels in radius; smoothed,
//    enlarged again and subtracted.
// 3. Smoothing (step "smooth"). Gaussian of sigma kSmoothShare x R, scaled
//    down by the objects' texture (robust spread of their inner pixels over
//    their contrast) below kTextureFull: grainy nuclei get the full width,
//    objects of even brightness next to none, so their necks and the gaps
//    between them stay sharp.
// 4. Threshold (step "threshold"). The background level m and noise s are
//    the median and 1.4826 x MAD of the prepared image outside the first
//    mask (grown by the smoothing's reach; in a dense field, its gaps). A
//    pixel is an object pixel when it lies kNoiseFactor x s above m (so
//    noise alone is not an object) and reaches kPeakShare of the local peak
//    above m (the maximum within kPeakWindowShare x R), so every object ends
//    near its own half height whatever its brightness, and a dim nucleus
//    loses only a thin band where it meets a bright one. Each object then
//    grows back over the pixels that reach kPeakShare of its own peak, so
//    that band returns; where two objects meet and the dimmer one's peak is
//    below the brighter one's share, a line of one pixel stays between
//    them, and strips thinner than the blur (along a brighter neighbour's
//    rim, across a narrow gap) are opened away, and an object whose half
//    height does not clear the noise floor is dropped. Without this step
//    the prepared image is thresholded by Otsu.
// 5. Holes (step "holes", after separation): a hole whose rim belongs to
//    one object alone is filled; background ringed by two or more separate
//    objects stays, the rule the distance cut applies to holes.

#include <opencv2/core.hpp>

#include <utility>
#include <vector>

namespace preparation {

/// Share of the typical radius used as the smoothing sigma.
constexpr double kSmoothShare = 0.1;
/// Texture (robust spread of the object pixels / their level above the
/// background) at which the smoothing reaches its full width.
constexpr double kTextureFull = 0.2;
/// Noise floor in robust standard deviations of the background.
constexpr double kNoiseFactor = 4.0;
/// Share of the local peak (above the background) an object pixel reaches,
/// the peak taken within kPeakWindowShare x R.
constexpr double kPeakShare = 0.5;
constexpr double kPeakWindowShare = 0.35;
/// Disc of the background opening: this multiple of the largest radius,
/// held within kMinDiscShare..kMaxDiscShare times the typical radius.
constexpr double kDiscShare = 1.5;
constexpr double kMinDiscShare = 2.0;
constexpr double kMaxDiscShare = 4.0;
/// The opening runs on an image reduced so that the disc has at least this radius.
constexpr double kMinDiscPixels = 6.0;

/// Which steps run.
struct Steps
{
    bool smooth = true;
    bool background = true;
    bool threshold = true;
    /// When set (255 on the objects, the image's size): the first mask of
    /// step 1 instead of the Otsu one, for images whose objects are known
    /// apart from their background already (a dish's colonies on its
    /// evened agar, where objects may cover too little of the image for
    /// Otsu).
    cv::Mat firstMask;
};

/// What the preparation found and used, for the outputs.
struct Report
{
    bool ran = false;
    double objectRadius = 0;    ///< typical radius R, pixels
    double largestRadius = 0;   ///< 95th percentile of the radii
    double texture = 0;         ///< spread of the object pixels / their contrast
    double sigma = 0;           ///< of the smoothing; 0 when off
    double discRadius = 0;      ///< of the background opening; 0 when off
    double backgroundLevel = 0; ///< m, grey levels of the prepared image
    double noise = 0;           ///< s
    double floor = 0;           ///< m + kNoiseFactor x s (or the Otsu level)
};

/// The figures of @p report under stable keys ("object_radius", ...), in
/// the order of the Report's fields, with their values.
std::vector<std::pair<const char*, double>> Figures(const Report& report);

/// Typical and largest radius of the bright objects of @p grey
/// (8-bit); 0 when nothing is found. @p firstMask receives the first Otsu
/// mask at the reduced scale, @p factor the reduction.
void EstimateSize(const cv::Mat& grey, double& typical, double& largest, cv::Mat& firstMask,
                  int& factor);

/// Typical and largest radius of the components of @p firstMask (255
/// objects), taken at 1/@p factor of the image's scale; fills the mask's
/// holes in place where they are holes of one object (step 1).
void MaskRadii(cv::Mat& firstMask, int factor, double& typical, double& largest);

/// The background of @p grey (8-bit or CV_32F, objects bright) under a disc
/// of radius @p radius: an opening, smoothed, at the image's size (CV_32F).
cv::Mat Background(const cv::Mat& grey, double radius);

/**
 * @brief Segments @p grey (8-bit; @p bright: objects brighter than the
 * background) inside @p regionMask into @p binary (255 objects).
 * @return the figures used
 */
Report Segment(const cv::Mat& grey, bool bright, const cv::Mat& regionMask, const Steps& steps,
               cv::Mat& binary);

/// Fills in place the holes of @p binary whose whole rim (8-neighbours)
/// belongs to one object; holes between two or more objects stay.
void FillSingleObjectHoles(cv::Mat& binary);

} // namespace preparation

#pragma once

/**
 * @file alg.h
 * @brief The image algorithms of the counting module.
 *
 * Every function takes its input images and lists by value (header copies that
 * share pixels), writes its outputs through reference parameters and returns
 * an int status: 0 for success, a non-zero code for bad input. On a non-zero
 * status the outputs are left untouched. Images are 8-bit; three-channel
 * pixels are stored blue, green, red.
 */

#include "autocount/autocount_export.h"

#include <opencv2/core.hpp>

#include <atomic>
#include <cstdint>
#include <functional>
#include <vector>

/// An object outline: integer pixel coordinates (x = column, y = row).
using Contour = std::vector<cv::Point>;
/// A list of outlines; parallel to a list of parResult records.
using ContourList = std::vector<Contour>;

/// Measurement record of one object, in uncalibrated pixels.
struct parResult
{
    double area = 0.0;      ///< polygon area of the outer contour, pixels²
    double perimeter = 0.0; ///< closed arc length of the outer contour, pixels
    float radius = 0.f;     ///< radius of the minimum enclosing circle
    float centerX = 0.f;    ///< x of the enclosing circle's centre
    float centerY = 0.f;    ///< y of the enclosing circle's centre
    float longAxis = 0.f;   ///< larger full axis of the fitted ellipse; 0 below 7 points
    float shortAxis = 0.f;  ///< smaller full axis of the fitted ellipse; 0 below 7 points
    float direction = 0.f;  ///< angle of the minimum-area rectangle, degrees
    double roundness = 0.0; ///< 4π·area / perimeter², at most 1
    int64_t integral = 0;   ///< sum of the grey values inside the object
    double stdDev = 0.0;    ///< one-sided grey deviation (darker pixels count 0)
    double meanGray = 0.0;  ///< integral / pixel count
    int32_t maxGray = 0;    ///< largest grey value inside the object
    int32_t minGray = 0;    ///< smallest grey value inside the object
};

/// @addtogroup region Region mask
/// @{

/**
 * @brief Makes a mask of @p src's size, type and channel count with 255 in
 * every channel inside @p polygon (boundary included) and 0 elsewhere.
 * @return 0 success; 1 empty @p src; 3 fewer than three polygon points.
 */
AUTOCOUNT_EXPORT int AlgGetROI(cv::Mat src, std::vector<cv::Point> polygon, cv::Mat& dst);

/// @}

/// @addtogroup segmentation Segmentation
/// @{

/// Colour spaces of AlgManual2Bw.
enum AlgColourSpace
{
    ALG_SPACE_PLANES = 21, ///< the pixel planes of the source
    ALG_SPACE_HSI = 22,    ///< the planes of AlgRGB2HSI
};

/// Plane codes of AlgManual2Bw.
enum AlgPlaneCode
{
    ALG_PLANE_HUE = 11,        ///< H of AlgRGB2HSI
    ALG_PLANE_SATURATION = 12, ///< S of AlgRGB2HSI
    ALG_PLANE_INTENSITY = 13,  ///< I of AlgRGB2HSI
    ALG_PLANE_0 = 14,          ///< first byte of each pixel
    ALG_PLANE_1 = 15,          ///< second byte
    ALG_PLANE_2 = 16,          ///< third byte
};

/// Polarity of AlgAuto2Bw.
enum AlgPolarity
{
    ALG_DARK_OBJECTS = 1,   ///< object = grey <= T
    ALG_BRIGHT_OBJECTS = 2, ///< object = grey > T
};

/// Operation codes of AlgMorphology (5 × 5 rectangle).
enum AlgMorphologyCode
{
    ALG_MORPH_DILATE = 31,
    ALG_MORPH_ERODE = 32,
    ALG_MORPH_OPEN = 33,
    ALG_MORPH_CLOSE = 34,
};

/**
 * @brief Converts a three-channel 8-bit image to hue, saturation and
 * intensity planes, each 0..255 (hue over the full circle).
 * @return 0 success; -1 @p src has no data; 2 @p src is not three-channel.
 */
AUTOCOUNT_EXPORT int AlgRGB2HSI(cv::Mat src, cv::Mat& h, cv::Mat& s, cv::Mat& i);

/**
 * @brief Otsu threshold of a single-channel 8-bit image (whole image).
 * @note When no threshold separates two classes (a uniform image),
 * @p threshold keeps the value it came in with and the status is still 0.
 * @return 0 success; 1 empty @p src.
 */
AUTOCOUNT_EXPORT int AlgOtsu(cv::Mat src, int& threshold);

/**
 * @brief Otsu binarisation: objects above the threshold (bright) or at or
 * below it (dark), copied into @p dst through @p mask.
 * @param polarity ALG_DARK_OBJECTS or ALG_BRIGHT_OBJECTS.
 * @param threshold receives the Otsu threshold.
 * @return 0 success; -1 @p src has no data; 1 Otsu failed or bad polarity.
 */
AUTOCOUNT_EXPORT int AlgAuto2Bw(cv::Mat src, cv::Mat mask, int polarity, cv::Mat& dst,
                                int& threshold);

/**
 * @brief Band binarisation: 255 where @p low <= plane value <= @p high,
 * inside @p mask; 0 elsewhere.
 * @param colourSpace ALG_SPACE_PLANES or ALG_SPACE_HSI (ignored for one-channel input).
 * @param planeCode an AlgPlaneCode that belongs to @p colourSpace.
 * @return 0 success; -1 no data; 1 unknown colour space; 2 plane code not of
 * the space; or the status of AlgRGB2HSI.
 */
AUTOCOUNT_EXPORT int AlgManual2Bw(cv::Mat src, cv::Mat mask, int low, int high, int colourSpace,
                                  int planeCode, cv::Mat& dst);

/**
 * @brief Dilate, erode, open or close with a 5 × 5 rectangle; the image
 * edge neither grows nor erodes objects. Works in place.
 * @param op an AlgMorphologyCode.
 * @return 0 success; -1 @p src has no data; 2 @p op outside 31..34.
 */
AUTOCOUNT_EXPORT int AlgMorphology(cv::Mat src, int op, cv::Mat& dst);

/**
 * @brief Closes @p src with a 3 × 3 rectangle (in place, so the caller's
 * image is closed too), then fills every background region that does not
 * reach the image border through 4-connected background. Works in place.
 * @return 0 success; 1 empty @p src.
 */
AUTOCOUNT_EXPORT int AlgFillHole(cv::Mat src, cv::Mat& dst);

/// @}

/// @addtogroup separation Object separation
/// @{

/// Neighbour offsets of the cut's boundary clearing: x_offset is added to the
/// row, y_offset to the column.
AUTOCOUNT_EXPORT extern const int x_offset[8];
AUTOCOUNT_EXPORT extern const int y_offset[8];
/// A 4-neighbour pair of the same kind; nothing uses it.
AUTOCOUNT_EXPORT extern const int x_offset_4[4];
AUTOCOUNT_EXPORT extern const int y_offset_4[4];

/**
 * @brief Seeded flooding over a 256-level relief.
 *
 * Every 8-connected region of seed pixels (value exactly 1) gets the label
 * n mod 256 in raster order of discovery and floods, lowest level first, over
 * 4-neighbours until the floods meet. Level 255 is reached but never flooded
 * onward. Seed pixels are set to 127 in @p seeds (shared with the caller).
 * @param relief 8-bit one-channel flooding levels.
 * @param seeds 8-bit one-channel, same size.
 * @param labels replaced by the 8-bit label image (0 = unreached).
 */
AUTOCOUNT_EXPORT void AlgWatershed(cv::Mat relief, cv::Mat seeds, cv::Mat& labels);

/**
 * @brief Separates touching objects of a binary image, one object at a time.
 * @return 0 success; 1 empty input, and 1 also for a three-channel input.
 */
AUTOCOUNT_EXPORT int AlgAutoCut(cv::Mat in, cv::Mat& out);

/**
 * @brief Cuts one filled object mask (cropped to its bounding box).
 * @return 0 success; 1 empty input; 2 three-channel input.
 */
AUTOCOUNT_EXPORT int AlgAutoCutROI(cv::Mat in, cv::Mat& out);

/// Options of AlgDistanceCut.
struct AlgDistanceCutOptions
{
    /// Expert knob, 1 by default; higher values split more. A maximum of the
    /// distance map becomes an object of its own when it rises above the
    /// saddle to its higher neighbour by 0.16 / sensitivity of (saddle + 0.5 px).
    double sensitivity = 1.0;
    /// When set and true, the cut stops; checked between objects and inside
    /// the flood.
    const std::atomic<bool>* cancel = nullptr;
    /// Optional; receives the share of the work done, 0..1, on the calling thread.
    std::function<void(double)> progress;
};

/**
 * @brief Separates touching objects of a binary image along the necks of its
 * Euclidean distance map.
 *
 * Each 8-connected object is cut on its own: its exact distance map is
 * flooded from the maxima that stand out from their saddle by a share of the
 * saddle's height, and the pixels where two floods meet are cleared. Objects
 * that meet the image border are taken to go on beyond it. The pieces around
 * a hole that lies inside one object (a nucleus) are cut again with the hole
 * filled; background enclosed by a ring of objects stays background. An
 * object that is not cut comes back unchanged; everything else is the input
 * minus one-pixel cut lines, after which no two pieces are 8-connected.
 * Objects are cut in parallel; the result does not depend on the threads.
 * @param in 8-bit one-channel object mask, 0 background, 255 object.
 * @param out receives the cut mask (a new image) on success only.
 * @param options sensitivity, cancellation and progress.
 * @return 0 success; 1 empty @p in; 2 @p in not CV_8UC1; 3 sensitivity not
 * finite or not above 0; 4 cancelled.
 */
AUTOCOUNT_EXPORT int AlgDistanceCut(cv::Mat in, cv::Mat& out,
                                    const AlgDistanceCutOptions& options = AlgDistanceCutOptions());

/**
 * @brief Draws the polyline @p points into a copy of @p in with value 0,
 * 2 pixels thick, and makes @p out that copy.
 * @return 0 success; 1 empty input; 2 exactly three channels.
 */
AUTOCOUNT_EXPORT int AlgManulCut(cv::Mat in, std::vector<cv::Point> points, cv::Mat& out);

/**
 * @brief Closes gaps of up to about two pixels with a 3 × 3 closing.
 * @return 0 success; 1 empty input; 2 more than one channel.
 */
AUTOCOUNT_EXPORT int AlgMerge(cv::Mat in, cv::Mat& out);

/// @}

/// @addtogroup measurement Measurement
/// @{

/**
 * @brief Finds and measures every outer object of @p binary on @p image.
 *
 * Appends one contour and one record per object with a non-zero area; the
 * lists are never cleared.
 * @param image grey or three-channel (red first) picture to measure on.
 * @param binary 8-bit one-channel object mask (non-zero = object).
 * @return 0 success; 1 either image empty.
 */
AUTOCOUNT_EXPORT int AlgCalResult(cv::Mat image, cv::Mat binary, ContourList& contours,
                                  std::vector<parResult>& results);

/**
 * @brief Keeps the objects that stay clear of the image border: every point
 * must have 3 <= x <= width - 5 and 3 <= y <= height - 5.
 * @return always 0.
 */
AUTOCOUNT_EXPORT int AlgRemoveBorder(ContourList contours, std::vector<parResult> results,
                                     int width, int height, ContourList& contoursOut,
                                     std::vector<parResult>& resultsOut);

/// @}

/// @addtogroup display Result display
/// @{

/// Drawing modes of AlgDrawResult.
enum AlgDrawMode
{
    ALG_DRAW_OUTLINE = 41, ///< contours 1 pixel wide
    ALG_DRAW_FILLED = 42,  ///< filled contours
};

/**
 * @brief Paints @p contours into a three-channel copy of @p src.
 * @return 0 success; 1 empty @p src; 2 no contours; 3 unknown mode (@p dst
 * already holds the copy).
 */
AUTOCOUNT_EXPORT int AlgDrawResult(cv::Mat src, ContourList contours, int mode, int red, int green,
                                   int blue, cv::Mat& dst);

/// @}

#pragma once

/**
 * @file countcore.h
 * @brief The counting core: each step of a count as a free function of its
 * inputs, below the controller.
 *
 * Nothing here reads the controller's module-wide settings, the calibration
 * store, a scene or a canvas: the image, the region mask, the choices and the
 * calibration come in as arguments, and numbers come out. Two counts on two
 * threads therefore give what they give one after the other. The controller
 * calls the same functions for its own steps, so each computation exists
 * once.
 */

#include "autocount/alg/alg.h"
#include "autocount/autocount_export.h"

#include <QList>
#include <QPolygonF>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <array>
#include <functional>
#include <vector>

namespace countcore {

/// @name Codes shared with the controller
/// The values are the controller's: segmentation modes 0 bright, 1 dark,
/// 2 manual; channels 0 grey to 6 intensity; morphology 0 dilate to 3 close;
/// data types 0 area to 14 minimum grey value.
/// @{
constexpr int kSegmentAutoBright = 0;
constexpr int kSegmentAutoDark = 1;
constexpr int kSegmentManual = 2;
constexpr int kDataTypeCount = 15;
/// @}

/// @name Regions
/// @{

/// A scene coordinate as an image pixel: truncated toward zero, held within
/// ±2^20, NaN as 0.
AUTOCOUNT_EXPORT int ToPixel(double value);
/// The region of a rectangle item: its corners truncated to pixels. Width and
/// height may be negative (dragged up or to the left).
AUTOCOUNT_EXPORT Contour RectangleRegion(const QRectF& rect);
/// The region of a polygon item, its vertices truncated to pixels.
AUTOCOUNT_EXPORT Contour PolygonRegion(const QPolygonF& polygon);
/// The whole image as one region.
AUTOCOUNT_EXPORT Contour WholeImageRegion(cv::Size size);
/// @p contour as a polygon of scene coordinates (one unit per pixel).
AUTOCOUNT_EXPORT QPolygonF OutlinePolygon(const Contour& contour);
/// The region mask: 255 inside the union of @p regions, 0 elsewhere.
AUTOCOUNT_EXPORT cv::Mat RegionMask(cv::Size size, const ContourList& regions);
/// @}

/// @name Segmentation and refinement
/// @{

/// The grey image of @p source for the automatic modes: the blue-first
/// conversion of a colour source into @p buffer, or a one-channel source
/// itself (shared, not copied).
AUTOCOUNT_EXPORT cv::Mat GreyImage(const cv::Mat& source, cv::Mat& buffer);

/// The band of a segmentation, inclusive.
struct Thresholds
{
    int low = 0;
    int high = 255;
};

/**
 * @brief Thresholds @p source into @p binary.
 *
 * The automatic modes (Otsu on the grey image) set the bound they find and
 * put the other to its end of the scale; a uniform image finds none and keeps
 * the bound it had. The manual mode takes the band on @p channel.
 * @param grey working buffer for the grey image, reused between calls
 * @param binary zero-filled one-channel image of the source's size; the
 *        objects are set to 255
 */
AUTOCOUNT_EXPORT void Segment(const cv::Mat& source, const cv::Mat& regionMask, int mode,
                              int channel, Thresholds& thresholds, cv::Mat& grey, cv::Mat& binary);
/// One morphology operation (0 dilate, 1 erode, 2 open, 3 close) in place;
/// other numbers leave the image alone.
AUTOCOUNT_EXPORT void Refine(cv::Mat& binary, int morphology);
/// Fills the holes of the objects in place.
AUTOCOUNT_EXPORT void FillHoles(cv::Mat& binary);
/// Closes small gaps between objects in place.
AUTOCOUNT_EXPORT void Merge(cv::Mat& binary);
/// @}

/// @name Measurement and the catalogue
/// @{

/**
 * @brief Measures every object of @p binary on the grey form of @p source,
 * appending contours and records; with @p removeBorder the objects near the
 * image border are dropped.
 * @param grey working buffer for the grey image
 */
AUTOCOUNT_EXPORT void Measure(const cv::Mat& source, const cv::Mat& binary, bool removeBorder,
                              cv::Mat& grey, ContourList& contours,
                              std::vector<parResult>& records);

/// How a data type follows the calibration.
enum class UnitKind
{
    None,   ///< as stored: ratios, centres in pixels, degrees, grey values
    Length, ///< times the scale
    Area,   ///< times the scale squared
};

AUTOCOUNT_EXPORT UnitKind DataUnitKind(int type);
/// Value of data type @p type of @p record, calibrated by @p scale units per
/// pixel; types outside 0..14 give 0.
AUTOCOUNT_EXPORT double DataValue(int type, const parResult& record, double scale);
/// The translated plain name of @p type ("Area"); empty outside 0..14.
AUTOCOUNT_EXPORT QString DataTypeName(int type);
/// The name with its unit, as table headers show it ("Area_µm²").
AUTOCOUNT_EXPORT QString DataTypeName(int type, const QString& unit);
/// @p name with the unit suffix that @p type carries: "_unit" for lengths,
/// "_unit²" for areas, none otherwise.
AUTOCOUNT_EXPORT QString WithUnit(const QString& name, int type, const QString& unit);
/// The untranslated plain name of @p type, for settings files and keys.
AUTOCOUNT_EXPORT const char* DataTypeKey(int type);
/// @}

/// @name Filtering
/// @{

/// Filter range of one data type, inclusive, in calibrated units.
struct DataRange
{
    bool enabled = false;
    double minValue = 0.0;
    double maxValue = 0.0;
};
using DataRanges = std::array<DataRange, kDataTypeCount>;

/// The range a fresh module starts with for @p type.
AUTOCOUNT_EXPORT DataRange DefaultDataRange(int type);
AUTOCOUNT_EXPORT DataRanges DefaultDataRanges();
/// True when no enabled range rejects @p record; a NaN value passes.
AUTOCOUNT_EXPORT bool IsValid(const DataRanges& ranges, const parResult& record, double scale);
/// The enabled types in type order: the table's columns.
AUTOCOUNT_EXPORT std::vector<int> EnabledTypes(const DataRanges& ranges);
/// @}

/// @name Statistics and tables
/// @{

/// Statistics of one data type over a list of objects. Without objects the
/// mean and deviation are 0/0 (NaN) and the rest 0.
struct Statistics
{
    double mean = 0.0;
    double standardDeviation = 0.0; ///< population: divided by n
    double minimum = 0.0;
    double maximum = 0.0;
    double range = 0.0;
    double sum = 0.0;
    double count = 0.0;
};

AUTOCOUNT_EXPORT Statistics TypeStatistics(int type, const std::vector<parResult>& records,
                                           double scale);
/// A number as the module's text tables print it: three decimals.
AUTOCOUNT_EXPORT QString TableNumber(double value);
/// Appends the object table as text: a header of "NO." and @p names, then
/// one row per object with its number and the values of @p types.
AUTOCOUNT_EXPORT void AppendObjectTable(QList<QStringList>& rows, const QStringList& names,
                                        const std::vector<parResult>& records,
                                        const std::vector<int>& types, double scale);
/// Appends the statistics table as text: its header, then one row per type
/// named by @p names.
AUTOCOUNT_EXPORT void AppendStatisticsTable(QList<QStringList>& rows, const QStringList& names,
                                            const std::vector<parResult>& records,
                                            const std::vector<int>& types, double scale);
/// @}

/// @name A whole count
/// @{

/// Label image of @p contours: 16-bit, 0 background, object i+1 inside
/// contour i (filled, holes included).
AUTOCOUNT_EXPORT cv::Mat LabelImage(cv::Size size, const ContourList& contours);

/// Everything a count needs besides the image.
struct Request
{
    ContourList regions; ///< pixel regions; empty: the whole image
    int segmentMode = kSegmentAutoDark;
    /// Separation when Hooks::separate is empty: the controller's cut modes,
    /// 0 automatic cut, 3 merge, anything else none.
    int cut = 0;
    int channel = 0;       ///< manual band channel
    Thresholds thresholds; ///< manual band; start bounds of the automatic modes
    std::vector<int> morphology;
    bool fillHoles = false;
    bool removeBorder = true;
    DataRanges ranges = DefaultDataRanges();
    double scale = 1.0;
};

/// Steps beyond the module's own plug in here; each may be empty.
struct Hooks
{
    /// Segments in place of Segment when set: fills @p binary (zero-filled,
    /// the source's size) with the objects inside @p regionMask and may set
    /// @p thresholds to the bounds it used. Refinement, separation and
    /// measurement follow as usual; measurement stays on the source image.
    std::function<void(const cv::Mat& regionMask, Thresholds& thresholds, cv::Mat& binary)> segment;
    /// Separates touching objects in the binary image; returns false when
    /// the count is to stop (cancelled).
    std::function<bool(cv::Mat& binary)> separate;
    /// Sees every measured object before the filter; may drop some.
    std::function<void(ContourList& contours, std::vector<parResult>& records)> measured;
    /// Asked between steps; true stops the count.
    std::function<bool()> cancelled;
    /// Told each step as it starts: 2 segmentation, 3 separation,
    /// 4 measurement (the workflow's step numbers).
    std::function<void(int step)> progress;
};

struct Result
{
    bool cancelled = false;
    Thresholds thresholds;
    cv::Mat binary;                 ///< after separation
    ContourList contours;           ///< every object measured
    std::vector<parResult> records; ///< parallel to contours
    ContourList validContours;      ///< after the filter: numbered 1..n
    std::vector<parResult> validRecords;
    std::vector<int> types; ///< enabled data types
};

/// Counts @p source (the module's 8-bit BGR form) as @p request says.
AUTOCOUNT_EXPORT Result Count(const cv::Mat& source, const Request& request,
                              const Hooks& hooks = Hooks());
/// @}

} // namespace countcore

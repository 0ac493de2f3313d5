#pragma once

// One count: an image in the module's form and the settings in, the core's
// numeric result out. Nothing here touches the controller, a scene or the
// process-wide calibration, so counts may run on several threads at once.

#include "channelmeasures.h"
#include "dish.h"
#include "imageresult.h"
#include "preparation.h"
#include "settings.h"

#include "autocount/core/countcore.h"

#include <QString>
#include <QStringList>

#include <opencv2/core.hpp>

#include <functional>
#include <optional>

namespace countrun {

/// What a front end may follow and stop while an image is counted.
struct Hooks
{
    /// Asked between the steps; true stops the count.
    std::function<bool()> cancelled;
    /// Told the step that starts: 2 segmentation, 3 separation, 4 measurement.
    std::function<void(int step)> progress;
};

/// The result of one count, with what the writers need to picture it.
struct CountResult
{
    cv::Mat image;                    ///< the image counted (8-bit BGR)
    countcore::Result core;           ///< objects, contours, thresholds
    ContourList regions;              ///< the regions counted in, in pixels (empty: whole image)
    double scale = 1.0;               ///< units per pixel
    QString unit;                     ///< length unit of the calibration
    QStringList typeNames;            ///< display names of core.types, with units
    QString error;                    ///< why the image could not be counted; empty on success
    preparation::Report preparation;  ///< what the preparation found; ran false when off
    channelmeasures::Table channels;  ///< per valid object, in the other planes
    std::optional<dish::Circle> dish; ///< the dish's rim, with --dish auto
    /// Objects the user marked by hand where the count missed them, in image
    /// pixels; they are counted and numbered after the valid objects.
    std::vector<cv::Point2d> handAdded;
    /// The plane thresholded: a channel's word (manual band), "grey", or a
    /// stain; and, with the automatic modes, whether the objects are bright.
    QString plane;
    bool bright = false;
    bool settingsManual = false; ///< the plane was thresholded by the manual band

    /// The valid objects, without those added by hand.
    int Count() const { return static_cast<int>(core.validRecords.size()); }
};

/// The core's request for @p settings.
countcore::Request MakeRequest(const CountSettings& settings);

/**
 * @brief Counts @p image, which must be 8-bit BGR (see imageinput), as
 * @p settings say.
 *
 * Everything is checked before the module sees it: an image of another
 * type, or settings that do not validate, come back with the reason in
 * error and no objects. A cancelled count comes back with core.cancelled
 * set and no objects.
 */
CountResult Count(const cv::Mat& image, const CountSettings& settings,
                  const Hooks& hooks = Hooks());
/// As above; with settings.measureChannels every valid object is also
/// measured in the colour planes of @p image (when they differ) and in
/// @p planes (8- or 16-bit, the image's size, e.g. the other pages of a
/// stack, named by the caller: "c2", ...).
CountResult Count(const cv::Mat& image, const CountSettings& settings, const Hooks& hooks,
                  const std::vector<channelmeasures::Plane>& planes);

/// The result as the tables, the summary and the JSON output carry it.
ImageResult Summarise(const QString& file, const CountResult& result);

} // namespace countrun

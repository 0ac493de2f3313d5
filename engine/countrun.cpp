#include "countrun.h"

#include "catalogue.h"
#include "dishagar.h"
#include "planechoice.h"
#include "separationworker.h"
#include "sizefloor.h"
#include "stains.h"

#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <optional>

namespace countrun {

countcore::Request MakeRequest(const CountSettings& s)
{
    countcore::Request request;
    // A rectangle is taken as the mouse draws it, from its first corner to
    // the opposite one, so its far edge is the same sum as on the screen.
    for (const QRectF& r : s.rectangles) {
        const QPointF far = r.topLeft() + QPointF(r.width(), r.height());
        request.regions.push_back(
            countcore::RectangleRegion(QRectF(r.x(), r.y(), far.x() - r.x(), far.y() - r.y())));
    }
    if (s.rectangles.isEmpty())
        for (const QPolygonF& polygon : s.polygons)
            request.regions.push_back(countcore::PolygonRegion(polygon));

    switch (s.mode) {
    case SegmentMode::Auto: // chosen in the count, see Count
    case SegmentMode::Bright:
        request.segmentMode = countcore::kSegmentAutoBright;
        break;
    case SegmentMode::Dark:
        request.segmentMode = countcore::kSegmentAutoDark;
        break;
    case SegmentMode::Manual:
        request.segmentMode = countcore::kSegmentManual;
        request.thresholds = {s.low, s.high};
        break;
    }
    // The module's band reads the blue plane for its red code and the red
    // plane for its blue code; the user's word names the plane.
    request.channel = planechoice::ModuleBandChannel(s.channel);
    for (Morphology op : s.morphology)
        request.morphology.push_back(static_cast<int>(op));
    request.fillHoles = s.fillHoles;
    switch (s.cut) {
    case Separation::Auto:
        request.cut = 0;
        break;
    case Separation::Merge:
        request.cut = 3;
        break;
    case Separation::None:
    case Separation::Distance: // runs as a hook of the count, see Count
        request.cut = 2;
        break;
    }
    request.removeBorder = !s.keepBorder;
    request.ranges = catalogue::Ranges(s);
    request.scale = s.scale;
    return request;
}

CountResult Count(const cv::Mat& image, const CountSettings& settings, const Hooks& hooks)
{
    return Count(image, settings, hooks, {});
}

CountResult Count(const cv::Mat& image, const CountSettings& settings, const Hooks& hooks,
                  const std::vector<channelmeasures::Plane>& planes)
{
    CountResult result;
    result.scale = settings.scale;
    result.unit = settings.unit;
    // The module's functions trust their callers with sizes and types; no
    // image or setting reaches them unchecked.
    if (image.empty() || image.type() != CV_8UC3) {
        result.error = image.empty() ? QStringLiteral("empty image")
                                     : QStringLiteral("not an 8-bit three-channel image");
        return result;
    }
    try {
        countsettings::Validate(settings);
    } catch (const UsageError& error) {
        result.error = QStringLiteral("%1: %2").arg(error.option(), error.message());
        return result;
    }
    result.image = image;
    const countcore::Request request = MakeRequest(settings);
    result.regions = request.regions;

    countcore::Hooks core;
    core.cancelled = hooks.cancelled;
    core.progress = hooks.progress;

    // A dish is found first; without one there is nothing to count.
    if (settings.dish == DishMode::Auto) {
        result.dish = dish::Find(image);
        if (!result.dish) {
            result.error = QStringLiteral("no dish found (--dish auto): no round rim stands out");
            result.image.release();
            return result;
        }
    }

    // The preparation replaces the automatic threshold (the manual band is
    // the user's own); measurement stays on the image as it is. Inside a
    // dish the background step always runs: it takes the glare and the
    // uneven light away.
    preparation::Steps steps;
    // Colonies are even, not grainy: on a dish the smoothing would only
    // fill the necks between touching ones.
    steps.smooth = settings.Prepares(PrepStep::Smooth) && settings.dish == DishMode::None;
    steps.background = settings.Prepares(PrepStep::Background) || result.dish.has_value();
    steps.threshold = settings.Prepares(PrepStep::Threshold);
    const std::optional<stains::Vector> stain =
        settings.stain.isEmpty() ? std::nullopt : stains::Parse(settings.stain);
    const bool prepares = steps.smooth || steps.background || steps.threshold;
    const bool automatic = settings.mode == SegmentMode::Auto;
    result.settingsManual = settings.mode == SegmentMode::Manual;
    if (settings.mode == SegmentMode::Manual) {
        result.plane = countsettings::Name(settings.channel);
    } else {
        // A stain's density is high on the objects: bright objects.
        result.plane = stain ? settings.stain : QStringLiteral("grey");
        result.bright = stain || settings.mode == SegmentMode::Bright;
    }
    const bool engineSegments =
        settings.mode != SegmentMode::Manual && (prepares || stain || automatic);
    // Segments @p source (the image or a part of it) inside @p regionMask.
    auto segment = [&](const cv::Mat& source, const cv::Mat& regionMask,
                       countcore::Thresholds& thresholds, cv::Mat& binary) {
        if (!engineSegments) {
            cv::Mat grey;
            countcore::Segment(source, regionMask, request.segmentMode, request.channel, thresholds,
                               grey, binary);
            return;
        }
        if (automatic && result.dish) {
            // Colonies on agar differ in lightness, not in stain: the grey
            // image, dark or bright.
            cv::Mat buffer;
            result.plane = QStringLiteral("grey");
            result.bright =
                planechoice::BrightObjects(countcore::GreyImage(source, buffer), regionMask);
        } else if (automatic) {
            const planechoice::Choice choice =
                planechoice::Choose(source, regionMask, settings.stain);
            result.plane = choice.plane;
            result.bright = choice.bright;
        }
        const bool bright = result.bright;
        const bool grey = result.plane == QLatin1String("grey");
        cv::Mat buffer;
        const cv::Mat plane = grey ? countcore::GreyImage(source, buffer)
                                   : planechoice::NamedPlane(source, result.plane);
        if (prepares) {
            preparation::Steps used = steps;
            if (result.dish)
                used.firstMask = dishagar::ObjectMask(plane, bright, regionMask,
                                                      dish::CountedRadius(*result.dish));
            result.preparation = preparation::Segment(plane, bright, regionMask, used, binary);
        }
        if (!result.preparation.ran) {
            if (grey) {
                countcore::Segment(source, regionMask,
                                   bright ? countcore::kSegmentAutoBright
                                          : countcore::kSegmentAutoDark,
                                   request.channel, thresholds, buffer, binary);
                return;
            }
            binary.setTo(0);
            if (bright) {
                AlgAuto2Bw(plane, regionMask, ALG_BRIGHT_OBJECTS, binary, thresholds.low);
                thresholds.high = 255;
            } else {
                AlgAuto2Bw(plane, regionMask, ALG_DARK_OBJECTS, binary, thresholds.high);
                thresholds.low = 0;
            }
            return;
        }
        const int level =
            std::clamp(static_cast<int>(std::lround(result.preparation.floor)), 0, 255);
        thresholds =
            bright ? countcore::Thresholds{level, 255} : countcore::Thresholds{0, 255 - level};
    };
    if (result.dish) {
        // Only the dish's box is segmented, with everything outside the
        // counted disc set to the agar's level and the glare taken down
        // (dishagar::Evened): the size estimate, the background and the noise
        // then see the agar and its colonies alone.
        core.segment = [&](const cv::Mat& regionMask, countcore::Thresholds& thresholds,
                           cv::Mat& binary) {
            const cv::Mat disc = dish::Mask(image.size(), *result.dish);
            const cv::Rect box = cv::boundingRect(disc);
            binary.setTo(0);
            if (box.empty())
                return;
            const cv::Mat inside = disc(box) & regionMask(box);
            const cv::Mat part = dishagar::Evened(
                image(box), disc(box), cv::Point2d(result.dish->x - box.x, result.dish->y - box.y),
                dish::CountedRadius(*result.dish));
            cv::Mat found(box.size(), CV_8UC1, cv::Scalar(0));
            segment(part, inside, thresholds, found);
            found.copyTo(binary(box));
        };
    } else if (engineSegments) {
        core.segment = [&](const cv::Mat& regionMask, countcore::Thresholds& thresholds,
                           cv::Mat& binary) { segment(image, regionMask, thresholds, binary); };
    }
    const bool fillHoles =
        settings.mode != SegmentMode::Manual && settings.Prepares(PrepStep::Holes);
    if (settings.cut == Separation::None && fillHoles)
        core.separate = [](cv::Mat& binary) {
            preparation::FillSingleObjectHoles(binary);
            return true;
        };
    if (settings.cut == Separation::Distance) {
        // The separation asks between objects whether to stop; the front
        // end's question is put to it there.
        core.separate = [&](cv::Mat& binary) {
            std::atomic<bool> stop{false};
            cv::Mat out;
            const bool done = SeparationWorker::Separate(
                binary, SeparationWorker::Method::Distance, settings.sensitivity, &stop,
                [&](double) {
                    if (hooks.cancelled && hooks.cancelled())
                        stop = true;
                },
                out);
            if (!done)
                return false;
            if (!out.empty())
                binary = out;
            if (fillHoles)
                preparation::FillSingleObjectHoles(binary);
            return true;
        };
    }
    if (settings.speckFloor > 0) {
        core.measured = [&](ContourList& contours, std::vector<parResult>& records) {
            std::vector<double> areas;
            areas.reserve(records.size());
            for (const parResult& record : records)
                areas.push_back(record.area);
            contours = engine::DropSpecks(contours, areas, settings.speckFloor);
            records = engine::DropSpecks(records, areas, settings.speckFloor);
        };
    }
    result.core = countcore::Count(image, request, core);
    if (settings.measureChannels && !result.core.cancelled) {
        std::vector<channelmeasures::Plane> all = channelmeasures::ColourPlanes(image);
        all.insert(all.end(), planes.begin(), planes.end());
        if (!all.empty())
            result.channels =
                channelmeasures::Measure(result.core.validContours, all, image.size());
    }
    for (int type : result.core.types)
        result.typeNames << countcore::DataTypeName(type, settings.unit);
    return result;
}

ImageResult Summarise(const QString& file, const CountResult& r)
{
    ImageResult result;
    result.file = file;
    result.width = r.image.cols;
    result.height = r.image.rows;
    result.count = r.Count() + static_cast<int>(r.handAdded.size());
    result.handAdded = static_cast<int>(r.handAdded.size());
    result.unit = r.unit;
    result.scale = r.scale;
    result.lowThreshold = r.core.thresholds.low;
    result.highThreshold = r.core.thresholds.high;
    result.plane = r.plane;
    result.objectsKept =
        r.settingsManual ? QStringLiteral("band") : planechoice::PolarityName(r.bright);
    const std::vector<parResult>& valid = r.core.validRecords;
    if (!valid.empty()) {
        // Summed in list order, as the statistics table sums.
        double sum = 0;
        for (const parResult& record : valid)
            sum += countcore::DataValue(0, record, r.scale);
        result.meanArea = sum / static_cast<double>(valid.size());
    }

    // Every measurement straight from the records, not from the module's
    // three-decimal text tables, so calibrated values keep every digit.
    result.objects.reserve(valid.size());
    for (size_t i = 0; i < valid.size(); ++i) {
        const Contour none;
        const Contour& contour = i < r.core.validContours.size() ? r.core.validContours[i] : none;
        result.objects.push_back(
            objectdata::MakeRow(static_cast<int>(i) + 1, valid[i], contour, r.scale));
    }
    // The objects marked by hand follow, with their position only.
    for (size_t i = 0; i < r.handAdded.size(); ++i)
        result.objects.push_back(objectdata::MarkerRow(static_cast<int>(valid.size() + i) + 1,
                                                       r.handAdded[i].x, r.handAdded[i].y));
    result.dish = r.dish;
    result.channelKeys = r.channels.keys;
    result.channelRows = r.channels.rows;
    result.preparation = r.preparation;
    for (int type = 0; type < countcore::kDataTypeCount; ++type) {
        TypeStatistics s;
        s.name = QString::fromLatin1(objectdata::MeasurementKey(type));
        if (!valid.empty()) {
            const countcore::Statistics core = countcore::TypeStatistics(type, valid, r.scale);
            s.mean = core.mean;
            s.standardDeviation = core.standardDeviation;
            s.minimum = core.minimum;
            s.maximum = core.maximum;
            s.range = core.range;
            s.sum = core.sum;
        }
        result.statistics << s;
    }
    return result;
}

} // namespace countrun

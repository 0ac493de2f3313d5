#include "countrun.h"

#include "catalogue.h"
#include "separationworker.h"
#include "sizefloor.h"
#include "stains.h"

#include "autocount/alg/alg.h"

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
    request.channel = static_cast<int>(s.channel);
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
    // The preparation replaces the automatic threshold (the manual band is
    // the user's own); measurement stays on the image as it is.
    preparation::Steps steps;
    steps.smooth = settings.Prepares(PrepStep::Smooth);
    steps.background = settings.Prepares(PrepStep::Background);
    steps.threshold = settings.Prepares(PrepStep::Threshold);
    const std::optional<stains::Vector> stain =
        settings.stain.isEmpty() ? std::nullopt : stains::Parse(settings.stain);
    const bool prepares = steps.smooth || steps.background || steps.threshold;
    if (settings.mode != SegmentMode::Manual && (prepares || stain)) {
        core.segment = [&](const cv::Mat& regionMask, countcore::Thresholds& thresholds,
                           cv::Mat& binary) {
            // A stain's density is high on the objects: bright objects.
            const bool bright = stain || settings.mode == SegmentMode::Bright;
            cv::Mat grey;
            const cv::Mat plane =
                stain ? stains::DensityPlane(image, *stain) : countcore::GreyImage(image, grey);
            if (prepares)
                result.preparation = preparation::Segment(plane, bright, regionMask, steps, binary);
            if (!result.preparation.ran) {
                if (!stain) {
                    countcore::Segment(image, regionMask, request.segmentMode, request.channel,
                                       thresholds, grey, binary);
                    return;
                }
                binary.setTo(0);
                AlgAuto2Bw(plane, regionMask, ALG_BRIGHT_OBJECTS, binary, thresholds.low);
                thresholds.high = 255;
                return;
            }
            const int level =
                std::clamp(static_cast<int>(std::lround(result.preparation.floor)), 0, 255);
            thresholds =
                bright ? countcore::Thresholds{level, 255} : countcore::Thresholds{0, 255 - level};
        };
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
    result.count = r.Count();
    result.unit = r.unit;
    result.scale = r.scale;
    result.lowThreshold = r.core.thresholds.low;
    result.highThreshold = r.core.thresholds.high;
    const std::vector<parResult>& valid = r.core.validRecords;
    if (!valid.empty()) {
        // Summed in list order, as the statistics table sums.
        double sum = 0;
        for (const parResult& record : valid)
            sum += countcore::DataValue(0, record, r.scale);
        result.meanArea = sum / result.count;
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

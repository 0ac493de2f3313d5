#include "countrun.h"

#include "catalogue.h"

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
    result.core = countcore::Count(image, request, core);
    for (int type : result.core.types)
        result.typeNames << countcore::DataTypeName(type, settings.unit);
    return result;
}

ImageResult Summarise(const QString& file, const CountResult& r)
{
    ImageResult result;
    result.file = file;
    result.count = r.Count();
    result.unit = r.unit;
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

    // The tables as the module prints them, read back as numbers.
    QList<QStringList> table;
    countcore::AppendObjectTable(table, r.typeNames, valid, r.core.types, r.scale);
    result.columns = table.takeFirst();
    for (const QStringList& row : table) {
        QList<double> numbers;
        for (const QString& cell : row)
            numbers << imageresult::Cell(cell).value_or(0.0);
        result.objects << numbers;
    }
    QList<QStringList> statistics;
    countcore::AppendStatisticsTable(statistics, r.typeNames, valid, r.core.types, r.scale);
    for (int i = 1; i < statistics.size(); ++i) {
        const QStringList& row = statistics[i];
        TypeStatistics s;
        s.name = row.value(0);
        s.mean = imageresult::Cell(row.value(1));
        s.standardDeviation = imageresult::Cell(row.value(2));
        s.minimum = imageresult::Cell(row.value(3)).value_or(0.0);
        s.maximum = imageresult::Cell(row.value(4)).value_or(0.0);
        s.range = imageresult::Cell(row.value(5)).value_or(0.0);
        s.sum = imageresult::Cell(row.value(6)).value_or(0.0);
        s.count = imageresult::Cell(row.value(7)).value_or(0.0);
        result.statistics << s;
    }
    return result;
}

} // namespace countrun

// The engine's entry point: a count of any image with any settings. The
// module's functions trust their callers; the engine checks every image and
// setting first, so nothing malformed reaches them.
#include "fuzztargets.h"

#include "countrun.h"

namespace fuzzing {

namespace {

CountSettings AnySettings(FuzzInput& in, cv::Size size)
{
    CountSettings s;
    s.mode = static_cast<SegmentMode>(in.Int(0, 2));
    s.channel = static_cast<Channel>(in.Int(0, 6));
    s.low = in.Int(-2, 257);
    s.high = in.Int(-2, 257);
    const int operations = in.Int(0, 3);
    for (int i = 0; i < operations; ++i)
        s.morphology << static_cast<Morphology>(in.Int(0, 3));
    s.fillHoles = in.Bool();
    s.cut = static_cast<Separation>(in.Int(0, 2));
    s.keepBorder = in.Bool();
    s.defaultFilters = in.Bool();
    if (in.Bool())
        s.filters << FilterSetting{QStringLiteral("Area"), in.AnyDouble(), std::nullopt};
    if (in.Bool())
        s.scale = in.AnyDouble();
    const int regions = in.Int(0, 2);
    for (int i = 0; i < regions; ++i) {
        if (in.Bool()) {
            const cv::Point corner = AnyPoint(in, size);
            s.rectangles << QRectF(corner.x, corner.y, in.Int(1, 80), in.Int(1, 80));
        } else {
            QPolygonF polygon;
            for (const cv::Point& p : AnyPolygon(in, size, 6))
                polygon << QPointF(p.x, p.y);
            if (polygon.size() >= 3)
                s.polygons << polygon;
        }
    }
    return s;
}

} // namespace

void FuzzEngineCount(FuzzInput& in)
{
    const int type = in.Bool() ? CV_8UC3 : AnyType(in);
    // Blobs are drawn in 8 bits only; other depths get raw pixels.
    const bool blobs = in.Bool() && CV_MAT_DEPTH(type) == CV_8U;
    const cv::Mat image = AnyImage(in, type, blobs ? Pixels::Blobs : Pixels::Raw);
    const CountSettings settings = AnySettings(in, image.size());
    const countrun::CountResult result = countrun::Count(image, settings);
    if (!result.error.isEmpty()) {
        Require(result.Count() == 0, "Count: a refused image has no objects");
        return;
    }
    Require(image.type() == CV_8UC3 && !image.empty(), "Count: only 8-bit BGR is counted");
    Require(result.core.validContours.size() == result.core.validRecords.size(),
            "Count: contours and records are parallel");
    const ImageResult summary = countrun::Summarise(QStringLiteral("x"), result);
    Require(summary.count == result.Count() &&
                static_cast<int>(summary.objects.size()) == summary.count,
            "Summarise: one row per object");
}

} // namespace fuzzing

// Regions to count in: rectangles and polygons as pixel outlines, and the
// mask that is their union.

#include "autocount/core/countcore.h"

#include <opencv2/imgproc.hpp>

namespace countcore {

int ToPixel(double value)
{
    // A scene may hold points far beyond any image, even beyond the range of
    // int, where the plain conversion is undefined; and the fill's time grows
    // with a polygon's height, so a vertex billions of rows away would take
    // seconds. Coordinates are therefore held within ±2²⁰ (a rectangle clips
    // to the same pixels), and a NaN coordinate counts as 0.
    constexpr int kFar = 1 << 20;
    if (!(value == value))
        return 0;
    if (value >= kFar)
        return kFar;
    if (value <= -kFar)
        return -kFar;
    return static_cast<int>(value);
}

Contour RectangleRegion(const QRectF& rect)
{
    const int x0 = ToPixel(rect.x());
    const int y0 = ToPixel(rect.y());
    const int x1 = ToPixel(rect.x() + rect.width());
    const int y1 = ToPixel(rect.y() + rect.height());
    return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
}

Contour PolygonRegion(const QPolygonF& polygon)
{
    Contour contour;
    contour.reserve(static_cast<size_t>(polygon.size()));
    for (const QPointF& point : polygon)
        contour.emplace_back(ToPixel(point.x()), ToPixel(point.y()));
    return contour;
}

Contour WholeImageRegion(cv::Size size)
{
    const int right = size.width - 1;
    const int bottom = size.height - 1;
    return {{0, 0}, {right, 0}, {right, bottom}, {0, bottom}};
}

QPolygonF OutlinePolygon(const Contour& contour)
{
    QPolygonF polygon;
    polygon.reserve(static_cast<int>(contour.size()));
    for (const cv::Point& p : contour)
        polygon.append(QPointF(p.x, p.y));
    return polygon;
}

cv::Mat RegionMask(cv::Size size, const ContourList& regions)
{
    cv::Mat mask = cv::Mat::zeros(size.height, size.width, CV_8UC1);
    if (mask.empty())
        return mask;
    // Each region is filled on its own so that the mask is their union: one
    // fill of several polygons together would count crossings and leave the
    // inside of an overlap unselected.
    for (const Contour& region : regions) {
        if (region.empty())
            continue;
        const cv::Point* vertices = region.data();
        const int count = static_cast<int>(region.size());
        cv::fillPoly(mask, &vertices, &count, 1, cv::Scalar(255, 255, 255, 0), cv::LINE_8, 0);
    }
    return mask;
}

} // namespace countcore

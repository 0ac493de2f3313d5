#include "autocount/autocountmanager.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

#include <opencv2/imgproc.hpp>

namespace {

// Scene coordinates are truncated toward zero to image pixels. A scene may
// hold points far beyond any image, even beyond the range of int, where the
// plain conversion is undefined; and the fill's time grows with a polygon's
// height, so a vertex billions of rows away would take seconds. Coordinates
// are therefore held within ±2²⁰ (a rectangle clips to the same pixels), and
// a NaN coordinate counts as 0.
int ToPixel(double v)
{
    constexpr int kFar = 1 << 20;
    if (!(v == v))
        return 0;
    if (v >= kFar)
        return kFar;
    if (v <= -kFar)
        return -kFar;
    return static_cast<int>(v);
}

Contour TruncatedContour(const QPolygonF& polygon)
{
    Contour contour;
    contour.reserve(static_cast<size_t>(polygon.size()));
    // Scene coordinates are image pixels; conversion truncates toward zero.
    for (const QPointF& point : polygon)
        contour.emplace_back(ToPixel(point.x()), ToPixel(point.y()));
    return contour;
}

// Fills each region on its own so that the mask is the union of the regions:
// one fill of several polygons together would count crossings and leave the
// inside of an overlap unselected.
void FillRegions(cv::Mat& mask, const ContourList& regions)
{
    for (const Contour& region : regions) {
        if (region.empty())
            continue;
        const cv::Point* vertices = region.data();
        const int count = static_cast<int>(region.size());
        cv::fillPoly(mask, &vertices, &count, 1, cv::Scalar(255, 255, 255, 0), cv::LINE_8, 0);
    }
}

} // namespace

void AutoCountManager::SetSelectedRegions()
{
    cv::Mat mask = cv::Mat::zeros(sourceImage_.rows, sourceImage_.cols, CV_8UC1);

    ContourList regions;
    switch (regionSelectionMode) {
    case REGION_WHOLE_IMAGE: {
        const int right = mask.cols - 1;
        const int bottom = mask.rows - 1;
        regions.push_back({{0, 0}, {right, 0}, {right, bottom}, {0, bottom}});
        break;
    }
    case REGION_RECTANGLE:
        // Only finished rectangles count; width and height may be negative
        // when the rectangle was dragged up or to the left.
        for (const QGraphicsRectItem* item : rectItems_) {
            const QRectF rect = item->rect();
            const int x0 = ToPixel(rect.x());
            const int y0 = ToPixel(rect.y());
            const int x1 = ToPixel(rect.x() + rect.width());
            const int y1 = ToPixel(rect.y() + rect.height());
            regions.push_back({{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}});
        }
        break;
    case REGION_POLYGON:
        // Each finished polygon passes through the shared point buffer, which
        // therefore ends holding the last one.
        for (const QGraphicsPolygonItem* item : polygonItems_) {
            points_ = item->polygon();
            regions.push_back(TruncatedContour(points_));
        }
        break;
    default:
        break;
    }

    if (!mask.empty())
        FillRegions(mask, regions);
    regionMask_ = mask;
}

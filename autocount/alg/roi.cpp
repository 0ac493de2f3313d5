#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace {

/// Results of AlgGetROI.
enum RoiStatus
{
    ROI_OK = 0,
    ROI_EMPTY_SOURCE = 1,
    ROI_TOO_FEW_POINTS = 3, ///< a polygon needs three vertices to enclose anything
};

// The fill's time grows with the polygon's height: a vertex billions of rows
// away would take seconds. Vertices are held within ±2²⁰, which leaves every
// polygon of a real image as it is.
cv::Point HeldNear(cv::Point p)
{
    constexpr int kFar = 1 << 20;
    return cv::Point(std::clamp(p.x, -kFar, kFar), std::clamp(p.y, -kFar, kFar));
}

} // namespace

int AlgGetROI(cv::Mat src, std::vector<cv::Point> polygon, cv::Mat& dst)
{
    if (src.empty() || src.data == nullptr)
        return ROI_EMPTY_SOURCE;
    if (polygon.size() < 3)
        return ROI_TOO_FEW_POINTS;

    // The mask has the source's size, type and channel count; every channel
    // is 255 inside the polygon and on its boundary.
    cv::Mat roi = cv::Mat::zeros(src.size(), src.type());
    for (cv::Point& p : polygon)
        p = HeldNear(p);
    const cv::Point* vertices = polygon.data();
    const int count = static_cast<int>(polygon.size());
    cv::fillPoly(roi, &vertices, &count, 1, cv::Scalar(255, 255, 255, 0), cv::LINE_8, 0);

    dst = roi;
    return ROI_OK;
}

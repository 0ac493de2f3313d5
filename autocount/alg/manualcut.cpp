#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {

constexpr int kCutThickness = 2;
// The library's thick line breaks down (division by zero) for end points of
// about ±2^30. A segment whose end points both lie within this bound, far
// beyond any image, is drawn exactly as given; a longer one is first
// shortened to the part inside the bound, which is the only part that can
// reach the image.
constexpr double kFarBound = 1 << 24;

// Shortens the segment a-b to its part inside [-kFarBound, kFarBound]² by
// Liang-Barsky clipping. False when no part of it is inside.
bool KeepNear(cv::Point& a, cv::Point& b)
{
    const auto inside = [](const cv::Point& p) {
        return std::abs(double(p.x)) <= kFarBound && std::abs(double(p.y)) <= kFarBound;
    };
    if (inside(a) && inside(b))
        return true;
    const double x0 = a.x, y0 = a.y;
    const double dx = double(b.x) - x0, dy = double(b.y) - y0;
    double t0 = 0.0, t1 = 1.0;
    // Each pair is (direction, distance to the bound) of one side of the box.
    const double sides[4][2] = {
        {-dx, x0 + kFarBound}, {dx, kFarBound - x0}, {-dy, y0 + kFarBound}, {dy, kFarBound - y0}};
    for (const auto& side : sides) {
        const double p = side[0], q = side[1];
        if (p == 0.0) {
            if (q < 0.0)
                return false;
            continue;
        }
        const double t = q / p;
        if (p < 0.0)
            t0 = std::max(t0, t);
        else
            t1 = std::min(t1, t);
        if (t0 > t1)
            return false;
    }
    a = cv::Point(cvRound(x0 + t0 * dx), cvRound(y0 + t0 * dy));
    b = cv::Point(cvRound(x0 + t1 * dx), cvRound(y0 + t1 * dy));
    return true;
}

} // namespace

int AlgManulCut(cv::Mat in, std::vector<cv::Point> points, cv::Mat& out)
{
    if (!in.data || in.total() == 0)
        return 1;
    // Only exactly three channels are refused; two- and four-channel images
    // are cut like any other (AlgMerge is stricter).
    if (in.channels() == 3)
        return 2;

    cv::Mat cut = in.clone();
    // One segment per pair of consecutive points; a single point draws nothing.
    for (size_t i = 0; i + 1 < points.size(); ++i) {
        cv::Point from = points[i], to = points[i + 1];
        if (KeepNear(from, to))
            cv::line(cut, from, to, cv::Scalar::all(0), kCutThickness, cv::LINE_8, 0);
    }
    out = cut;
    return 0;
}

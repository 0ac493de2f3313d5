#include "dish.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace dish {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kMadToSigma = 1.4826;

// Bilinear sample of @p image (CV_32F); NaN outside.
double Sample(const cv::Mat& image, double x, double y)
{
    if (!(x >= 0 && y >= 0 && x <= image.cols - 1 && y <= image.rows - 1))
        return std::nan("");
    const int x0 = std::min(static_cast<int>(x), std::max(0, image.cols - 2));
    const int y0 = std::min(static_cast<int>(y), std::max(0, image.rows - 2));
    const int x1 = std::min(x0 + 1, image.cols - 1), y1 = std::min(y0 + 1, image.rows - 1);
    const double fx = x - x0, fy = y - y0;
    const float* a = image.ptr<float>(y0);
    const float* b = image.ptr<float>(y1);
    return (1 - fy) * ((1 - fx) * a[x0] + fx * a[x1]) + fy * ((1 - fx) * b[x0] + fx * b[x1]);
}

struct Fit
{
    Circle circle;
    int kept = 0;
};

// Algebraic least squares: x² + y² + D x + E y + F = 0 over @p points.
bool FitCircle(const std::vector<cv::Point2d>& points, Circle& circle)
{
    if (points.size() < 3)
        return false;
    cv::Mat a(static_cast<int>(points.size()), 3, CV_64F), b(a.rows, 1, CV_64F);
    for (int i = 0; i < a.rows; ++i) {
        const cv::Point2d& p = points[static_cast<size_t>(i)];
        a.at<double>(i, 0) = p.x;
        a.at<double>(i, 1) = p.y;
        a.at<double>(i, 2) = 1;
        b.at<double>(i, 0) = -(p.x * p.x + p.y * p.y);
    }
    cv::Mat solution;
    if (!cv::solve(a, b, solution, cv::DECOMP_SVD))
        return false;
    const double d = solution.at<double>(0), e = solution.at<double>(1), f = solution.at<double>(2);
    circle.x = -d / 2;
    circle.y = -e / 2;
    const double r2 = circle.x * circle.x + circle.y * circle.y - f;
    if (!(r2 > 0))
        return false;
    circle.radius = std::sqrt(r2);
    return true;
}

double Median(std::vector<double> values)
{
    const size_t k = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + static_cast<long>(k), values.end());
    return values[k];
}

// The rim near @p start: ridge points along rays, then a robust fit.
Fit Refine(const cv::Mat& grey, const Circle& start)
{
    const double width = std::max(2.0, kRimWidth * start.radius);
    const double step = 0.5;
    std::vector<cv::Point2d> points;
    for (int ray = 0; ray < kRays; ++ray) {
        const double angle = 2 * kPi * ray / kRays;
        const double c = std::cos(angle), s = std::sin(angle);
        double best = kMinRidge, at = -1;
        for (double r = (1 - kSearchBand) * start.radius; r <= (1 + kSearchBand) * start.radius;
             r += step) {
            const double mid = Sample(grey, start.x + r * c, start.y + r * s);
            const double in = Sample(grey, start.x + (r - width) * c, start.y + (r - width) * s);
            const double out = Sample(grey, start.x + (r + width) * c, start.y + (r + width) * s);
            // Outside the picture the outer side is the rim's own level.
            const double ridge = mid - 0.5 * (in + (std::isnan(out) ? mid : out));
            if (ridge > best) {
                best = ridge;
                at = r;
            }
        }
        if (at > 0)
            points.emplace_back(start.x + at * c, start.y + at * s);
    }
    Fit fit;
    if (!FitCircle(points, fit.circle))
        return fit;
    fit.kept = static_cast<int>(points.size());
    for (int round = 0; round < kRefits; ++round) {
        std::vector<double> residuals;
        residuals.reserve(points.size());
        for (const cv::Point2d& p : points)
            residuals.push_back(
                std::abs(std::hypot(p.x - fit.circle.x, p.y - fit.circle.y) - fit.circle.radius));
        const double limit = std::max(1.0, 3 * kMadToSigma * Median(residuals));
        std::vector<cv::Point2d> kept;
        for (size_t i = 0; i < points.size(); ++i)
            if (residuals[i] <= limit)
                kept.push_back(points[i]);
        Circle circle;
        if (!FitCircle(kept, circle))
            break;
        fit.circle = circle;
        fit.kept = static_cast<int>(kept.size());
        if (kept.size() == points.size())
            break;
        points.swap(kept);
    }
    return fit;
}

} // namespace

std::optional<Circle> Find(const cv::Mat& image)
{
    if (image.empty() || image.depth() != CV_8U)
        return std::nullopt;
    cv::Mat grey;
    if (image.channels() == 3)
        cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    else
        grey = image;
    const double factor = std::max(1.0, std::max(grey.cols, grey.rows) / kSearchSide);
    cv::Mat small;
    cv::resize(grey, small,
               cv::Size(std::max(1, static_cast<int>(std::lround(grey.cols / factor))),
                        std::max(1, static_cast<int>(std::lround(grey.rows / factor)))),
               0, 0, cv::INTER_AREA);
    cv::GaussianBlur(small, small, cv::Size(0, 0), 1.5);
    const int shortSide = std::min(small.cols, small.rows);
    const int longSide = std::max(small.cols, small.rows);
    if (shortSide < 32)
        return std::nullopt;
    std::vector<cv::Vec3f> candidates;
    cv::HoughCircles(small, candidates, cv::HOUGH_GRADIENT, 1, shortSide / 4.0, 80, 30,
                     shortSide / 5, longSide / 2);
    cv::Mat level;
    small.convertTo(level, CV_32F);
    Fit best;
    for (size_t i = 0; i < candidates.size() && i < static_cast<size_t>(kCandidates); ++i) {
        const Circle start{candidates[i][0], candidates[i][1], candidates[i][2]};
        const Fit fit = Refine(level, start);
        if (fit.kept > best.kept)
            best = fit;
    }
    if (best.kept < kMinShare * kRays || best.circle.radius < shortSide / 8.0)
        return std::nullopt;
    // Pixel centres of the reduced image back to the full one.
    const double sx = static_cast<double>(grey.cols) / small.cols;
    const double sy = static_cast<double>(grey.rows) / small.rows;
    Circle rim;
    rim.x = (best.circle.x + 0.5) * sx - 0.5;
    rim.y = (best.circle.y + 0.5) * sy - 0.5;
    rim.radius = best.circle.radius * 0.5 * (sx + sy);
    return rim;
}

double CountedRadius(const Circle& rim)
{
    return rim.radius * (1 - kRimMargin);
}

cv::Mat Mask(cv::Size size, const Circle& rim)
{
    cv::Mat mask(size, CV_8UC1, cv::Scalar(0));
    const double r = CountedRadius(rim);
    for (int y = 0; y < size.height; ++y) {
        const double dy = y - rim.y;
        if (std::abs(dy) > r)
            continue;
        const double half = std::sqrt(r * r - dy * dy);
        const int x0 = std::max(0, static_cast<int>(std::ceil(rim.x - half)));
        const int x1 = std::min(size.width - 1, static_cast<int>(std::floor(rim.x + half)));
        if (x1 >= x0)
            mask.row(y).colRange(x0, x1 + 1).setTo(255);
    }
    return mask;
}

} // namespace dish

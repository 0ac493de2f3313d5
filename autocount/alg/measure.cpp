#include "autocount/alg/alg.h"
#include "autocount/alg/opencv24.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace {

constexpr double kFourPi = 12.566370614359172;
constexpr int kMinEllipsePoints = 7; // below this the axes stay 0
constexpr int kBorderNear = 3;       // first admissible x and y
constexpr int kBorderFar = 5;        // last admissible x is width - 5, y is height - 5

// One object's record, or none when its outline encloses no area.
struct Measured
{
    bool kept = false;
    parResult record;
};

// Grey-value statistics of the pixels under @p mask. The deviation of each
// pixel from the mean is rounded and saturated to 0..255 as an 8-bit image
// would hold it, so pixels darker than the mean add nothing: the deviation is
// one-sided on purpose.
void GreyStatistics(const cv::Mat& grey, const cv::Mat& mask, parResult& r)
{
    int histogram[256] = {};
    for (int y = 0; y < mask.rows; ++y) {
        const uchar* m = mask.ptr<uchar>(y);
        const uchar* g = grey.ptr<uchar>(y);
        for (int x = 0; x < mask.cols; ++x)
            if (m[x])
                ++histogram[g[x]];
    }

    int64_t count = 0, integral = 0;
    int maxGray = 0, minGray = 255;
    for (int v = 0; v < 256; ++v) {
        if (!histogram[v])
            continue;
        count += histogram[v];
        integral += static_cast<int64_t>(v) * histogram[v];
        minGray = std::min(minGray, v);
        maxGray = v;
    }
    if (count == 0) {
        r.integral = 0;
        r.meanGray = 0;
        r.stdDev = 0;
        r.maxGray = 0;
        r.minGray = 255;
        return;
    }

    const double mean = static_cast<double>(integral) / static_cast<double>(count);
    // grey·1 + 255·(−mean/255) in single precision, rounded half to even and
    // saturated, exactly as the weighted sum of the patch and its mask.
    const float weight = static_cast<float>(-mean / 255.0);
    int64_t sumSq = 0;
    for (int v = minGray; v <= maxGray; ++v) {
        if (!histogram[v])
            continue;
        const int d = cv::saturate_cast<uchar>(static_cast<float>(v) + 255.0f * weight + 0.0f);
        sumSq += static_cast<int64_t>(d) * d * histogram[v];
    }
    r.integral = integral;
    r.meanGray = mean;
    r.stdDev = std::sqrt(static_cast<double>(sumSq) / static_cast<double>(count));
    r.maxGray = maxGray;
    r.minGray = minGray;
}

// Measures one outline; everything is confined to its bounding box.
Measured MeasureObject(const Contour& contour, const cv::Mat& grey)
{
    Measured out;
    const double perimeter = cv::arcLength(contour, true);
    const double area = cv::contourArea(contour, false);
    if (perimeter <= 0 || area == 0)
        return out; // isolated pixels and one-pixel lines enclose nothing

    cv::Rect box = cv::boundingRect(contour);
    box.x = std::max(box.x, 0);
    box.y = std::max(box.y, 0);

    parResult& r = out.record;
    r.area = area;
    r.perimeter = perimeter;
    // The squared perimeter is formed in single precision, the rest in double.
    const float p = static_cast<float>(perimeter);
    const float p2 = p * p;
    r.roundness = std::min(1.0, kFourPi * std::abs(area) / static_cast<double>(p2));
    r.direction = cv24::MinAreaRect(contour).angle;

    cv::Point2f centre;
    cv24::MinEnclosingCircle(contour, centre, r.radius);
    r.centerX = centre.x;
    r.centerY = centre.y;

    if (contour.size() >= static_cast<size_t>(kMinEllipsePoints)) {
        const cv::RotatedRect e = cv24::FitEllipse(contour);
        r.longAxis = std::max(e.size.width, e.size.height);
        r.shortAxis = std::min(e.size.width, e.size.height);
    }

    // Object mask at box size: the filled outline, holes included.
    cv::Mat mask = cv::Mat::zeros(box.height, box.width, CV_8UC1);
    const cv::Point* pts = contour.data();
    const int npts = static_cast<int>(contour.size());
    cv::fillPoly(mask, &pts, &npts, 1, cv::Scalar(255, 255, 255, 0), cv::LINE_8, 0, -box.tl());

    GreyStatistics(grey(box), mask, r);
    out.kept = true;
    return out;
}

// The grey values of every object with an area are read as one 8-bit channel
// inside the object's box; the image library refuses any other grey image
// there. Raise its error before any work starts, so the lists stay untouched.
void CheckGreyCoversObjects(const ContourList& found, const cv::Mat& grey)
{
    const cv::Rect frame(0, 0, grey.cols, grey.rows);
    for (const Contour& c : found) {
        if (cv::arcLength(c, true) <= 0 || cv::contourArea(c) == 0)
            continue;
        if (grey.type() != CV_8UC1)
            CV_Error(cv::Error::StsUnsupportedFormat, "grey image must be one 8-bit channel");
        cv::Rect box = cv::boundingRect(c);
        box.x = std::max(box.x, 0);
        box.y = std::max(box.y, 0);
        if ((box & frame) != box)
            CV_Error(cv::Error::StsOutOfRange, "object lies outside the grey image");
    }
}

} // namespace

int AlgCalResult(cv::Mat image, cv::Mat binary, ContourList& contours,
                 std::vector<parResult>& results)
{
    if (image.empty() || binary.empty())
        return 1;

    // This grey conversion takes the first byte as red.
    cv::Mat grey;
    if (image.channels() == 3)
        cv24::GreyFromRgb(image, grey);
    else
        grey = image;

    ContourList found;
    cv24::FindContours(binary, found, nullptr, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_NONE);
    const int n = static_cast<int>(found.size());

    if (grey.type() != CV_8UC1 || grey.cols < binary.cols || grey.rows < binary.rows)
        CheckGreyCoversObjects(found, grey);

    // Objects are independent: measure them in parallel into their own slots,
    // then append in contour order, so the lists equal a sequential run.
    std::vector<Measured> measured(n);
    if (n > 0)
        cv::parallel_for_(
            cv::Range(0, n),
            [&](const cv::Range& range) {
                for (int i = range.start; i < range.end; ++i)
                    measured[i] = MeasureObject(found[i], grey);
            },
            std::max(1, n / 64));

    const auto kept = std::count_if(measured.begin(), measured.end(),
                                    [](const Measured& m) { return m.kept; });
    contours.reserve(contours.size() + kept);
    results.reserve(results.size() + kept);
    for (int i = 0; i < n; ++i) {
        if (!measured[i].kept)
            continue;
        contours.push_back(std::move(found[i]));
        results.push_back(measured[i].record);
    }
    return 0;
}

int AlgRemoveBorder(ContourList contours, std::vector<parResult> results, int width, int height,
                    ContourList& contoursOut, std::vector<parResult>& resultsOut)
{
    contoursOut.clear();
    resultsOut.clear();
    const int n = static_cast<int>(contours.size());
    if (n < 1)
        return 0;

    // The margin is lopsided on purpose: 3 pixels on the left and top, 4 on
    // the right and bottom.
    const int lastX = width - kBorderFar;
    const int lastY = height - kBorderFar;
    for (int i = 0; i < n; ++i) {
        const Contour& c = contours[i];
        const bool touches = std::any_of(c.begin(), c.end(), [&](const cv::Point& p) {
            return p.x < kBorderNear || p.x > lastX || p.y < kBorderNear || p.y > lastY;
        });
        if (touches)
            continue;
        contoursOut.push_back(std::move(contours[i]));
        resultsOut.push_back(i < static_cast<int>(results.size()) ? results[i] : parResult());
    }
    return 0;
}

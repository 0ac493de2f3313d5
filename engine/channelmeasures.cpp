#include "channelmeasures.h"

#include "autocount/core/countcore.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace channelmeasures {

QStringList Keys(const QString& name)
{
    return {QStringLiteral("mean_gray_") + name, QStringLiteral("integral_") + name,
            QStringLiteral("max_gray_") + name, QStringLiteral("min_gray_") + name,
            QStringLiteral("std_dev_") + name};
}

std::vector<Plane> ColourPlanes(const cv::Mat& image)
{
    std::vector<Plane> planes;
    if (image.type() != CV_8UC3)
        return planes;
    std::vector<cv::Mat> bgr;
    cv::split(image, bgr);
    if (cv::countNonZero(bgr[0] != bgr[1]) == 0 && cv::countNonZero(bgr[0] != bgr[2]) == 0)
        return planes;
    planes.push_back({QStringLiteral("c1"), bgr[2]});
    planes.push_back({QStringLiteral("c2"), bgr[1]});
    planes.push_back({QStringLiteral("c3"), bgr[0]});
    return planes;
}

namespace {

struct Sums
{
    double n = 0, sum = 0, squares = 0;
    double max = -std::numeric_limits<double>::infinity();
    double min = std::numeric_limits<double>::infinity();
};

template <class T>
void Accumulate(const cv::Mat& labels, const cv::Mat& plane, std::vector<Sums>& sums)
{
    for (int y = 0; y < labels.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        const T* p = plane.ptr<T>(y);
        for (int x = 0; x < labels.cols; ++x) {
            if (l[x] <= 0)
                continue;
            Sums& s = sums[static_cast<size_t>(l[x] - 1)];
            const double v = p[x];
            s.n += 1;
            s.sum += v;
            s.squares += v * v;
            s.max = std::max(s.max, v);
            s.min = std::min(s.min, v);
        }
    }
}

} // namespace

Table Measure(const ContourList& contours, const std::vector<Plane>& planes, cv::Size size)
{
    Table table;
    std::vector<const Plane*> used;
    for (const Plane& plane : planes)
        if (plane.data.size() == size &&
            (plane.data.type() == CV_8UC1 || plane.data.type() == CV_16UC1)) {
            used.push_back(&plane);
            table.keys << Keys(plane.name);
        }
    table.rows.assign(contours.size(), std::vector<double>());
    if (used.empty() || contours.empty())
        return table;
    const cv::Mat labels = countcore::LabelImage(size, contours);
    for (const Plane* plane : used) {
        std::vector<Sums> sums(contours.size());
        if (plane->data.type() == CV_8UC1)
            Accumulate<unsigned char>(labels, plane->data, sums);
        else
            Accumulate<unsigned short>(labels, plane->data, sums);
        for (size_t i = 0; i < sums.size(); ++i) {
            const Sums& s = sums[i];
            const double nan = std::nan("");
            const double mean = s.n > 0 ? s.sum / s.n : nan;
            const double variance = s.n > 0 ? std::max(0.0, s.squares / s.n - mean * mean) : nan;
            table.rows[i].insert(table.rows[i].end(),
                                 {mean, s.n > 0 ? s.sum : nan, s.n > 0 ? s.max : nan,
                                  s.n > 0 ? s.min : nan, std::sqrt(variance)});
        }
    }
    return table;
}

} // namespace channelmeasures

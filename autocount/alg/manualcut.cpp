#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

namespace {
constexpr int kCutThickness = 2;
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
    for (size_t i = 0; i + 1 < points.size(); ++i)
        cv::line(cut, points[i], points[i + 1], cv::Scalar::all(0), kCutThickness, cv::LINE_8, 0);
    out = cut;
    return 0;
}

// Cutting one object: cores from an erosion ladder of the thresholded distance
// map (ultimate erosion in the manner of J. C. Russ, "The Image Processing
// Handbook"), grown back over the inverted distance map by the module's own
// watershed, and cleared where two grown regions touch.

#include "autocount/alg/alg.h"
#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <vector>

namespace {

// Cores are the parts of the distance map above one tenth of its peak.
constexpr double kCoreThreshold = 25.5;
constexpr uchar kSeedValue = 1; // what AlgWatershed takes as a seed pixel
constexpr int kSeedThickness = 2;
// Structuring elements narrower than this are replaced by the smallest one.
constexpr int kMinElement = 4;
constexpr int kSmallElement = 3;

// Side of the erosion elements from the rotated rectangle of the last core
// contour; the earlier contours' rectangles are worked out and not used.
int ElementSize(const cv::Mat& cores)
{
    ContourList contours;
    cv24::FindContours(cores, contours, nullptr, cv::RETR_TREE, cv::CHAIN_APPROX_SIMPLE);
    int k = kSmallElement;
    for (const Contour& contour : contours) {
        const cv::RotatedRect box = cv24::MinAreaRect(contour);
        k = static_cast<int>(std::min(box.size.width / 10.0f, box.size.height / 10.0f));
    }
    return k < kMinElement ? kSmallElement : k;
}

void Erode(const cv::Mat& src, cv::Mat& dst, const cv::Mat& element)
{
    cv::erode(src, dst, element, cv::Point(-1, -1), 1, cv::BORDER_CONSTANT,
              cv::morphologyDefaultBorderValue());
}

// Erosion ladder: the core mask, then one layer per round of a cross and a
// rectangle erosion, down to the first empty layer.
std::vector<cv::Mat> ErosionLadder(const cv::Mat& cores, int k)
{
    const cv::Mat cross = cv::getStructuringElement(cv::MORPH_CROSS, cv::Size(k, k));
    const cv::Mat rect = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k));
    std::vector<cv::Mat> layers{cores.clone()};
    cv::Mat current = cores.clone();
    do {
        cv::Mat next;
        Erode(current, next, cross);
        Erode(next, current, rect);
        layers.push_back(current.clone());
    } while (cv::countNonZero(current) > 0);
    return layers;
}

// Deepest layers first: a filled contour of a shallower layer becomes a core
// only if it holds no core yet.
cv::Mat SelectCores(const std::vector<cv::Mat>& layers)
{
    cv::Mat chosen = layers.back().clone();
    for (size_t j = layers.size() - 1; j-- > 0;) {
        ContourList contours;
        cv24::FindContours(layers[j], contours, nullptr, cv::RETR_TREE, cv::CHAIN_APPROX_SIMPLE);
        for (size_t i = 0; i < contours.size(); ++i) {
            // The filled contour lies inside its bounding box, so the test
            // only needs that part of the image.
            const cv::Rect box = cv::boundingRect(contours[i]);
            cv::Mat filled = cv::Mat::zeros(box.size(), CV_8UC1);
            cv::drawContours(filled, contours, static_cast<int>(i), cv::Scalar(255), cv::FILLED,
                             cv::LINE_8, cv::noArray(), INT_MAX, -box.tl());
            cv::Mat overlap;
            cv::bitwise_and(chosen(box), filled, overlap);
            if (cv::countNonZero(overlap) == 0)
                cv::drawContours(chosen, contours, static_cast<int>(i), cv::Scalar(255), cv::FILLED,
                                 cv::LINE_8);
        }
    }
    return chosen;
}

// Clears every pixel that has a neighbour of another non-zero label. The last
// row and the last column are never examined, and pixels cleared earlier in
// the scan count as background for the later ones.
void ClearBoundaries(cv::Mat& labels)
{
    const int rows = labels.rows;
    const int cols = labels.cols;
    for (int r = 0; r < rows - 1; ++r) {
        uchar* row = labels.ptr<uchar>(r);
        for (int c = 0; c < cols - 1; ++c) {
            const uchar v = row[c];
            if (v == 0)
                continue;
            for (int i = 0; i < 8; ++i) {
                const int nr = std::clamp(r + x_offset[i], 0, rows - 1);
                const int nc = std::clamp(c + y_offset[i], 0, cols - 1);
                const uchar w = labels.ptr<uchar>(nr)[nc];
                if (w != 0 && w != v) {
                    row[c] = 0;
                    break;
                }
            }
        }
    }
}

} // namespace

int AlgAutoCutROI(cv::Mat in, cv::Mat& out)
{
    if (!in.data || in.total() == 0)
        return 1;
    if (in.channels() == 3)
        return 2;
    const cv::Mat object = in.clone();

    // Distance map, normalised to 0..255 and rounded to 8 bits.
    cv::Mat dist;
    cv24::DistanceTransformL2(object, dist);
    cv24::NormalizeMinMax(dist, dist, 0.0, 255.0);
    cv::Mat depth;
    dist.convertTo(depth, CV_8U, 1.0, 0.0);

    cv::Mat cores;
    cv::threshold(depth, cores, kCoreThreshold, 255.0, cv::THRESH_BINARY);

    const int k = ElementSize(cores);
    const cv::Mat chosen = SelectCores(ErosionLadder(cores, k));

    // Seeds: the two-pixel outlines of the chosen cores.
    ContourList outlines;
    cv24::FindContours(chosen, outlines, nullptr, cv::RETR_TREE, cv::CHAIN_APPROX_NONE);
    cv::Mat seeds = cv::Mat::zeros(object.size(), CV_8UC1);
    for (size_t i = 0; i < outlines.size(); ++i)
        cv::drawContours(seeds, outlines, static_cast<int>(i), cv::Scalar(kSeedValue),
                         kSeedThickness, cv::LINE_8);

    // Relief: low at the object's centres, 255 at its edge and outside.
    cv::Mat relief;
    cv::subtract(cv::Scalar(255), depth, relief);

    cv::Mat labels;
    AlgWatershed(relief, seeds, labels);
    ClearBoundaries(labels);

    cv::Mat piece;
    cv::compare(labels, cv::Scalar(0), piece, cv::CMP_NE);
    out = piece;
    return 0;
}

#include "polarity.h"

#include <opencv2/imgproc.hpp>

#include <array>

namespace polarity {

Suggestion Suggest(const cv::Mat& image, const cv::Mat& mask)
{
    Suggestion suggestion;
    if (image.empty() || image.depth() != CV_8U)
        return suggestion;
    cv::Mat grey;
    if (image.channels() == 3)
        cv::cvtColor(image, grey, cv::COLOR_BGR2GRAY);
    else if (image.channels() == 4)
        cv::cvtColor(image, grey, cv::COLOR_BGRA2GRAY);
    else
        grey = image;
    const bool masked = !mask.empty() && mask.size() == grey.size() && mask.type() == CV_8UC1;

    // Otsu on the histogram of the pixels looked at.
    std::array<double, 256> counts{};
    double total = 0.0;
    for (int y = 0; y < grey.rows; ++y) {
        const uchar* row = grey.ptr<uchar>(y);
        const uchar* keep = masked ? mask.ptr<uchar>(y) : nullptr;
        for (int x = 0; x < grey.cols; ++x)
            if (!keep || keep[x]) {
                counts[row[x]] += 1.0;
                total += 1.0;
            }
    }
    if (total == 0.0)
        return suggestion;
    double sumAll = 0.0;
    for (int k = 0; k < 256; ++k)
        sumAll += k * counts[static_cast<size_t>(k)];
    double below = 0.0, sumBelow = 0.0, best = -1.0;
    int threshold = 0;
    for (int k = 0; k < 256; ++k) {
        below += counts[static_cast<size_t>(k)];
        sumBelow += k * counts[static_cast<size_t>(k)];
        const double above = total - below;
        if (below == 0.0 || above == 0.0)
            continue;
        const double meanBelow = sumBelow / below;
        const double meanAbove = (sumAll - sumBelow) / above;
        const double between = below * above * (meanBelow - meanAbove) * (meanBelow - meanAbove);
        if (between > best) {
            best = between;
            threshold = k;
        }
    }
    double bright = 0.0;
    for (int k = threshold + 1; k < 256; ++k)
        bright += counts[static_cast<size_t>(k)];
    suggestion.threshold = threshold;
    suggestion.brightShare = bright / total;
    // The background is the larger class; the objects stand out from it.
    suggestion.brightObjects = bright <= total - bright;
    return suggestion;
}

} // namespace polarity

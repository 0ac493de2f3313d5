#include "legiblecolours.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace legiblecolours {

namespace {

double Linear(int channel)
{
    const double c = channel / 255.0;
    return c <= 0.03928 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

double Luminance(const QColor& colour)
{
    return 0.2126 * Linear(colour.red()) + 0.7152 * Linear(colour.green()) +
           0.0722 * Linear(colour.blue());
}

/// The median of one 8-bit channel, from its histogram.
int ChannelMedian(const cv::Mat& channel)
{
    std::array<size_t, 256> counts{};
    for (int y = 0; y < channel.rows; ++y) {
        const uchar* row = channel.ptr<uchar>(y);
        for (int x = 0; x < channel.cols; ++x)
            ++counts[row[x]];
    }
    const size_t half = (channel.total() + 1) / 2;
    size_t seen = 0;
    for (int level = 0; level < 256; ++level) {
        seen += counts[static_cast<size_t>(level)];
        if (seen >= half)
            return level;
    }
    return 255;
}

} // namespace

double Ratio(const QColor& a, const QColor& b)
{
    const double la = Luminance(a);
    const double lb = Luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor MedianColour(const cv::Mat& image)
{
    if (image.empty() || image.depth() != CV_8U)
        return QColor(Qt::black);
    if (image.channels() == 1) {
        const int grey = ChannelMedian(image);
        return QColor(grey, grey, grey);
    }
    std::vector<cv::Mat> planes;
    cv::split(image, planes);
    return QColor(ChannelMedian(planes[2]), ChannelMedian(planes[1]), ChannelMedian(planes[0]));
}

QColor Legible(const QColor& preferred, const QColor& background, const QList<QColor>& taken)
{
    auto usable = [&](const QColor& colour) {
        return colour.isValid() && !taken.contains(colour) &&
               Ratio(colour, background) >= kMinimumRatio;
    };
    if (usable(preferred))
        return preferred;
    const QColor strong[] = {QColor(255, 255, 0), QColor(0, 255, 255), QColor(255, 0, 255),
                             QColor(255, 255, 255), QColor(0, 0, 0)};
    for (const QColor& colour : strong)
        if (usable(colour))
            return colour;
    return Ratio(Qt::white, background) >= Ratio(Qt::black, background) ? QColor(Qt::white)
                                                                        : QColor(Qt::black);
}

} // namespace legiblecolours

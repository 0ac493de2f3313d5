#include "legiblecolours.h"

#include <algorithm>
#include <array>
#include <cmath>

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

/// The level below which half of @p counts (a histogram of @p total) lies.
int Median(const std::array<size_t, 256>& counts, size_t total)
{
    const size_t half = (total + 1) / 2;
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
    const int channels = image.channels();
    if (image.empty() || image.depth() != CV_8U || (channels != 1 && channels != 3))
        return QColor(Qt::black);
    // About a million pixels on a regular grid are plenty for a median: a
    // 20-megapixel picture is not read whole.
    const double pixels = static_cast<double>(image.total());
    const int step = std::max(1, static_cast<int>(std::sqrt(pixels / 1.0e6)));
    std::array<std::array<size_t, 256>, 3> counts{};
    size_t total = 0;
    for (int y = 0; y < image.rows; y += step) {
        const uchar* row = image.ptr<uchar>(y);
        for (int x = 0; x < image.cols; x += step) {
            const uchar* pixel = row + static_cast<size_t>(x) * static_cast<size_t>(channels);
            for (int c = 0; c < channels; ++c)
                ++counts[static_cast<size_t>(c)][pixel[c]];
            ++total;
        }
    }
    if (channels == 1) {
        const int grey = Median(counts[0], total);
        return QColor(grey, grey, grey);
    }
    return QColor(Median(counts[2], total), Median(counts[1], total), Median(counts[0], total));
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

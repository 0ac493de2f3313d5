#include "planechoice.h"

#include "stains.h"

#include "autocount/alg/alg.h"
#include "autocount/core/countcore.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace planechoice {

namespace {

// The module's band codes read pixel planes 0, 1, 2 for red, green, blue;
// pixels are blue, green, red.
Channel Swapped(Channel channel)
{
    if (channel == Channel::Red)
        return Channel::Blue;
    if (channel == Channel::Blue)
        return Channel::Red;
    return channel;
}

cv::Mat ColourPlane(const cv::Mat& bgr, int index)
{
    if (bgr.channels() == 1)
        return bgr;
    cv::Mat plane;
    cv::extractChannel(bgr, plane, index);
    return plane;
}

bool LooksGrey(const cv::Mat& bgr)
{
    if (bgr.channels() != 3)
        return true;
    std::vector<cv::Mat> planes;
    cv::split(bgr, planes);
    cv::Mat difference;
    cv::absdiff(planes[0], planes[1], difference);
    double spread = cv::mean(difference)[0];
    cv::absdiff(planes[1], planes[2], difference);
    spread = std::max(spread, cv::mean(difference)[0]);
    return spread <= kGreyTolerance;
}

// The median solidity of the object-sized parts of @p classMask (outlines
// of kMinPartArea pixels up to kMaxPartShare of the image): each part's area
// over the area of its convex hull; -1 when there are none.
double PartSolidity(const cv::Mat& classMask)
{
    std::vector<std::vector<cv::Point>> outlines;
    cv::findContours(classMask.clone(), outlines, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    std::vector<double> solidity;
    std::vector<cv::Point> hull;
    for (const std::vector<cv::Point>& outline : outlines) {
        const double area = cv::contourArea(outline);
        if (area < kMinPartArea || area > kMaxPartShare * static_cast<double>(classMask.total()))
            continue;
        cv::convexHull(outline, hull);
        solidity.push_back(area / std::max(area, cv::contourArea(hull)));
    }
    if (solidity.empty())
        return -1.0;
    const auto middle = solidity.begin() + static_cast<std::ptrdiff_t>(solidity.size() / 2);
    std::nth_element(solidity.begin(), middle, solidity.end());
    return *middle;
}

// Whether the objects of @p plane are its bright class, given its split.
bool BrightObjects(const cv::Mat& plane, const cv::Mat& mask, const Split& split)
{
    cv::Mat dark = plane <= split.threshold, bright = plane > split.threshold;
    if (!mask.empty()) {
        dark &= mask != 0;
        bright &= mask != 0;
    }
    const double darkParts = PartSolidity(dark), brightParts = PartSolidity(bright);
    if (darkParts >= 0 && brightParts >= 0) {
        if (std::abs(darkParts - brightParts) >= kSolidityMargin)
            return brightParts > darkParts;
    } else if (darkParts >= 0) {
        return darkParts < kConvexParts;
    } else if (brightParts >= 0) {
        return brightParts >= kConvexParts;
    }
    return split.brightObjects();
}

// @p bgr and @p regionMask reduced to about @p area pixels when larger.
void Reduced(const cv::Mat& bgr, const cv::Mat& regionMask, double area, cv::Mat& image,
             cv::Mat& mask)
{
    const double factor = std::max(1.0, std::sqrt(static_cast<double>(bgr.total()) / area));
    image = bgr;
    mask = regionMask;
    if (factor > 1.0) {
        const cv::Size size(std::max(1, static_cast<int>(std::lround(bgr.cols / factor))),
                            std::max(1, static_cast<int>(std::lround(bgr.rows / factor))));
        cv::resize(bgr, image, size, 0, 0, cv::INTER_AREA);
        if (!regionMask.empty())
            cv::resize(regionMask, mask, size, 0, 0, cv::INTER_NEAREST);
    }
}

} // namespace

int ModuleBandChannel(Channel channel)
{
    return static_cast<int>(Swapped(channel));
}

Channel BandChannelOfModuleCode(int code)
{
    return Swapped(static_cast<Channel>(code));
}

cv::Mat BandPlane(const cv::Mat& bgr, Channel channel)
{
    cv::Mat buffer;
    switch (channel) {
    case Channel::Grey:
        return countcore::GreyImage(bgr, buffer).clone();
    case Channel::Red:
        return ColourPlane(bgr, 2);
    case Channel::Green:
        return ColourPlane(bgr, 1);
    case Channel::Blue:
        return ColourPlane(bgr, 0);
    case Channel::Hue:
    case Channel::Saturation:
    case Channel::Intensity: {
        if (bgr.channels() != 3)
            return bgr;
        cv::Mat h, s, i;
        AlgRGB2HSI(bgr, h, s, i);
        return channel == Channel::Hue ? h : channel == Channel::Saturation ? s : i;
    }
    }
    return cv::Mat();
}

std::array<double, 256> Histogram(const cv::Mat& plane, const cv::Mat& mask)
{
    std::array<double, 256> counts{};
    for (int y = 0; y < plane.rows; ++y) {
        const uchar* p = plane.ptr<uchar>(y);
        const uchar* m = mask.empty() ? nullptr : mask.ptr<uchar>(y);
        for (int x = 0; x < plane.cols; ++x)
            if (!m || m[x])
                counts[p[x]] += 1;
    }
    return counts;
}

QStringList Candidates(const cv::Mat& bgr)
{
    QStringList names{QStringLiteral("grey")};
    if (!LooksGrey(bgr))
        names << QStringLiteral("red") << QStringLiteral("green") << QStringLiteral("blue")
              << QStringLiteral("hematoxylin") << QStringLiteral("eosin") << QStringLiteral("dab");
    return names;
}

cv::Mat NamedPlane(const cv::Mat& bgr, const QString& name)
{
    const int channel = countsettings::kChannels.indexOf(name.toLower());
    if (channel >= 0 && channel <= static_cast<int>(Channel::Blue))
        return BandPlane(bgr, static_cast<Channel>(channel));
    if (bgr.channels() != 3)
        return cv::Mat();
    const std::optional<stains::Vector> stain = stains::Parse(name);
    return stain ? stains::DensityPlane(bgr, *stain) : cv::Mat();
}

Split OtsuSplit(const std::array<double, 256>& histogram)
{
    Split split;
    double total = 0, sum = 0;
    for (int k = 0; k < 256; ++k) {
        total += histogram[k];
        sum += k * histogram[k];
    }
    if (total <= 0)
        return split;
    const double mean = sum / total;
    double variance = 0;
    for (int k = 0; k < 256; ++k)
        variance += histogram[k] * (k - mean) * (k - mean);
    variance /= total;
    double weight = 0, partial = 0, best = -1;
    for (int t = 0; t < 255; ++t) {
        weight += histogram[t];
        partial += t * histogram[t];
        if (weight <= 0 || weight >= total)
            continue;
        const double w0 = weight / total;
        const double m0 = partial / weight;
        const double m1 = (sum - partial) / (total - weight);
        const double between = w0 * (1 - w0) * (m0 - m1) * (m0 - m1);
        if (between > best) {
            best = between;
            split.threshold = t;
            split.darkShare = w0;
        }
    }
    if (best > 0 && variance > 0)
        split.separation = best / variance;
    return split;
}

Choice Choose(const cv::Mat& bgr, const cv::Mat& regionMask, const QString& stain)
{
    Choice choice;
    if (bgr.empty())
        return choice;
    // The split of a histogram needs no more than a reduced copy; the shapes
    // of the classes want more of the detail.
    cv::Mat image, mask;
    Reduced(bgr, regionMask, kChoiceArea, image, mask);
    if (!stain.isEmpty()) {
        choice.plane = stain;
        choice.bright = true;
        choice.separation = OtsuSplit(Histogram(NamedPlane(image, stain), mask)).separation;
        return choice;
    }
    double best = -1;
    for (const QString& name : Candidates(image)) {
        const Split split = OtsuSplit(Histogram(NamedPlane(image, name), mask));
        const double needed = name == QLatin1String("grey") ? 0.0 : kColourMargin;
        if (split.separation - needed > best) {
            best = split.separation - needed;
            choice.plane = name;
            choice.separation = split.separation;
        }
    }
    // A stain is dense on its objects.
    if (stains::Parse(choice.plane)) {
        choice.bright = true;
        return choice;
    }
    Reduced(bgr, regionMask, kShapeArea, image, mask);
    const cv::Mat plane = NamedPlane(image, choice.plane);
    choice.bright = BrightObjects(plane, mask, OtsuSplit(Histogram(plane, mask)));
    return choice;
}

bool BrightObjects(const cv::Mat& plane, const cv::Mat& regionMask)
{
    return BrightObjects(plane, regionMask, OtsuSplit(Histogram(plane, regionMask)));
}

QString PolarityName(bool bright)
{
    return bright ? QStringLiteral("bright") : QStringLiteral("dark");
}

} // namespace planechoice

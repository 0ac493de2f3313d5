#include "preparation.h"

#include "sizefloor.h"

#include "autocount/alg/alg.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace preparation {

namespace {

// The first pass runs on an image of about this many pixels.
constexpr double kFirstPassPixels = 1.0e6;
// Reach of the microscope's own blur beyond an object's edge, in pixels, when
// the background samples keep away from the first mask.
constexpr double kEdgeReach = 2.0;
// Robust standard deviation of a normal distribution per median absolute deviation.
constexpr double kMadToSigma = 1.4826;
// Background samples needed for the noise estimate; with fewer, every sample counts.
constexpr size_t kMinSamples = 100;
// Filling the holes of a first-pass component may widen it this much before
// its holes count as gaps between objects.
constexpr float kHoleWidening = 3.f;
// Smoothing below this sigma is left out.
constexpr double kMinSigma = 0.3;
// The smallest noise assumed: a quarter grey level (8-bit quantisation).
constexpr double kMinNoise = 0.25;
// Share of the region within kClippedBand grey levels of 0 (after objects
// are turned bright) from which the plane is taken as clipped there.
constexpr double kClippedShare = 0.5;
constexpr double kClippedBand = 2.0;

// Fills the holes of @p mask (255 objects): background components, under
// 4-connectivity, that do not reach the image border.
void FillAllHoles(cv::Mat& mask)
{
    cv::Mat labels, stats, centroids;
    const int count =
        cv::connectedComponentsWithStats(mask == 0, labels, stats, centroids, 4, CV_32S);
    std::vector<unsigned char> fill(static_cast<size_t>(count), 0);
    for (int i = 1; i < count; ++i) {
        const int x = stats.at<int>(i, cv::CC_STAT_LEFT), y = stats.at<int>(i, cv::CC_STAT_TOP);
        const int w = stats.at<int>(i, cv::CC_STAT_WIDTH), h = stats.at<int>(i, cv::CC_STAT_HEIGHT);
        fill[static_cast<size_t>(i)] =
            x > 0 && y > 0 && x + w < mask.cols && y + h < mask.rows ? 255 : 0;
    }
    for (int y = 0; y < mask.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        unsigned char* m = mask.ptr<unsigned char>(y);
        for (int x = 0; x < mask.cols; ++x)
            if (l[x] > 0 && fill[static_cast<size_t>(l[x])])
                m[x] = 255;
    }
}

double Percentile(std::vector<double> values, double share)
{
    if (values.empty())
        return 0;
    const size_t k = std::min(values.size() - 1, static_cast<size_t>(share * values.size()));
    std::nth_element(values.begin(), values.begin() + static_cast<long>(k), values.end());
    return values[k];
}

// Grows each component of @p binary over the 4-connected pixels that lie
// above @p floorLevel and reach @p share of the component's own peak (above
// the background): a dim object that lost the band beside a bright
// neighbour, where the local peak is the neighbour's, gets it back up to the
// neighbour's own half height, and no object grows past its own.
void GrowToOwnHalfHeight(const cv::Mat& prepared, const cv::Mat& regionMask, float floorLevel,
                         float share, float rest, cv::Mat& binary)
{
    cv::Mat labels;
    const int count = cv::connectedComponents(binary, labels, 8, CV_32S);
    if (count < 2)
        return;
    // One pass: each component's peak, and its edge pixels, which start the
    // growth.
    std::vector<float> peak(static_cast<size_t>(count), 0.f);
    std::vector<int> front;
    const int cols = binary.cols, rows = binary.rows;
    // Only edge pixels beside a pixel above the floor can grow.
    auto open = [&](int label, float value) { return label == 0 && value > floorLevel; };
    for (int y = 0; y < rows; ++y) {
        const int* l = labels.ptr<int>(y);
        const int* above = labels.ptr<int>(std::max(0, y - 1));
        const int* below = labels.ptr<int>(std::min(rows - 1, y + 1));
        const float* p = prepared.ptr<float>(y);
        const float* pa = prepared.ptr<float>(std::max(0, y - 1));
        const float* pb = prepared.ptr<float>(std::min(rows - 1, y + 1));
        for (int x = 0; x < cols; ++x) {
            if (l[x] <= 0)
                continue;
            float& top = peak[static_cast<size_t>(l[x])];
            top = std::max(top, p[x]);
            if ((x > 0 && open(l[x - 1], p[x - 1])) || (x + 1 < cols && open(l[x + 1], p[x + 1])) ||
                open(above[x], pa[x]) || open(below[x], pb[x]))
                front.push_back(y * cols + x);
        }
    }
    // An object whose half height does not clear the noise floor cannot be
    // told from a ripple of the background: it is dropped.
    std::vector<float> need(peak.size());
    bool dropped = false;
    for (size_t i = 1; i < peak.size(); ++i) {
        need[i] = share * peak[i] + rest;
        dropped = dropped || need[i] <= floorLevel;
    }
    if (dropped)
        for (int y = 0; y < rows; ++y) {
            int* l = labels.ptr<int>(y);
            unsigned char* b = binary.ptr<unsigned char>(y);
            for (int x = 0; x < cols; ++x)
                if (l[x] > 0 && need[static_cast<size_t>(l[x])] <= floorLevel)
                    l[x] = b[x] = 0;
        }
    int* l = labels.ptr<int>(0);
    const float* p = prepared.ptr<float>(0);
    const unsigned char* region = regionMask.ptr<unsigned char>(0);
    CV_Assert(labels.isContinuous() && prepared.isContinuous() && regionMask.isContinuous() &&
              binary.isContinuous());
    for (size_t k = 0; k < front.size(); ++k) {
        const int i = front[k];
        const int x = i % cols, y = i / cols;
        const int label = l[i];
        if (label <= 0)
            continue; // a dropped component's edge
        const float threshold = need[static_cast<size_t>(label)];
        const int next[4] = {x > 0 ? i - 1 : -1, x + 1 < cols ? i + 1 : -1, y > 0 ? i - cols : -1,
                             y + 1 < rows ? i + cols : -1};
        for (int n : next) {
            if (n < 0 || l[n] != 0 || !region[n] || p[n] <= threshold)
                continue;
            // Where a component meets one it cannot belong to (the dimmer
            // one's peak lies below the brighter one's share), a line of
            // one pixel stays between them.
            const int nx = n % cols, ny = n / cols;
            bool line = false;
            for (int dy = -1; dy <= 1 && !line; ++dy)
                for (int dx = -1; dx <= 1 && !line; ++dx) {
                    const int mx = nx + dx, my = ny + dy;
                    if (mx < 0 || my < 0 || mx >= cols || my >= rows)
                        continue;
                    const int other = l[my * cols + mx];
                    if (other > 0 && other != label) {
                        const float a = peak[static_cast<size_t>(other)];
                        const float c = peak[static_cast<size_t>(label)];
                        line = share * std::max(a, c) + rest > std::min(a, c);
                    }
                }
            if (line) {
                l[n] = -1;
                continue;
            }
            l[n] = label;
            front.push_back(n);
        }
    }
    // The growth also creeps along the blurred rim of a brighter neighbour
    // and across narrow gaps; those strips are thinner than the blur's
    // reach, and an opening of that width removes them and keeps the bands
    // that belong to the body of an object.
    cv::Mat grown = labels > 0, opened;
    const int side = 2 * static_cast<int>(kEdgeReach) + 1;
    cv::morphologyEx(grown, opened, cv::MORPH_OPEN,
                     cv::getStructuringElement(cv::MORPH_RECT, cv::Size(side, side)));
    cv::bitwise_or(binary, opened, binary);
}

} // namespace

std::vector<std::pair<const char*, double>> Figures(const Report& r)
{
    return {{"object_radius", r.objectRadius},
            {"largest_radius", r.largestRadius},
            {"texture", r.texture},
            {"smoothing_sigma", r.sigma},
            {"background_disc", r.discRadius},
            {"background_level", r.backgroundLevel},
            {"noise", r.noise},
            {"floor", r.floor}};
}

void EstimateSize(const cv::Mat& grey, double& typical, double& largest, cv::Mat& firstMask,
                  int& factor)
{
    typical = largest = 0;
    const double pixels = static_cast<double>(grey.total());
    factor = std::max(1, static_cast<int>(std::ceil(std::sqrt(pixels / kFirstPassPixels))));
    cv::Mat small;
    if (factor > 1)
        cv::resize(grey, small,
                   cv::Size(std::max(1, grey.cols / factor), std::max(1, grey.rows / factor)), 0, 0,
                   cv::INTER_AREA);
    else
        small = grey.clone();
    cv::GaussianBlur(small, small, cv::Size(0, 0), 1.0);
    cv::threshold(small, firstMask, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU);
    MaskRadii(firstMask, factor, typical, largest);
}

void MaskRadii(cv::Mat& firstMask, int factor, double& typical, double& largest)
{
    typical = largest = 0;
    const int on = cv::countNonZero(firstMask);
    if (on == 0 || on == static_cast<int>(firstMask.total()))
        return;
    // Holes are filled, so that a nucleolus does not halve its nucleus's
    // radius; but where filling makes a component three times wider than it
    // was, the holes were gaps between objects (a dense field), and the open
    // mask's radius stands.
    const cv::Mat open = firstMask.clone();
    FillAllHoles(firstMask);
    cv::Mat filledDistance, openDistance, labels;
    cv::distanceTransform(firstMask, filledDistance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    cv::distanceTransform(open, openDistance, cv::DIST_L2, cv::DIST_MASK_PRECISE);
    const int count = cv::connectedComponents(firstMask, labels, 8, CV_32S);
    // Three times the mean of the distance map over a component is the
    // radius of a disc, and close to the radius of each of a row of touching
    // discs; so a network of touching objects still gives their radius.
    std::vector<double> filledSum(static_cast<size_t>(count), 0.0), openSum = filledSum,
                                                                    area = filledSum;

    for (int y = 0; y < labels.rows; ++y) {
        const int* l = labels.ptr<int>(y);
        const float* f = filledDistance.ptr<float>(y);
        const float* o = openDistance.ptr<float>(y);
        for (int x = 0; x < labels.cols; ++x)
            if (l[x] > 0) {
                const size_t i = static_cast<size_t>(l[x]);
                filledSum[i] += f[x];
                openSum[i] += o[x];
                area[i] += 1;
            }
    }
    std::vector<float> peak(static_cast<size_t>(count), 0.f);
    for (size_t i = 1; i < peak.size(); ++i) {
        const double filled = 3 * filledSum[i] / area[i];
        const double opened = 3 * openSum[i] / area[i];
        peak[i] = static_cast<float>(filled > kHoleWidening * opened ? opened : filled);
    }
    std::vector<double> radii;
    for (int i = 1; i < count; ++i)
        if (peak[static_cast<size_t>(i)] >= 1.f)
            radii.push_back(static_cast<double>(peak[static_cast<size_t>(i)]) * factor);
    typical = engine::TypicalArea(radii);
    largest = Percentile(radii, 0.95);
}

cv::Mat Background(const cv::Mat& grey, double radius)
{
    const int factor = std::max(1, static_cast<int>(std::floor(radius / kMinDiscPixels)));
    cv::Mat small;
    if (factor > 1)
        cv::resize(grey, small,
                   cv::Size(std::max(1, grey.cols / factor), std::max(1, grey.rows / factor)), 0, 0,
                   cv::INTER_AREA);
    else
        small = grey.clone();
    small.convertTo(small, CV_32F);
    const double r = radius / factor;
    const int side = 2 * static_cast<int>(std::lround(r)) + 1;
    const cv::Mat disc = cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(side, side));
    cv::morphologyEx(small, small, cv::MORPH_OPEN, disc, cv::Point(-1, -1), 1,
                     cv::BORDER_REPLICATE);
    // The opening follows the disc's outline; smoothing over half the disc
    // leaves the slow change of the illumination.
    cv::GaussianBlur(small, small, cv::Size(0, 0), std::max(1.0, r / 2));
    cv::Mat background;
    if (factor > 1)
        cv::resize(small, background, grey.size(), 0, 0, cv::INTER_LINEAR);
    else
        background = small;
    return background;
}

Report Segment(const cv::Mat& grey, bool bright, const cv::Mat& regionMask, const Steps& steps,
               cv::Mat& binary)
{
    Report report;
    cv::Mat g;
    if (bright)
        g = grey;
    else
        cv::subtract(cv::Scalar(255), grey, g);

    double typical = 0, largest = 0;
    cv::Mat first;
    int factor = 1;
    if (steps.firstMask.empty()) {
        EstimateSize(g, typical, largest, first, factor);
    } else {
        first = steps.firstMask.clone();
        MaskRadii(first, factor, typical, largest);
    }
    if (typical <= 0)
        return report; // nothing stands out: the module's threshold decides
    report.ran = true;
    report.objectRadius = typical;
    report.largestRadius = largest;

    cv::Mat prepared;
    if (steps.background) {
        report.discRadius =
            std::clamp(kDiscShare * largest, kMinDiscShare * typical, kMaxDiscShare * typical);
        cv::subtract(g, Background(g, report.discRadius), prepared, cv::noArray(), CV_32F);
    } else {
        g.convertTo(prepared, CV_32F);
    }
    if (steps.smooth) {
        // Texture: the spread of the object pixels (away from their edges)
        // against their level above the background. Smooth objects need
        // no smoothing; grainy ones up to kSmoothShare x R.
        cv::Mat inner;
        cv::erode(first, inner, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(5, 5)));
        std::vector<double> inside, outside;
        for (int y = 0; y < inner.rows; ++y) {
            const int py = std::min(prepared.rows - 1, y * factor + factor / 2);
            const float* p = prepared.ptr<float>(py);
            const unsigned char* in = inner.ptr<unsigned char>(y);
            const unsigned char* f = first.ptr<unsigned char>(y);
            for (int x = 0; x < inner.cols; ++x) {
                const int px = std::min(prepared.cols - 1, x * factor + factor / 2);
                if (in[x])
                    inside.push_back(p[px]);
                else if (!f[x])
                    outside.push_back(p[px]);
            }
        }
        if (inside.size() >= kMinSamples && !outside.empty()) {
            const double level = Percentile(inside, 0.5);
            const double contrast = level - Percentile(outside, 0.5);
            for (double& v : inside)
                v = std::abs(v - level);
            report.texture = contrast > 0 ? kMadToSigma * Percentile(inside, 0.5) / contrast : 0;
        }
        report.sigma = kSmoothShare * typical * std::min(1.0, report.texture / kTextureFull);
        if (report.sigma >= kMinSigma)
            cv::GaussianBlur(prepared, prepared, cv::Size(0, 0), report.sigma);
        else
            report.sigma = 0;
    }

    if (!steps.threshold) {
        cv::Mat prepared8;
        prepared.convertTo(prepared8, CV_8U);
        int level = 0;
        AlgAuto2Bw(prepared8, regionMask, ALG_BRIGHT_OBJECTS, binary, level);
        report.floor = level;
        return report;
    }

    // Background samples: the prepared image away from the first mask.
    const double reach = (2 * report.sigma + kEdgeReach) / factor + 1;
    const int side = 2 * static_cast<int>(std::ceil(reach)) + 1;
    cv::Mat away;
    cv::dilate(first, away, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(side, side)));
    std::vector<double> background, outside, all;
    for (int y = 0; y < away.rows; ++y) {
        const int py = std::min(prepared.rows - 1, y * factor + factor / 2);
        const float* p = prepared.ptr<float>(py);
        const unsigned char* r = regionMask.ptr<unsigned char>(py);
        const unsigned char* a = away.ptr<unsigned char>(y);
        for (int x = 0; x < away.cols; ++x) {
            const int px = std::min(prepared.cols - 1, x * factor + factor / 2);
            if (!r[px])
                continue;
            all.push_back(p[px]);
            if (!a[x])
                background.push_back(p[px]);
            if (!first.ptr<unsigned char>(y)[x])
                outside.push_back(p[px]);
        }
    }
    // A dense field leaves no background far from every object: then the
    // gaps themselves, and failing those the darkest quarter.
    if (outside.size() < kMinSamples) {
        std::sort(all.begin(), all.end());
        outside.assign(all.begin(), all.begin() + static_cast<long>(all.size() / 4));
    }
    std::vector<double>& samples = background.size() >= kMinSamples ? background : outside;
    const double level = Percentile(samples, 0.5);
    for (double& v : samples)
        v = std::abs(v - level);
    report.backgroundLevel = level;
    report.noise = std::max(kMinNoise, kMadToSigma * Percentile(samples, 0.5));
    report.floor = level + kNoiseFactor * report.noise;
    // A plane clipped at the bottom of its range over most of the region (a
    // stain's density is 0 wherever the stain is absent) tells nothing of
    // the noise: the Otsu level of the prepared image is the floor then.
    const double regionPixels = cv::countNonZero(regionMask);
    cv::Mat atLowest = (g <= kClippedBand) & regionMask;
    if (regionPixels > 0 && cv::countNonZero(atLowest) >= kClippedShare * regionPixels) {
        cv::Mat prepared8;
        prepared.convertTo(prepared8, CV_8U);
        int otsu = 0;
        cv::Mat unused = cv::Mat::zeros(prepared8.size(), CV_8UC1);
        AlgAuto2Bw(prepared8, regionMask, ALG_BRIGHT_OBJECTS, unused, otsu);
        report.floor = std::max(report.floor, static_cast<double>(otsu));
    }

    // Local peak within half the typical radius; a square is close enough
    // and separable.
    const int r = std::max(1, static_cast<int>(std::lround(typical * kPeakWindowShare)));
    cv::Mat peak;
    cv::dilate(prepared, peak,
               cv::getStructuringElement(cv::MORPH_RECT, cv::Size(2 * r + 1, 2 * r + 1)));
    // One pass: above the floor, at or above the share of the local peak,
    // inside the regions.
    const float floorLevel = static_cast<float>(report.floor);
    const float share = static_cast<float>(kPeakShare);
    const float rest = static_cast<float>((1 - kPeakShare) * level);
    for (int y = 0; y < prepared.rows; ++y) {
        const float* p = prepared.ptr<float>(y);
        const float* q = peak.ptr<float>(y);
        const unsigned char* region = regionMask.ptr<unsigned char>(y);
        unsigned char* b = binary.ptr<unsigned char>(y);
        for (int x = 0; x < prepared.cols; ++x)
            b[x] = region[x] && p[x] > floorLevel && p[x] >= share * q[x] + rest ? 255 : 0;
    }
    peak.release(); // the growth's labels take its place
    GrowToOwnHalfHeight(prepared, regionMask, floorLevel, share, rest, binary);
    return report;
}

void FillSingleObjectHoles(cv::Mat& binary)
{
    cv::Mat holes, stats, centroids;
    const int count =
        cv::connectedComponentsWithStats(binary == 0, holes, stats, centroids, 4, CV_32S);
    std::vector<int> inner;
    for (int i = 1; i < count; ++i) {
        const int x = stats.at<int>(i, cv::CC_STAT_LEFT), y = stats.at<int>(i, cv::CC_STAT_TOP);
        const int w = stats.at<int>(i, cv::CC_STAT_WIDTH), h = stats.at<int>(i, cv::CC_STAT_HEIGHT);
        if (x > 0 && y > 0 && x + w < binary.cols && y + h < binary.rows)
            inner.push_back(i);
    }
    if (inner.empty())
        return;
    for (int i : inner) {
        const cv::Rect box(stats.at<int>(i, cv::CC_STAT_LEFT), stats.at<int>(i, cv::CC_STAT_TOP),
                           stats.at<int>(i, cv::CC_STAT_WIDTH),
                           stats.at<int>(i, cv::CC_STAT_HEIGHT));
        // The objects around the hole, labelled within its box grown by one
        // pixel: the rim of a hole is a closed 8-connected curve in there, so
        // a rim that is one object outside the box is one inside it too.
        const cv::Rect grown(box.x - 1, box.y - 1, box.width + 2, box.height + 2);
        cv::Mat pieces;
        cv::connectedComponents(binary(grown), pieces, 8, CV_32S);
        // The rim: object pixels among the 8-neighbours of the hole's pixels.
        int rim = 0;
        bool single = true;
        for (int y = box.y; y < box.y + box.height && single; ++y) {
            const int* h = holes.ptr<int>(y);
            for (int x = box.x; x < box.x + box.width && single; ++x) {
                if (h[x] != i)
                    continue;
                for (int dy = -1; dy <= 1 && single; ++dy) {
                    const int* p = pieces.ptr<int>(y + dy - grown.y);
                    for (int dx = -1; dx <= 1; ++dx) {
                        const int q = p[x + dx - grown.x];
                        if (q == 0)
                            continue;
                        if (rim == 0)
                            rim = q;
                        else if (q != rim)
                            single = false;
                    }
                }
            }
        }
        if (!single || rim == 0)
            continue;
        for (int y = box.y; y < box.y + box.height; ++y) {
            const int* h = holes.ptr<int>(y);
            unsigned char* b = binary.ptr<unsigned char>(y);
            for (int x = box.x; x < box.x + box.width; ++x)
                if (h[x] == i)
                    b[x] = 255;
        }
    }
}

} // namespace preparation

#include "dishagar.h"

#include "preparation.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace dishagar {

namespace {

constexpr double kMadToSigma = 1.4826;

double Median(std::vector<double> values)
{
    const size_t k = values.size() / 2;
    std::nth_element(values.begin(), values.begin() + static_cast<long>(k), values.end());
    return values[k];
}

} // namespace

cv::Scalar MedianColour(const cv::Mat& image, const cv::Mat& mask)
{
    std::vector<cv::Mat> planes;
    cv::split(image, planes);
    cv::Scalar median;
    const int total = cv::countNonZero(mask);
    for (size_t c = 0; c < planes.size() && c < 4; ++c) {
        std::vector<int> histogram(256, 0);
        for (int y = 0; y < image.rows; ++y) {
            const unsigned char* p = planes[c].ptr<unsigned char>(y);
            const unsigned char* m = mask.ptr<unsigned char>(y);
            for (int x = 0; x < image.cols; ++x)
                if (m[x])
                    ++histogram[p[x]];
        }
        int seen = 0, level = 0;
        while (level < 255 && 2 * (seen + histogram[static_cast<size_t>(level)]) <= total)
            seen += histogram[static_cast<size_t>(level++)];
        median[static_cast<int>(c)] = level;
    }
    return median;
}

cv::Mat Evened(const cv::Mat& image, const cv::Mat& disc, cv::Point2d centre, double radius)
{
    // Sample points on a grid of about kLevelSide across the disc.
    const int step = std::max(1, static_cast<int>(2 * radius / kLevelSide));
    const double scale = 1.0 / std::max(1.0, radius);
    auto terms = [&](double x, double y, double* t) {
        const double u = (x - centre.x) * scale, v = (y - centre.y) * scale;
        t[0] = 1;
        t[1] = u;
        t[2] = v;
        t[3] = u * u;
        t[4] = u * v;
        t[5] = v * v;
    };
    std::vector<cv::Point> samples;
    for (int y = step / 2; y < image.rows; y += step)
        for (int x = step / 2; x < image.cols; x += step)
            if (disc.at<unsigned char>(y, x))
                samples.emplace_back(x, y);
    cv::Mat out = image.clone();
    if (samples.size() < 3 * kLevelTerms)
        return out;
    cv::Mat design(static_cast<int>(samples.size()), kLevelTerms, CV_64F);
    for (int i = 0; i < design.rows; ++i)
        terms(samples[static_cast<size_t>(i)].x, samples[static_cast<size_t>(i)].y,
              design.ptr<double>(i));

    std::vector<cv::Mat> planes;
    cv::split(image, planes);
    for (cv::Mat& plane : planes) {
        // The agar's level: a smooth surface fitted to the samples, again
        // and again without those far from it (colonies below, glare above).
        std::vector<double> values(samples.size());
        for (size_t i = 0; i < samples.size(); ++i)
            values[i] = plane.at<unsigned char>(samples[i]);
        std::vector<char> kept(samples.size(), 1);
        cv::Mat coefficients(kLevelTerms, 1, CV_64F, cv::Scalar(0));
        double noise = 0;
        for (int round = 0; round < kLevelRounds; ++round) {
            cv::Mat a, b;
            for (size_t i = 0; i < samples.size(); ++i)
                if (kept[i]) {
                    a.push_back(design.row(static_cast<int>(i)));
                    b.push_back(values[i]);
                }
            if (a.rows < kLevelTerms || !cv::solve(a, b, coefficients, cv::DECOMP_SVD))
                break;
            const cv::Mat fitted = design * coefficients;
            std::vector<double> residuals(samples.size()), spread;
            for (size_t i = 0; i < samples.size(); ++i) {
                residuals[i] = values[i] - fitted.at<double>(static_cast<int>(i));
                if (kept[i])
                    spread.push_back(std::abs(residuals[i]));
            }
            noise = std::max(0.5, kMadToSigma * Median(spread));
            for (size_t i = 0; i < samples.size(); ++i)
                kept[i] = std::abs(residuals[i]) <= kLevelReject * noise;
        }
        // Glare down to the level (plus kGlareNoise x the noise), and the
        // level outside the disc.
        const double* c = coefficients.ptr<double>();
        for (int y = 0; y < plane.rows; ++y) {
            unsigned char* p = plane.ptr<unsigned char>(y);
            const unsigned char* m = disc.ptr<unsigned char>(y);
            for (int x = 0; x < plane.cols; ++x) {
                double t[kLevelTerms];
                terms(x, y, t);
                double level = 0;
                for (int k = 0; k < kLevelTerms; ++k)
                    level += c[k] * t[k];
                if (!m[x])
                    p[x] = cv::saturate_cast<unsigned char>(level);
                else
                    p[x] = std::min(p[x],
                                    cv::saturate_cast<unsigned char>(level + kGlareNoise * noise));
            }
        }
    }
    cv::merge(planes, out);
    // The camera's and the JPEG's noise, pixel to pixel.
    cv::GaussianBlur(out, out, cv::Size(0, 0), kDenoiseShare * radius);
    return out;
}

cv::Mat ObjectMask(const cv::Mat& plane, bool bright, const cv::Mat& region, double radius)
{
    cv::Mat g;
    if (bright)
        g = plane;
    else
        cv::subtract(cv::Scalar(255), plane, g);
    cv::Mat residual;
    cv::subtract(g, preparation::Background(g, kObjectDisc * radius), residual, cv::noArray(),
                 CV_32F);
    cv::GaussianBlur(residual, residual, cv::Size(0, 0), 1.0);
    std::vector<double> values;
    for (int y = 0; y < residual.rows; y += 2) {
        const float* r = residual.ptr<float>(y);
        const unsigned char* m = region.ptr<unsigned char>(y);
        for (int x = 0; x < residual.cols; x += 2)
            if (m[x])
                values.push_back(r[x]);
    }
    cv::Mat mask(plane.size(), CV_8UC1, cv::Scalar(0));
    if (values.empty())
        return mask;
    const double middle = Median(values);
    for (double& v : values)
        v = std::abs(v - middle);
    const double noise = std::max(0.25, kMadToSigma * Median(values));
    cv::Mat above = residual > middle + kObjectNoise * noise;
    above.copyTo(mask, region);
    return mask;
}

} // namespace dishagar

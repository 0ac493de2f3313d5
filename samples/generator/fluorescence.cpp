#include "fluorescence.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace fluorescence {

namespace {

using syntheticcells::Random;

constexpr double kPi = 3.14159265358979323846;
constexpr double kGap = 4.0;        // pixels between nuclei that do not touch
constexpr int kPlacementTries = 60; // random positions tried per cluster
constexpr double kMaxAspect = 1.4;
constexpr double kNucleolusLevel = 0.35;
// Depth of the overlap of two touching nuclei, as a share of the smaller
// one's reach along the line of their centres.
constexpr double kMinOverlap = 0.1;
constexpr double kMaxOverlap = 0.3;

double Unit(Random& random)
{
    return static_cast<double>(random.Next() >> 11) * (1.0 / 9007199254740992.0);
}

double Between(Random& random, double low, double high)
{
    return low + (high - low) * Unit(random);
}

// Standard normal numbers (Box-Muller).
double Normal(Random& random)
{
    const double u = std::max(1e-12, Unit(random));
    return std::sqrt(-2.0 * std::log(u)) * std::cos(2.0 * kPi * Unit(random));
}

struct Shape
{
    cv::Point2d centre;
    double a = 0, b = 0, cosA = 1, sinA = 0;

    double Radius() const { return std::sqrt(a * b); }
    // Distance from the centre to the outline in the direction of @p to.
    double RadiusToward(cv::Point2d to) const
    {
        const cv::Point2d d = to - centre;
        const double length = std::max(1e-9, std::hypot(d.x, d.y));
        const double u = (d.x * cosA + d.y * sinA) / length;
        const double v = (-d.x * sinA + d.y * cosA) / length;
        return 1.0 / std::sqrt(u * u / (a * a) + v * v / (b * b));
    }
    // Ellipse coordinate: below 1 inside, grown by @p grow pixels.
    bool Contains(double x, double y, double grow = 0) const
    {
        const double dx = x - centre.x, dy = y - centre.y;
        const double u = (dx * cosA + dy * sinA) / (a + grow);
        const double v = (-dx * sinA + dy * cosA) / (b + grow);
        return u * u + v * v <= 1.0;
    }
    cv::Rect Box(double grow, cv::Size size) const
    {
        const double r = std::max(a, b) + grow + 1;
        return cv::Rect(cv::Point(static_cast<int>(centre.x - r), static_cast<int>(centre.y - r)),
                        cv::Point(static_cast<int>(centre.x + r) + 1,
                                  static_cast<int>(centre.y + r) + 1)) &
               cv::Rect(cv::Point(0, 0), size);
    }
};

Shape RandomShape(Random& random, cv::Point2d centre, double radius)
{
    const double aspect = Between(random, 1.0, kMaxAspect);
    const double angle = Between(random, 0.0, kPi);
    Shape s;
    s.centre = centre;
    s.a = radius * std::sqrt(aspect);
    s.b = radius / std::sqrt(aspect);
    s.cosA = std::cos(angle);
    s.sinA = std::sin(angle);
    return s;
}

// Whether @p shape grown by the gap overlaps any pixel marked in @p taken.
bool Free(const Shape& shape, const cv::Mat& taken)
{
    const cv::Rect box = shape.Box(kGap, taken.size());
    if (box.width <= 0 || box.height <= 0)
        return false;
    for (int y = box.y; y < box.y + box.height; ++y)
        for (int x = box.x; x < box.x + box.width; ++x)
            if (taken.at<unsigned char>(y, x) && shape.Contains(x, y, kGap))
                return false;
    return true;
}

void Mark(const Shape& shape, cv::Mat& taken)
{
    const cv::Rect box = shape.Box(0, taken.size());
    for (int y = box.y; y < box.y + box.height; ++y)
        for (int x = box.x; x < box.x + box.width; ++x)
            if (shape.Contains(x, y))
                taken.at<unsigned char>(y, x) = 255;
}

} // namespace

Scene MakeScene(const SceneParams& p)
{
    Random random(p.seed);
    Scene scene;
    const cv::Size size = p.size;
    const double margin = p.minRadius * p.radiusSpread + kGap;
    cv::Mat taken(size, CV_8UC1, cv::Scalar(0));
    std::vector<Shape> shapes;

    // Place clusters and singles until the nuclei cover their share.
    const double target = p.coverage * size.area();
    double covered = 0;
    int cluster = 0;
    int failures = 0;
    while (covered < target && failures < 200) {
        const bool inCluster = Unit(random) < p.clusterShare;
        const int members = inCluster ? random.Uniform(2, 4) : 1;
        bool placed = false;
        for (int tries = 0; tries < kPlacementTries && !placed; ++tries) {
            std::vector<Shape> group;
            const cv::Point2d start(Between(random, margin, size.width - margin),
                                    Between(random, margin, size.height - margin));
            group.push_back(
                RandomShape(random, start, p.minRadius * Between(random, 1.0, p.radiusSpread)));
            bool ok = Free(group[0], taken);
            for (int m = 1; m < members && ok; ++m) {
                // Beside a random member, overlapping by kMinOverlap..kMaxOverlap of
                // the smaller one's radius along the line of centres, so that the
                // two meet in a neck.
                const Shape& host = group[static_cast<size_t>(random.Uniform(0, m - 1))];
                const double r = p.minRadius * Between(random, 1.0, p.radiusSpread);
                const double angle = Between(random, 0.0, 2 * kPi);
                const cv::Point2d unit(std::cos(angle), std::sin(angle));
                Shape s = RandomShape(random, host.centre, r);
                const double overlap = Between(random, kMinOverlap, kMaxOverlap);
                const double hostReach = host.RadiusToward(host.centre + unit);
                const double ownReach = s.RadiusToward(s.centre - unit);
                s.centre = host.centre +
                           (hostReach + ownReach - overlap * std::min(hostReach, ownReach)) * unit;
                const cv::Point2d c = s.centre;
                ok = Free(s, taken) && c.x > margin && c.y > margin && c.x < size.width - margin &&
                     c.y < size.height - margin;
                // No deeper into any other member.
                for (const Shape& other : group) {
                    const double a = other.RadiusToward(c), b = s.RadiusToward(other.centre);
                    if (cv::norm(other.centre - c) < a + b - kMaxOverlap * std::min(a, b) - 1e-9)
                        ok = false;
                }
                group.push_back(s);
            }
            if (!ok)
                continue;
            placed = true;
            ++cluster;
            for (const Shape& s : group) {
                Mark(s, taken);
                shapes.push_back(s);
                covered += kPi * s.a * s.b;
                Nucleus n;
                n.centre = s.centre;
                n.radius = s.Radius();
                n.brightness = p.peak * std::pow(p.brightnessRange, -Unit(random));
                n.marker = random.Uniform(20, 230);
                n.cluster = cluster;
                scene.nuclei.push_back(n);
            }
        }
        failures = placed ? 0 : failures + 1;
    }

    // Truth: nearest centre among the ellipses that cover a pixel.
    scene.labels = cv::Mat(size, CV_32S, cv::Scalar(0));
    cv::Mat nearest(size, CV_64F, cv::Scalar(1e300));
    for (size_t i = 0; i < shapes.size(); ++i) {
        const Shape& s = shapes[i];
        const cv::Rect box = s.Box(0, size);
        for (int y = box.y; y < box.y + box.height; ++y)
            for (int x = box.x; x < box.x + box.width; ++x) {
                if (!s.Contains(x, y))
                    continue;
                const double d = std::hypot(x - s.centre.x, y - s.centre.y);
                if (d < nearest.at<double>(y, x)) {
                    nearest.at<double>(y, x) = d;
                    scene.labels.at<int>(y, x) = static_cast<int>(i) + 1;
                }
            }
    }

    // Grain: smoothed noise of unit deviation.
    cv::Mat grain(size, CV_32F);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x)
            grain.at<float>(y, x) = static_cast<float>(Normal(random));
    cv::GaussianBlur(grain, grain, cv::Size(0, 0), 1.2);
    cv::Scalar mean, deviation;
    cv::meanStdDev(grain, mean, deviation);
    grain /= std::max(1e-6, deviation[0]);

    // Nucleoli: one to three discs inside each nucleus.
    std::vector<std::vector<std::pair<cv::Point2d, double>>> nucleoli(shapes.size());
    for (size_t i = 0; i < shapes.size(); ++i) {
        const int count = random.Uniform(1, 3);
        for (int k = 0; k < count; ++k) {
            const double r = shapes[i].Radius();
            const double angle = Between(random, 0.0, 2 * kPi);
            const double d = Between(random, 0.0, 0.55) * r;
            nucleoli[i].push_back(
                {shapes[i].centre + d * cv::Point2d(std::cos(angle), std::sin(angle)),
                 Between(random, 0.12, 0.22) * r});
        }
    }

    // The stain: background ramp plus each nucleus's own brightness and texture.
    const double direction = Between(random, 0.0, 2 * kPi);
    const double ux = std::cos(direction), uy = std::sin(direction);
    const double span = std::abs(ux) * size.width + std::abs(uy) * size.height;
    const double offset = std::min(0.0, ux * size.width) + std::min(0.0, uy * size.height);
    cv::Mat stain(size, CV_32F);
    scene.marker = cv::Mat(size, CV_8UC1, cv::Scalar(5));
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const double t = (ux * x + uy * y - offset) / span;
            double value = p.background * (1.0 + (p.gradient - 1.0) * t);
            const int label = scene.labels.at<int>(y, x);
            if (label > 0) {
                const size_t i = static_cast<size_t>(label - 1);
                double level = 1.0 + p.texture * grain.at<float>(y, x);
                for (const auto& [c, r] : nucleoli[i])
                    if (std::hypot(x - c.x, y - c.y) <= r)
                        level *= kNucleolusLevel;
                value += scene.nuclei[i].brightness * std::max(0.0, level);
                scene.marker.at<unsigned char>(y, x) =
                    static_cast<unsigned char>(scene.nuclei[i].marker);
            }
            stain.at<float>(y, x) = static_cast<float>(value);
        }
    cv::GaussianBlur(stain, stain, cv::Size(0, 0), p.blur);
    cv::Mat grey(size, CV_8UC1);
    for (int y = 0; y < size.height; ++y)
        for (int x = 0; x < size.width; ++x) {
            const double v = stain.at<float>(y, x) + p.noise * Normal(random);
            grey.at<unsigned char>(y, x) =
                static_cast<unsigned char>(std::clamp(std::lround(v), 0L, 255L));
        }
    cv::cvtColor(grey, scene.image, cv::COLOR_GRAY2BGR);
    return scene;
}

} // namespace fluorescence

#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace touchingcells {

namespace {

using syntheticcells::Random;

constexpr double kPi = 3.14159265358979323846;
constexpr int kGap = 3;             // pixels between objects that do not touch
constexpr int kPlacementTries = 60; // random positions tried per cluster
// A touching pair must meet in a neck: where the two outlines come within
// two pixels of each other spans at most this share of the narrower one's width.
// Wider contacts barely show in the outline, and shape alone cannot tell
// them from one object. Long flat contacts of two elongated objects side by
// side are the ones this rule leaves out.
constexpr double kMaxNeckShare = 0.7;
// Ellipses are at least six pixels across.
constexpr double kMinHalfWidth = 3.0;

double Unit(Random& random)
{
    return static_cast<double>(random.Next() >> 11) * (1.0 / 9007199254740992.0);
}

double Between(Random& random, double low, double high)
{
    return low + (high - low) * Unit(random);
}

// A filled ellipse or a capsule (the points within w of a segment).
struct Part
{
    bool capsule = false;
    cv::Point2d centre;  // ellipse
    double a = 0, b = 0; // ellipse half-axes
    double cosA = 1, sinA = 0;
    cv::Point2d p0, p1; // capsule segment
    double w = 0;       // capsule half-width

    static Part Ellipse(cv::Point2d c, double a, double b, double angle)
    {
        Part p;
        p.centre = c;
        p.a = a;
        p.b = b;
        p.cosA = std::cos(angle);
        p.sinA = std::sin(angle);
        return p;
    }
    static Part Capsule(cv::Point2d p0, cv::Point2d p1, double w)
    {
        Part p;
        p.capsule = true;
        p.p0 = p0;
        p.p1 = p1;
        p.w = w;
        p.centre = (p0 + p1) * 0.5;
        return p;
    }

    // Whether (x, y) lies inside the part grown by @p grow pixels.
    bool Contains(double x, double y, double grow = 0.0) const
    {
        if (capsule) {
            const cv::Point2d d = p1 - p0;
            const double len2 = d.dot(d);
            double t = len2 > 0 ? ((x - p0.x) * d.x + (y - p0.y) * d.y) / len2 : 0.0;
            t = std::clamp(t, 0.0, 1.0);
            const double dx = x - (p0.x + t * d.x);
            const double dy = y - (p0.y + t * d.y);
            const double r = w + grow;
            return dx * dx + dy * dy <= r * r;
        }
        const double dx = x - centre.x;
        const double dy = y - centre.y;
        const double u = (dx * cosA + dy * sinA) / (a + grow);
        const double v = (-dx * sinA + dy * cosA) / (b + grow);
        return u * u + v * v <= 1.0;
    }

    // Distance from the centre to the outline in direction @p theta.
    double Reach(double theta) const
    {
        const double phi = theta - std::atan2(sinA, cosA);
        const double c = std::cos(phi), s = std::sin(phi);
        return a * b / std::sqrt(b * b * c * c + a * a * s * s);
    }

    cv::Rect2d Box(double grow) const
    {
        if (capsule) {
            const double r = w + grow;
            const double x0 = std::min(p0.x, p1.x) - r, x1 = std::max(p0.x, p1.x) + r;
            const double y0 = std::min(p0.y, p1.y) - r, y1 = std::max(p0.y, p1.y) + r;
            return {x0, y0, x1 - x0, y1 - y0};
        }
        const double r = std::max(a, b) + grow;
        return {centre.x - r, centre.y - r, 2 * r, 2 * r};
    }

    void Shift(cv::Point2d by)
    {
        centre += by;
        p0 += by;
        p1 += by;
    }
};

struct Shape
{
    std::vector<Part> parts;
    bool hasHole = false;
    Part hole;
    cv::Point2d centre;
    double minorRadius = 0; // half the width of the narrowest part
    int cluster = 0;
    int clusterSize = 1;
    bool special = false;

    bool Contains(double x, double y, double grow = 0.0) const
    {
        if (hasHole && grow == 0.0 && hole.Contains(x, y))
            return false;
        for (const Part& p : parts)
            if (p.Contains(x, y, grow))
                return true;
        return false;
    }

    cv::Rect Box(double grow) const
    {
        cv::Rect2d box = parts[0].Box(grow);
        for (const Part& p : parts)
            box |= p.Box(grow);
        const int x0 = static_cast<int>(std::floor(box.x));
        const int y0 = static_cast<int>(std::floor(box.y));
        const int x1 = static_cast<int>(std::ceil(box.x + box.width));
        const int y1 = static_cast<int>(std::ceil(box.y + box.height));
        return {x0, y0, x1 - x0 + 1, y1 - y0 + 1};
    }

    void Shift(cv::Point2d by)
    {
        for (Part& p : parts)
            p.Shift(by);
        hole.Shift(by);
        centre += by;
    }
};

// Calls @p f(x, y) for every pixel of @p shape grown by @p grow inside @p area.
template <class F> void ForEachPixel(const Shape& shape, double grow, const cv::Rect& area, F&& f)
{
    const cv::Rect box = shape.Box(grow) & area;
    for (int y = box.y; y < box.y + box.height; ++y)
        for (int x = box.x; x < box.x + box.width; ++x)
            if (shape.Contains(x, y, grow))
                f(x, y);
}

class Builder
{
public:
    Builder(const SceneParams& params)
        : p_(params), random_(params.seed), area_(cv::Point(0, 0), params.size),
          occupied_(cv::Mat::zeros(params.size, CV_8UC1))
    {
    }

    double Radius() { return p_.minRadius * std::pow(p_.radiusSpread, Unit(random_)); }

    // An ellipse of the area of a disc of radius @p r.
    Shape Ellipse(cv::Point2d c, double r)
    {
        // Nothing narrower than 2 * kMinHalfWidth pixels.
        const double widest =
            std::max(1.0, std::min(p_.maxAspect, r * r / (kMinHalfWidth * kMinHalfWidth)));
        const double aspect = Between(random_, 1.0, widest);
        const double a = r * std::sqrt(aspect), b = r / std::sqrt(aspect);
        Shape s;
        s.parts.push_back(Part::Ellipse(c, a, b, Between(random_, 0.0, kPi)));
        s.centre = c;
        s.minorRadius = b;
        return s;
    }

    // Width of the neck where @p a and @p b join: the longest span of the
    // pixels where their outlines come closer than two pixels (soft edges
    // and thresholding join them there, not only where they overlap).
    static double NeckWidth(const Shape& a, const Shape& b)
    {
        std::vector<cv::Point> shared;
        const cv::Rect box = a.Box(1.0) & b.Box(1.0);
        for (int y = box.y; y < box.y + box.height; ++y)
            for (int x = box.x; x < box.x + box.width; ++x)
                if (a.Contains(x, y, 1.0) && b.Contains(x, y, 1.0))
                    shared.emplace_back(x, y);
        if (shared.empty())
            return 0.0;
        std::vector<cv::Point> hull;
        cv::convexHull(shared, hull);
        double longest = 0.0;
        for (const cv::Point& p : hull)
            for (const cv::Point& q : hull)
                longest = std::max(longest, cv::norm(p - q));
        return longest + 1.0;
    }

    static bool Near(const Shape& a, const Shape& b, double grow)
    {
        const cv::Rect box = a.Box(grow) & b.Box(grow);
        for (int y = box.y; y < box.y + box.height; ++y)
            for (int x = box.x; x < box.x + box.width; ++x)
                if (a.Contains(x, y, grow) && b.Contains(x, y, grow))
                    return true;
        return false;
    }

    // A cluster of @p n ellipses around the origin, each touching the one it
    // was attached to and keeping clear of the others.
    std::vector<Shape> Cluster(int n)
    {
        std::vector<Shape> members{Ellipse({0, 0}, Radius())};
        for (int tries = 0; static_cast<int>(members.size()) < n && tries < 40 * n; ++tries) {
            const Shape& parent = members[random_.Uniform(0, static_cast<int>(members.size()) - 1)];
            Shape child = Ellipse({0, 0}, Radius());
            const double theta = Between(random_, 0.0, 2 * kPi);
            const double reachParent = parent.parts[0].Reach(theta);
            const double reachChild = child.parts[0].Reach(theta + kPi);
            // Overlap along the line of centres: from none (touching) to a
            // third of the smaller radius in that direction.
            const double depth = Between(random_, 0.0, std::min(reachParent, reachChild) / 3.0);
            const double step = reachParent + reachChild - depth;
            child.Shift(parent.centre +
                        cv::Point2d(step * std::cos(theta), step * std::sin(theta)));
            const double neck = NeckWidth(parent, child);
            if (neck < 1.0 ||
                neck > kMaxNeckShare * 2.0 * std::min(parent.minorRadius, child.minorRadius))
                continue;
            bool clear = true;
            for (const Shape& other : members)
                if (&other != &parent && Near(other, child, kGap))
                    clear = false;
            if (clear)
                members.push_back(child);
        }
        return members;
    }

    // Tries to put @p group at a random place where it keeps clear of what is
    // there; marks its space as taken when it fits.
    bool Place(std::vector<Shape> group, bool insideOnly)
    {
        cv::Rect box = group[0].Box(kGap);
        for (const Shape& s : group)
            box |= s.Box(kGap);
        for (int attempt = 0; attempt < kPlacementTries; ++attempt) {
            cv::Point2d at;
            if (insideOnly) {
                if (box.width + 4 >= p_.size.width || box.height + 4 >= p_.size.height)
                    return false;
                at = {Between(random_, -box.x + 2, p_.size.width - box.x - box.width - 2),
                      Between(random_, -box.y + 2, p_.size.height - box.y - box.height - 2)};
            } else {
                at = {
                    Between(random_, -box.x - box.width / 2, p_.size.width - box.x - box.width / 2),
                    Between(random_, -box.y - box.height / 2,
                            p_.size.height - box.y - box.height / 2)};
            }
            at = {std::round(at.x), std::round(at.y)};
            bool free = true;
            for (const Shape& s : group) {
                Shape moved = s;
                moved.Shift(at);
                ForEachPixel(moved, kGap, area_, [&](int x, int y) {
                    if (occupied_.at<uchar>(y, x))
                        free = false;
                });
                if (!free)
                    break;
            }
            if (!free)
                continue;
            const int id = ++clusters_;
            for (Shape s : group) {
                s.Shift(at);
                s.cluster = id;
                s.clusterSize = static_cast<int>(group.size());
                ForEachPixel(s, kGap, area_, [&](int x, int y) { occupied_.at<uchar>(y, x) = 1; });
                shapes_.push_back(s);
            }
            return true;
        }
        return false;
    }

    void FillMixed()
    {
        const double s = p_.radiusSpread;
        const double meanArea = kPi * p_.minRadius * p_.minRadius *
                                (s > 1.0 ? (s * s - 1.0) / (2.0 * std::log(s)) : 1.0);
        const double target = p_.coverage * p_.size.area() / meanArea;
        const double meanCluster = 0.5 * (p_.minCluster + p_.maxCluster);
        const double share = std::clamp(p_.clusterShare, 0.0, 1.0);
        const double clusterChance = share / (meanCluster * (1.0 - share) + share);
        int failures = 0;
        while (static_cast<double>(shapes_.size()) < target && failures < 300) {
            const bool cluster = Unit(random_) < clusterChance;
            const int n = cluster ? random_.Uniform(p_.minCluster, p_.maxCluster) : 1;
            if (Place(Cluster(n), false))
                failures = 0;
            else
                ++failures;
        }
    }

    void AddSpecials()
    {
        for (int i = 0; i < p_.specials; ++i) {
            std::vector<Shape> group;
            const double angle = Between(random_, 0.0, kPi);
            const cv::Point2d dir(std::cos(angle), std::sin(angle));
            switch (p_.kind) {
            case Kind::Ring: {
                const int n = random_.Uniform(8, 12);
                const double r = p_.minRadius * Between(random_, 1.2, 2.0);
                const double spacing = 2.0 * r - Between(random_, 0.1, 0.25) * r;
                const double ringRadius = spacing / (2.0 * std::sin(kPi / n));
                for (int k = 0; k < n; ++k) {
                    const double t = angle + 2.0 * kPi * k / n;
                    const cv::Point2d c(ringRadius * std::cos(t), ringRadius * std::sin(t));
                    const double rk = r * Between(random_, 0.96, 1.04);
                    Shape s;
                    s.parts.push_back(Part::Ellipse(c, rk, rk, 0.0));
                    s.centre = c;
                    s.minorRadius = rk;
                    group.push_back(s);
                }
                break;
            }
            case Kind::Dumbbell: {
                // Two bulbs joined by a bar nine tenths as wide: one object.
                const double r = p_.minRadius * Between(random_, 1.5, 2.5);
                const cv::Point2d end = dir * (1.75 * r);
                Shape s;
                s.parts.push_back(Part::Ellipse(-end, r, r, 0.0));
                s.parts.push_back(Part::Ellipse(end, r, r, 0.0));
                s.parts.push_back(Part::Capsule(-end, end, 0.9 * r));
                s.minorRadius = 0.9 * r;
                group.push_back(s);
                break;
            }
            case Kind::Rod: {
                // A capsule four times as long as it is wide.
                const double w = p_.minRadius * Between(random_, 0.8, 1.5);
                const cv::Point2d end = dir * (3.0 * w);
                Shape s;
                s.parts.push_back(Part::Capsule(-end, end, w));
                s.minorRadius = w;
                group.push_back(s);
                break;
            }
            case Kind::Hole: {
                // A nucleus a third of the radius across, a little off centre.
                const double r = p_.minRadius * Between(random_, 1.5, 2.5);
                Shape s = Ellipse({0, 0}, r);
                const double off = Between(random_, 0.0, 0.15) * r;
                const double hr = r * Between(random_, 0.25, 0.4);
                s.hasHole = true;
                s.hole = Part::Ellipse(dir * off, hr, hr * 0.8, angle);
                group.push_back(s);
                break;
            }
            default:
                return;
            }
            for (Shape& s : group)
                s.special = true;
            Place(group, true);
        }
    }

    // Discs on a square grid a little closer than their diameter, beyond the
    // image border on every side: nearly every object touches its four
    // neighbours, and the gaps where four meet stay open.
    void FillDense()
    {
        const double r0 = std::max(8.0, p_.minRadius * 1.6);
        const double spacing = 1.9 * r0;
        for (double y = -r0; y < p_.size.height + r0; y += spacing) {
            for (double x = -r0; x < p_.size.width + r0; x += spacing) {
                if (Unit(random_) < 0.04)
                    continue; // a few gaps
                const cv::Point2d c(x + Between(random_, -0.04, 0.04) * r0,
                                    y + Between(random_, -0.04, 0.04) * r0);
                const double r = r0 * Between(random_, 0.95, 1.05);
                Shape s;
                s.parts.push_back(Part::Ellipse(c, r, r, 0.0));
                s.centre = c;
                s.minorRadius = r;
                s.cluster = 1;
                shapes_.push_back(s);
            }
        }
        for (Shape& s : shapes_)
            s.clusterSize = static_cast<int>(shapes_.size());
    }

    Scene Build()
    {
        if (p_.kind == Kind::DenseField) {
            FillDense();
        } else {
            AddSpecials();
            FillMixed();
        }
        Scene scene;
        scene.labels = Labels();
        scene.objects = Objects(scene.labels);
        scene.image = Render(scene.labels);
        return scene;
    }

private:
    cv::Mat Labels() const
    {
        cv::Mat labels = cv::Mat::zeros(p_.size, CV_32S);
        for (size_t i = 0; i < shapes_.size(); ++i) {
            const Shape& s = shapes_[i];
            ForEachPixel(s, 0.0, area_, [&](int x, int y) {
                int& owner = labels.at<int>(y, x);
                if (owner != 0) {
                    const cv::Point2d here(x, y);
                    const cv::Point2d a = here - shapes_[owner - 1].centre;
                    const cv::Point2d b = here - s.centre;
                    if (b.dot(b) >= a.dot(a))
                        return;
                }
                owner = static_cast<int>(i) + 1;
            });
        }
        return labels;
    }

    std::vector<TruthObject> Objects(const cv::Mat& labels) const
    {
        std::vector<TruthObject> objects(shapes_.size());
        for (size_t i = 0; i < shapes_.size(); ++i) {
            objects[i].centre = shapes_[i].centre;
            objects[i].cluster = shapes_[i].cluster;
            objects[i].clusterSize = shapes_[i].clusterSize;
            objects[i].special = shapes_[i].special;
        }
        const int band = 6;
        for (int y = 0; y < labels.rows; ++y) {
            const int* row = labels.ptr<int>(y);
            const bool edgeRow = y < band || y >= labels.rows - band;
            for (int x = 0; x < labels.cols; ++x) {
                if (!row[x])
                    continue;
                TruthObject& o = objects[row[x] - 1];
                ++o.area;
                if (edgeRow || x < band || x >= labels.cols - band)
                    o.nearBorder = true;
            }
        }
        return objects;
    }

    cv::Mat Render(const cv::Mat& labels)
    {
        const cv::Vec3d ground =
            p_.brightObjects ? cv::Vec3d(24, 20, 18) : cv::Vec3d(222, 214, 208);
        const cv::Vec3d body = p_.brightObjects ? cv::Vec3d(70, 190, 90) : cv::Vec3d(125, 70, 100);
        std::vector<cv::Vec3d> tones(shapes_.size() + 1, ground);
        for (size_t i = 0; i < shapes_.size(); ++i)
            tones[i + 1] = body * Between(random_, 0.9, 1.1);

        cv::Mat image(p_.size, CV_8UC3);
        const double w = p_.size.width, h = p_.size.height;
        for (int y = 0; y < image.rows; ++y) {
            const int* l = labels.ptr<int>(y);
            cv::Vec3b* out = image.ptr<cv::Vec3b>(y);
            for (int x = 0; x < image.cols; ++x) {
                const double light = 1.0 - p_.illumination * 0.5 * (x / w + y / h);
                const cv::Vec3d v = tones[l[x]] * light;
                out[x] = cv::Vec3b(cv::saturate_cast<uchar>(v[0]), cv::saturate_cast<uchar>(v[1]),
                                   cv::saturate_cast<uchar>(v[2]));
            }
        }
        // Soft edges as an objective lens gives them, then sensor noise.
        cv::GaussianBlur(image, image, cv::Size(3, 3), 0.8, 0.8, cv::BORDER_REPLICATE);
        if (p_.noise > 0) {
            for (int y = 0; y < image.rows; ++y) {
                uchar* row = image.ptr<uchar>(y);
                for (int x = 0; x < image.cols * 3; ++x)
                    row[x] =
                        cv::saturate_cast<uchar>(row[x] + random_.Uniform(-p_.noise, p_.noise));
            }
        }
        return image;
    }

    SceneParams p_;
    Random random_;
    cv::Rect area_;
    cv::Mat occupied_;
    std::vector<Shape> shapes_;
    int clusters_ = 0;
};

} // namespace

Scene MakeScene(const SceneParams& params)
{
    Builder builder(params);
    return builder.Build();
}

cv::Size MegapixelSize(int megapixels)
{
    const double pixels = megapixels * 1.0e6;
    const int rows = static_cast<int>(std::round(std::sqrt(pixels * 3.0 / 4.0)));
    const int cols = static_cast<int>(std::round(pixels / rows));
    return {cols, rows};
}

MatchScore Score(const cv::Mat& truth, const cv::Mat& detected, int borderBand)
{
    CV_Assert(truth.type() == CV_32S && detected.type() == CV_32S &&
              truth.size() == detected.size());
    double maxT = 0, maxD = 0;
    cv::minMaxLoc(truth, nullptr, &maxT);
    cv::minMaxLoc(detected, nullptr, &maxD);
    const int nT = static_cast<int>(maxT), nD = static_cast<int>(maxD);

    std::vector<int> areaT(nT + 1, 0), areaD(nD + 1, 0);
    std::vector<char> ignoredT(nT + 1, 0);
    std::unordered_map<std::uint64_t, int> overlap;
    for (int y = 0; y < truth.rows; ++y) {
        const int* t = truth.ptr<int>(y);
        const int* d = detected.ptr<int>(y);
        const bool edgeRow = y < borderBand || y >= truth.rows - borderBand;
        for (int x = 0; x < truth.cols; ++x) {
            ++areaT[t[x]];
            ++areaD[d[x]];
            if (t[x] && (edgeRow || x < borderBand || x >= truth.cols - borderBand))
                ignoredT[t[x]] = 1;
            if (t[x] && d[x])
                ++overlap[(static_cast<std::uint64_t>(t[x]) << 32) | static_cast<unsigned>(d[x])];
        }
    }

    // Per detected object: how much lies on ignored truth, and its main truth.
    std::vector<int> onIgnored(nD + 1, 0);
    std::vector<int> partnerOfT(nT + 1, 0), partnerOfD(nD + 1, 0);
    std::vector<int> insideCount(nT + 1, 0); // detected objects lying mostly inside a truth one
    std::vector<int> holdsCount(nD + 1, 0);  // truth objects lying mostly inside a detected one
    for (const auto& [key, n] : overlap) {
        const int t = static_cast<int>(key >> 32);
        const int d = static_cast<int>(key & 0xffffffffu);
        if (ignoredT[t])
            onIgnored[d] += n;
        const double iou = static_cast<double>(n) / (areaT[t] + areaD[d] - n);
        if (iou > 0.5) {
            partnerOfT[t] = d;
            partnerOfD[d] = t;
        }
        if (2 * n > areaD[d])
            ++insideCount[t];
        if (2 * n > areaT[t])
            ++holdsCount[d];
    }

    MatchScore s;
    std::vector<char> countedD(nD + 1, 0);
    for (int d = 1; d <= nD; ++d)
        countedD[d] = areaD[d] > 0 && 2 * onIgnored[d] <= areaD[d];
    for (int t = 1; t <= nT; ++t) {
        if (areaT[t] == 0 || ignoredT[t])
            continue;
        ++s.truth;
        if (partnerOfT[t] && countedD[partnerOfT[t]])
            ++s.truePositives;
        else
            ++s.falseNegatives;
        if (insideCount[t] >= 2)
            ++s.splits;
    }
    for (int d = 1; d <= nD; ++d) {
        if (!countedD[d])
            continue;
        ++s.detected;
        if (!(partnerOfD[d] && !ignoredT[partnerOfD[d]]))
            ++s.falsePositives;
        if (holdsCount[d] >= 2)
            ++s.merges;
    }
    const int denominator = 2 * s.truePositives + s.falsePositives + s.falseNegatives;
    s.f1 = denominator > 0 ? 2.0 * s.truePositives / denominator : 1.0;
    s.countError = s.truth > 0 ? static_cast<double>(s.detected - s.truth) / s.truth : 0.0;
    return s;
}

} // namespace touchingcells

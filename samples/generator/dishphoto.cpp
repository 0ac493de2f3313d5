#include "dishphoto.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace dishphoto {

namespace {

using syntheticcells::Random;

constexpr double kPi = 3.14159265358979323846;
constexpr double kGap = 3.0;         // pixels between colonies that do not touch
constexpr int kPlacementTries = 200; // random positions tried per group

double Unit(Random& random)
{
    return static_cast<double>(random.Next() >> 11) * (1.0 / 9007199254740992.0);
}

double Between(Random& random, double low, double high)
{
    return low + (high - low) * Unit(random);
}

double Normal(Random& random)
{
    const double u = std::max(1e-12, Unit(random));
    return std::sqrt(-2.0 * std::log(u)) * std::cos(2.0 * kPi * Unit(random));
}

// A slowly varying field in 0..1: random values on a coarse grid, enlarged.
cv::Mat Texture(Random& random, cv::Size size, int cells)
{
    cv::Mat coarse(cells, cells, CV_32F);
    for (int y = 0; y < cells; ++y)
        for (int x = 0; x < cells; ++x)
            coarse.at<float>(y, x) = static_cast<float>(Unit(random));
    cv::Mat field;
    cv::resize(coarse, field, size, 0, 0, cv::INTER_CUBIC);
    return field;
}

// Whether @p c keeps the gap to every colony of @p placed but those from
// index @p skipFrom on (its own group).
bool Free(const Colony& c, const std::vector<Colony>& placed, size_t skipFrom)
{
    for (size_t i = 0; i < std::min(skipFrom, placed.size()); ++i) {
        const double d =
            std::hypot(c.centre.x - placed[i].centre.x, c.centre.y - placed[i].centre.y);
        if (d < c.radius + placed[i].radius + kGap)
            return false;
    }
    return true;
}

} // namespace

cv::Size PhotoSize(double megapixels)
{
    const double height = std::sqrt(megapixels * 1e6 / 1.5);
    return cv::Size(static_cast<int>(std::lround(1.5 * height)),
                    static_cast<int>(std::lround(height)));
}

Scene MakeScene(const SceneParams& p)
{
    Random random(p.seed);
    Scene scene;
    const cv::Size size = p.size;
    const double side = std::min(size.width, size.height);

    // The dish, wholly inside the frame.
    const double radius = side * Between(random, 0.36, 0.47);
    const double edge = radius + 0.02 * side;
    scene.dishRadius = radius;
    scene.dishCentre = cv::Point2d(Between(random, edge, size.width - edge),
                                   Between(random, edge, size.height - edge));

    // Colonies: groups of one to three inside the reach, the others kept apart.
    const int wanted = random.Uniform(p.minColonies, p.maxColonies);
    const double minRadius = radius * Between(random, 0.011, 0.017);
    const double reach = kColonyReach * radius;
    auto drawRadius = [&] { return minRadius * std::exp(Between(random, 0.0, std::log(3.0))); };
    int failures = 0;
    while (static_cast<int>(scene.colonies.size()) < wanted && failures < 50) {
        const int left = wanted - static_cast<int>(scene.colonies.size());
        const int members =
            Unit(random) < p.touchingShare ? std::min(left, random.Uniform(2, 3)) : 1;
        bool placed = false;
        for (int tries = 0; tries < kPlacementTries && !placed; ++tries) {
            const size_t start = scene.colonies.size();
            std::vector<Colony> group;
            Colony first;
            first.radius = drawRadius();
            const double rho = (reach - first.radius) * std::sqrt(Unit(random));
            const double phi = Between(random, 0.0, 2 * kPi);
            first.centre = scene.dishCentre + cv::Point2d(rho * std::cos(phi), rho * std::sin(phi));
            group.push_back(first);
            bool ok = Free(first, scene.colonies, start);
            for (int m = 1; m < members && ok; ++m) {
                // Beside a member of the group, overlapping by 10 to 25 % of
                // the smaller radius, so that the two meet in a neck.
                const Colony& host = group[static_cast<size_t>(random.Uniform(0, m - 1))];
                Colony c;
                c.radius = drawRadius();
                const double overlap = Between(random, 0.1, 0.25) * std::min(c.radius, host.radius);
                const double d = host.radius + c.radius - overlap;
                const double a = Between(random, 0.0, 2 * kPi);
                c.centre = host.centre + cv::Point2d(d * std::cos(a), d * std::sin(a));
                ok = Free(c, scene.colonies, start) &&
                     std::hypot(c.centre.x - scene.dishCentre.x, c.centre.y - scene.dishCentre.y) +
                             c.radius <=
                         reach;
                // Apart from the other members of its group but its host.
                for (const Colony& other : group)
                    if (&other != &host &&
                        std::hypot(c.centre.x - other.centre.x, c.centre.y - other.centre.y) <
                            c.radius + other.radius + kGap)
                        ok = false;
                group.push_back(c);
            }
            if (ok) {
                scene.colonies.insert(scene.colonies.end(), group.begin(), group.end());
                placed = true;
            }
        }
        failures = placed ? 0 : failures + 1;
    }

    // Colours (BGR): surround, agar, colonies (a darker, paler shade of the agar).
    const cv::Vec3d surround(Between(random, 30, 200), Between(random, 30, 200),
                             Between(random, 30, 200));
    const cv::Vec3d agar(Between(random, 60, 110), Between(random, 125, 170),
                         Between(random, 170, 215));
    const double depthLow = Between(random, 0.3, 0.4), depthHigh = depthLow + 0.15;
    const double wall = Between(random, 225, 250);
    const double shadow = Between(random, 0.45, 0.7);

    // Per colony its own depth; the labels by nearest centre among the covering discs.
    std::vector<double> depth(scene.colonies.size());
    for (double& d : depth)
        d = Between(random, depthLow, depthHigh);
    cv::Mat shade(size, CV_32F, cv::Scalar(0)); // share of light the colonies take
    scene.labels = cv::Mat(size, CV_32S, cv::Scalar(0));
    cv::Mat nearest(size, CV_32F, cv::Scalar(1e9));
    for (size_t i = 0; i < scene.colonies.size(); ++i) {
        const Colony& c = scene.colonies[i];
        const int x0 = std::max(0, static_cast<int>(c.centre.x - c.radius) - 1);
        const int x1 = std::min(size.width - 1, static_cast<int>(c.centre.x + c.radius) + 1);
        const int y0 = std::max(0, static_cast<int>(c.centre.y - c.radius) - 1);
        const int y1 = std::min(size.height - 1, static_cast<int>(c.centre.y + c.radius) + 1);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const double d = std::hypot(x - c.centre.x, y - c.centre.y);
                if (d > c.radius)
                    continue;
                const double rho = d / c.radius;
                const float s = static_cast<float>(depth[i] * (0.8 + 0.2 * (1 - rho * rho)));
                shade.at<float>(y, x) = std::max(shade.at<float>(y, x), s);
                if (d < nearest.at<float>(y, x)) {
                    nearest.at<float>(y, x) = static_cast<float>(d);
                    scene.labels.at<int>(y, x) = static_cast<int>(i) + 1;
                }
            }
    }

    // Glare: one to p.glares soft white ellipses, stretched along the rim.
    const int glares = random.Uniform(1, std::max(1, p.glares));
    for (int g = 0; g < glares; ++g) {
        Glare glare;
        const double rho = radius * Between(random, 0.3, 0.97);
        const double phi = Between(random, 0.0, 2 * kPi);
        glare.centre = scene.dishCentre + cv::Point2d(rho * std::cos(phi), rho * std::sin(phi));
        glare.a = radius * Between(random, 0.06, 0.2);
        glare.b = glare.a * Between(random, 0.15, 0.4);
        glare.angle = phi + kPi / 2;
        glare.strength = Between(random, 50, 110);
        scene.glares.push_back(glare);
    }

    const cv::Mat grain = Texture(random, size, 24);
    const double slope = Between(random, 0.1, 0.25);
    const double direction = Between(random, 0.0, 2 * kPi);
    const double dx = std::cos(direction), dy = std::sin(direction);
    const double half = 0.5 * std::hypot(size.width, size.height);
    cv::Mat picture(size, CV_32FC3);
    for (int y = 0; y < size.height; ++y) {
        const float* s = shade.ptr<float>(y);
        const float* t = grain.ptr<float>(y);
        cv::Vec3f* out = picture.ptr<cv::Vec3f>(y);
        for (int x = 0; x < size.width; ++x) {
            const double r = std::hypot(x - scene.dishCentre.x, y - scene.dishCentre.y) / radius;
            cv::Vec3d v;
            if (r >= 1.0) {
                v = surround * (0.85 + 0.3 * t[x]);
            } else if (r >= kWallStart) {
                // The wall: brightest at its middle.
                const double m = (r - kWallStart) / (1 - kWallStart);
                const double level = wall * (0.85 + 0.15 * std::sin(kPi * m));
                v = cv::Vec3d(level, level, level);
            } else if (r >= kAgarEdge) {
                v = agar * shadow;
            } else {
                v = agar * (1.0 - s[x]);
            }
            // The light falls off along one direction across the picture.
            const double along =
                ((x - 0.5 * size.width) * dx + (y - 0.5 * size.height) * dy) / half;
            v *= 1.0 + slope * along;
            double glow = 0;
            for (const Glare& g : scene.glares) {
                const double ex = x - g.centre.x, ey = y - g.centre.y;
                const double u = (ex * std::cos(g.angle) + ey * std::sin(g.angle)) / g.a;
                const double w = (-ex * std::sin(g.angle) + ey * std::cos(g.angle)) / g.b;
                const double q = u * u + w * w;
                if (q < 9)
                    glow += g.strength * std::exp(-q);
            }
            if (r < 1.0)
                v += cv::Vec3d(glow, glow, glow);
            out[x] = cv::Vec3f(static_cast<float>(v[0]), static_cast<float>(v[1]),
                               static_cast<float>(v[2]));
        }
    }
    cv::GaussianBlur(picture, picture, cv::Size(0, 0), 1.0);
    const double noise = Between(random, 2.0, 4.0);
    scene.image = cv::Mat(size, CV_8UC3);
    for (int y = 0; y < size.height; ++y) {
        const cv::Vec3f* in = picture.ptr<cv::Vec3f>(y);
        cv::Vec3b* out = scene.image.ptr<cv::Vec3b>(y);
        for (int x = 0; x < size.width; ++x)
            for (int c = 0; c < 3; ++c)
                out[x][c] = cv::saturate_cast<unsigned char>(in[x][c] + noise * Normal(random));
    }
    if (p.jpeg) {
        std::vector<unsigned char> bytes;
        cv::imencode(".jpg", scene.image, bytes,
                     {cv::IMWRITE_JPEG_QUALITY, random.Uniform(75, 92)});
        scene.image = cv::imdecode(bytes, cv::IMREAD_COLOR);
    }
    return scene;
}

} // namespace dishphoto

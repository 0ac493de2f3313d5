#include "stainedtissue.h"

#include "syntheticcells.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace stainedtissue {

namespace {

using syntheticcells::Random;

double Uniform(Random& random, double low, double high)
{
    return low + (high - low) * random.Uniform(0, 1000000) / 1e6;
}

// A stain's optical-density colour (R, G, B, unit length) from the colour
// one unit of it gives on white, each channel moved by up to @p spread.
cv::Vec3d StainColour(Random& random, const cv::Vec3d& rgb, const cv::Vec3d& spread)
{
    cv::Vec3d od;
    for (int c = 0; c < 3; ++c) {
        const double level =
            std::clamp(rgb[c] + Uniform(random, -spread[c], spread[c]), 5.0, 250.0);
        od[c] = -std::log10(level / 255.0);
    }
    return od / cv::norm(od);
}

// A smooth random field of mean 0 and standard deviation about 1.
cv::Mat Field(Random& random, cv::Size size, double sigma)
{
    cv::Mat field(size, CV_32F);
    for (int y = 0; y < size.height; ++y) {
        float* f = field.ptr<float>(y);
        for (int x = 0; x < size.width; ++x)
            f[x] = static_cast<float>(Uniform(random, -1.0, 1.0));
    }
    cv::GaussianBlur(field, field, cv::Size(), sigma);
    cv::Scalar mean, deviation;
    cv::meanStdDev(field, mean, deviation);
    field = (field - mean[0]) / std::max(deviation[0], 1e-9);
    return field;
}

struct Nucleus
{
    cv::Point2d centre;
    double a = 0, b = 0, angle = 0; ///< semi-axes and direction (radians)
    double amount = 0;              ///< of haematoxylin
};

// Normalised radial distance of @p p from the ellipse's centre: 1 on its rim.
double Radial(const Nucleus& n, double x, double y)
{
    const double dx = x - n.centre.x, dy = y - n.centre.y;
    const double c = std::cos(n.angle), s = std::sin(n.angle);
    const double u = (dx * c + dy * s) / n.a, v = (-dx * s + dy * c) / n.b;
    return std::sqrt(u * u + v * v);
}

bool Fits(const Nucleus& n, const std::vector<Nucleus>& placed, const cv::Mat& holes,
          const Nucleus* partner)
{
    const int x = static_cast<int>(std::lround(n.centre.x));
    const int y = static_cast<int>(std::lround(n.centre.y));
    if (x < 0 || y < 0 || x >= holes.cols || y >= holes.rows || holes.at<uchar>(y, x))
        return false;
    for (const Nucleus& other : placed) {
        if (&other == partner)
            continue;
        if (cv::norm(n.centre - other.centre) < n.a + other.a + 4.0)
            return false;
    }
    return true;
}

// The JPEG-like loss: luminance and colour planes at half resolution, each
// in 8x8 blocks of cosine coefficients divided by the usual tables scaled
// for @p quality and rounded.
void Compress(cv::Mat& bgr, int quality)
{
    static const float kLuma[64] = {16,  11,  10,  16,  24, 40, 51,  61,  12,  12,  14,  19,  26,
                                    58,  60,  55,  14,  13, 16, 24,  40,  57,  69,  56,  14,  17,
                                    22,  29,  51,  87,  80, 62, 18,  22,  37,  56,  68,  109, 103,
                                    77,  24,  35,  55,  64, 81, 104, 113, 92,  49,  64,  78,  87,
                                    103, 121, 120, 101, 72, 92, 95,  98,  112, 100, 103, 99};
    static const float kChroma[64] = {
        17, 18, 24, 47, 99, 99, 99, 99, 18, 21, 26, 66, 99, 99, 99, 99, 24, 26, 56, 99, 99, 99,
        99, 99, 47, 66, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99,
        99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99, 99};
    const double scale = quality < 50 ? 5000.0 / quality : 200.0 - 2.0 * quality;
    cv::Mat ycc;
    cv::cvtColor(bgr, ycc, cv::COLOR_BGR2YCrCb);
    std::vector<cv::Mat> planes;
    cv::split(ycc, planes);
    for (size_t p = 0; p < planes.size(); ++p) {
        const float* table = p == 0 ? kLuma : kChroma;
        cv::Mat plane;
        if (p == 0)
            planes[p].convertTo(plane, CV_32F, 1.0, -128.0);
        else {
            cv::Mat half;
            cv::resize(planes[p], half, cv::Size((bgr.cols + 1) / 2, (bgr.rows + 1) / 2), 0, 0,
                       cv::INTER_AREA);
            half.convertTo(plane, CV_32F, 1.0, -128.0);
        }
        // Padded to whole blocks by repeating the edge.
        cv::Mat padded;
        cv::copyMakeBorder(plane, padded, 0, (8 - plane.rows % 8) % 8, 0, (8 - plane.cols % 8) % 8,
                           cv::BORDER_REPLICATE);
        cv::Mat coefficients(8, 8, CV_32F);
        for (int by = 0; by < padded.rows; by += 8)
            for (int bx = 0; bx < padded.cols; bx += 8) {
                cv::Mat block = padded(cv::Rect(bx, by, 8, 8));
                cv::dct(block, coefficients);
                for (int k = 0; k < 64; ++k) {
                    const float q = std::max(
                        1.0f, std::floor((table[k] * static_cast<float>(scale) + 50.0f) / 100.0f));
                    float& c = coefficients.at<float>(k / 8, k % 8);
                    c = std::round(c / q) * q;
                }
                cv::idct(coefficients, block);
            }
        padded(cv::Rect(0, 0, plane.cols, plane.rows)).convertTo(plane, CV_8U, 1.0, 128.0);
        if (p == 0)
            planes[p] = plane;
        else
            cv::resize(plane, planes[p], bgr.size(), 0, 0, cv::INTER_LINEAR);
    }
    cv::merge(planes, ycc);
    cv::cvtColor(ycc, bgr, cv::COLOR_YCrCb2BGR);
}

} // namespace

Scene MakeScene(const SceneParams& p)
{
    Random random(p.seed);
    Scene scene;
    // Around a purple-blue nucleus and a pink cytoplasm, per image.
    scene.haematoxylin = StainColour(random, {105, 80, 165}, {25, 20, 20});
    scene.eosin = StainColour(random, {240, 150, 195}, {10, 25, 25});
    const double nuclearStain = Uniform(random, 0.55, 0.9);
    const double cytoplasmStain = Uniform(random, 0.2, 0.4);

    // White holes: ellipses until they cover their share.
    cv::Mat holes(p.size, CV_8UC1, cv::Scalar(0));
    const double imageArea = static_cast<double>(p.size.area());
    while (cv::countNonZero(holes) < p.holeCoverage * imageArea) {
        const cv::Point centre(random.Uniform(0, p.size.width - 1),
                               random.Uniform(0, p.size.height - 1));
        const int a = random.Uniform(20, 70), b = random.Uniform(15, a);
        cv::ellipse(holes, centre, cv::Size(a, b), random.Uniform(0, 179), 0, 360, cv::Scalar(255),
                    cv::FILLED);
    }
    // Nuclei keep a few pixels off the holes.
    cv::Mat keepOut;
    cv::dilate(holes, keepOut, cv::getStructuringElement(cv::MORPH_ELLIPSE, cv::Size(9, 9)));

    std::vector<Nucleus> nuclei;
    const double meanRadius = p.minRadius * (1.0 + p.radiusSpread) / 2.0;
    const double tissue = imageArea - cv::countNonZero(holes);
    const int wanted =
        static_cast<int>(p.nucleusCoverage * tissue / (CV_PI * meanRadius * meanRadius));
    auto makeNucleus = [&](cv::Point2d centre) {
        Nucleus n;
        const double r = Uniform(random, p.minRadius, p.minRadius * p.radiusSpread);
        const double elongation = Uniform(random, 1.0, 1.6);
        n.a = r * std::sqrt(elongation);
        n.b = r / std::sqrt(elongation);
        n.angle = Uniform(random, 0.0, CV_PI);
        n.centre = centre;
        n.amount = nuclearStain * Uniform(random, 0.85, 1.15);
        return n;
    };
    for (int attempt = 0; attempt < wanted * 50 && static_cast<int>(nuclei.size()) < wanted;
         ++attempt) {
        Nucleus first = makeNucleus(
            {Uniform(random, 0, p.size.width - 1), Uniform(random, 0, p.size.height - 1)});
        if (!Fits(first, nuclei, keepOut, nullptr))
            continue;
        std::vector<Nucleus> group{first};
        if (Uniform(random, 0, 1) < p.touchingShare) {
            const int members = random.Uniform(2, 3);
            for (int m = 1; m < members; ++m) {
                const Nucleus& anchor = group.back();
                Nucleus next = makeNucleus(anchor.centre);
                const double direction = Uniform(random, 0, 2 * CV_PI);
                // The rims overlap a little: the nuclei touch.
                const double reach =
                    0.85 * (std::sqrt(anchor.a * anchor.b) + std::sqrt(next.a * next.b));
                next.centre +=
                    cv::Point2d(reach * std::cos(direction), reach * std::sin(direction));
                bool fits = Fits(next, nuclei, keepOut, nullptr);
                for (size_t g = 0; g + 1 < group.size() && fits; ++g)
                    fits = cv::norm(next.centre - group[g].centre) > group[g].a + next.a + 4.0;
                if (fits)
                    group.push_back(next);
            }
        }
        nuclei.insert(nuclei.end(), group.begin(), group.end());
    }
    scene.nuclei = static_cast<int>(nuclei.size());

    // Stain amounts and truth.
    cv::Mat eosin = Field(random, p.size, 25.0) * 0.25 + 1.0;
    cv::Mat fibres = Field(random, p.size, 1.5);
    cv::Mat stretched;
    cv::GaussianBlur(fibres, stretched, cv::Size(), 6.0, 1.0);
    eosin = cytoplasmStain * (eosin + 0.6 * stretched);
    cv::Mat haematoxylin(p.size, CV_32F, cv::Scalar(0.04 * nuclearStain));
    const cv::Mat chromatin = Field(random, p.size, 1.2);
    scene.labels = cv::Mat(p.size, CV_32S, cv::Scalar(0));
    cv::Mat nearest(p.size, CV_32F, cv::Scalar(1.0f));
    for (size_t i = 0; i < nuclei.size(); ++i) {
        const Nucleus& n = nuclei[i];
        const int reach = static_cast<int>(std::ceil(n.a)) + 1;
        const int x0 = std::max(0, static_cast<int>(n.centre.x) - reach);
        const int x1 = std::min(p.size.width - 1, static_cast<int>(n.centre.x) + reach);
        const int y0 = std::max(0, static_cast<int>(n.centre.y) - reach);
        const int y1 = std::min(p.size.height - 1, static_cast<int>(n.centre.y) + reach);
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x) {
                const double d = Radial(n, x, y);
                if (d > 1.0)
                    continue;
                float& best = nearest.at<float>(y, x);
                if (d < best) {
                    best = static_cast<float>(d);
                    scene.labels.at<int>(y, x) = static_cast<int>(i) + 1;
                }
                // Grainy chromatin, a little denser towards the rim.
                const double texture = 1.0 + 0.2 * chromatin.at<float>(y, x) + 0.1 * d;
                float& h = haematoxylin.at<float>(y, x);
                h = std::max(h, static_cast<float>(n.amount * texture));
            }
    }
    // Holes hold no tissue; their edges fade over a couple of pixels.
    cv::Mat tissueShare;
    holes.convertTo(tissueShare, CV_32F, -1.0 / 255.0, 1.0);
    cv::GaussianBlur(tissueShare, tissueShare, cv::Size(), 1.5);
    eosin = eosin.mul(tissueShare);
    haematoxylin = haematoxylin.mul(tissueShare);
    cv::max(eosin, 0.0, eosin);

    // Beer-Lambert, the optics' blur, the sensor's noise.
    std::vector<cv::Mat> channels(3);
    for (int c = 0; c < 3; ++c) {
        cv::Mat od = haematoxylin * scene.haematoxylin[c] + eosin * scene.eosin[c];
        cv::Mat light;
        cv::exp(od * -std::log(10.0), light);
        light *= 255.0;
        cv::GaussianBlur(light, light, cv::Size(), 0.8);
        cv::Mat noise(p.size, CV_32F);
        for (int y = 0; y < p.size.height; ++y) {
            float* f = noise.ptr<float>(y);
            for (int x = 0; x < p.size.width; ++x) {
                // The sum of four uniforms: near enough to a normal deviate.
                double sum = 0;
                for (int k = 0; k < 4; ++k)
                    sum += Uniform(random, -1.0, 1.0);
                f[x] = static_cast<float>(p.noise * sum * std::sqrt(3.0 / 4.0));
            }
        }
        light += noise;
        light.convertTo(channels[static_cast<size_t>(2 - c)], CV_8U);
    }
    cv::merge(channels, scene.image);
    if (p.quality > 0)
        Compress(scene.image, p.quality);
    return scene;
}

} // namespace stainedtissue

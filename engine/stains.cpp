#include "stains.h"

#include <QStringList>

#include <cmath>

namespace stains {

namespace {

// Ruifrok and Johnston's vectors, R, G, B.
constexpr Vector kHaematoxylin{0.650, 0.704, 0.286};
constexpr Vector kEosin{0.072, 0.990, 0.105};
constexpr Vector kDab{0.268, 0.570, 0.776};

Vector Unit(const Vector& v)
{
    const double n = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    return {v[0] / n, v[1] / n, v[2] / n};
}

Vector Cross(const Vector& a, const Vector& b)
{
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}

// The row of the inverse stain matrix that gives @p stain's amount.
Vector UnmixingRow(const Vector& stain)
{
    std::array<Vector, 3> rows;
    const Vector s = Unit(stain);
    if (s == Unit(kHaematoxylin) || s == Unit(kEosin) || s == Unit(kDab)) {
        rows = {Unit(kHaematoxylin), Unit(kEosin), Unit(kDab)};
    } else {
        // Two unit vectors orthogonal to the stain complete the matrix.
        const Vector axis = std::abs(s[0]) < 0.9 ? Vector{1, 0, 0} : Vector{0, 1, 0};
        const Vector u = Unit(Cross(s, axis));
        rows = {s, u, Cross(s, u)};
    }
    // OD = c * M (rows of M the stains): c = OD * inverse(M).
    cv::Matx33d m;
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 3; ++c)
            m(r, c) = rows[static_cast<size_t>(r)][static_cast<size_t>(c)];
    const cv::Matx33d inverse = m.inv();
    int which = 0;
    for (int r = 0; r < 3; ++r)
        if (rows[static_cast<size_t>(r)] == s)
            which = r;
    return {inverse(0, which), inverse(1, which), inverse(2, which)};
}

} // namespace

std::optional<Vector> Parse(const QString& text)
{
    const QString t = text.trimmed().toLower();
    if (t == QLatin1String("hematoxylin") || t == QLatin1String("haematoxylin"))
        return kHaematoxylin;
    if (t == QLatin1String("eosin"))
        return kEosin;
    if (t == QLatin1String("dab"))
        return kDab;
    const QStringList parts = t.split(QLatin1Char(','));
    if (parts.size() != 3)
        return std::nullopt;
    Vector v{};
    for (int i = 0; i < 3; ++i) {
        bool ok = false;
        v[static_cast<size_t>(i)] = parts[i].trimmed().toDouble(&ok);
        if (!ok || !(v[static_cast<size_t>(i)] >= 0) || !std::isfinite(v[static_cast<size_t>(i)]))
            return std::nullopt;
    }
    if (v[0] + v[1] + v[2] <= 0)
        return std::nullopt;
    return v;
}

cv::Mat Density(const cv::Mat& bgr, const Vector& stain)
{
    const Vector row = UnmixingRow(stain);
    // Optical density of each 8-bit level.
    std::array<double, 256> od{};
    for (int i = 0; i < 256; ++i)
        od[static_cast<size_t>(i)] = -std::log10((i + 1) / 256.0);
    cv::Mat density(bgr.size(), CV_32F);
    for (int y = 0; y < bgr.rows; ++y) {
        const cv::Vec3b* p = bgr.ptr<cv::Vec3b>(y);
        float* d = density.ptr<float>(y);
        for (int x = 0; x < bgr.cols; ++x)
            d[x] = static_cast<float>(od[p[x][2]] * row[0] + od[p[x][1]] * row[1] +
                                      od[p[x][0]] * row[2]);
    }
    return density;
}

cv::Mat DensityPlane(const cv::Mat& bgr, const Vector& stain)
{
    cv::Mat plane;
    Density(bgr, stain).convertTo(plane, CV_8U, 255.0 / kFullDensity);
    return plane;
}

} // namespace stains

// Direct least-squares ellipse fit (A. W. Fitzgibbon, R. B. Fisher, "A buyer's
// guide to conic fitting", 1995, in the three-stage form of D. Weiss): a
// general conic, its centre, then the axes about that centre. Every linear
// system is solved by one-sided Jacobi SVD (Hestenes, 1958) with the small
// solver's own rotation, ordering and cut-off, so that near-degenerate
// outlines get the same axes as before.

#include "autocount/alg/opencv24.h"

#include <cfloat>
#include <cmath>
#include <vector>

namespace {

constexpr double kAxisEps = 1e-8;
constexpr double kRhsScale = 10000.0; // right-hand side of the conic fit

// sqrt(a² + b²) scaled by the larger magnitude; not std::hypot, whose last
// bit can differ.
double ScaledHypot(double a, double b)
{
    a = std::abs(a);
    b = std::abs(b);
    if (a > b) {
        b /= a;
        return a * std::sqrt(1 + b * b);
    }
    if (b > 0) {
        a /= b;
        return b * std::sqrt(1 + a * a);
    }
    return 0;
}

/**
 * Least-squares solution of A·x = rhs for an m × n matrix A (m >= n) given by
 * its transpose @p at (n rows of m values, overwritten). Rows of Aᵀ are
 * orthogonalised pairwise by plane rotations; singular values at or below
 * 2·DBL_EPSILON times their sum are left out of the solution.
 */
std::vector<double> SvdSolve(std::vector<double>& at, int m, int n, const std::vector<double>& rhs)
{
    std::vector<double> w(n), v(static_cast<size_t>(n) * n, 0.0);
    for (int i = 0; i < n; ++i) {
        double sd = 0;
        for (int k = 0; k < m; ++k) {
            const double t = at[i * m + k];
            sd += t * t;
        }
        w[i] = sd;
        v[i * n + i] = 1;
    }

    const double eps = DBL_EPSILON * 10;
    const int maxSweeps = std::max(m, 30);
    for (int sweep = 0; sweep < maxSweeps; ++sweep) {
        bool changed = false;
        for (int i = 0; i < n - 1; ++i)
            for (int j = i + 1; j < n; ++j) {
                double* ai = &at[i * m];
                double* aj = &at[j * m];
                double a = w[i], b = w[j], p = 0;
                for (int k = 0; k < m; ++k)
                    p += ai[k] * aj[k];
                if (std::abs(p) <= eps * std::sqrt(a * b))
                    continue;

                p *= 2;
                const double beta = a - b;
                const double gamma = ScaledHypot(p, beta);
                double c, s;
                if (beta < 0) {
                    const double delta = (gamma - beta) * 0.5;
                    s = std::sqrt(delta / gamma);
                    c = p / (gamma * s * 2);
                } else {
                    c = std::sqrt((gamma + beta) / (gamma * 2));
                    s = p / (gamma * c * 2);
                }

                a = b = 0;
                for (int k = 0; k < m; ++k) {
                    const double t0 = c * ai[k] + s * aj[k];
                    const double t1 = -s * ai[k] + c * aj[k];
                    ai[k] = t0;
                    aj[k] = t1;
                    a += t0 * t0;
                    b += t1 * t1;
                }
                w[i] = a;
                w[j] = b;
                changed = true;

                double* vi = &v[i * n];
                double* vj = &v[j * n];
                for (int k = 0; k < n; ++k) {
                    const double t0 = c * vi[k] + s * vj[k];
                    const double t1 = -s * vi[k] + c * vj[k];
                    vi[k] = t0;
                    vj[k] = t1;
                }
            }
        if (!changed)
            break;
    }

    for (int i = 0; i < n; ++i) {
        double sd = 0;
        for (int k = 0; k < m; ++k) {
            const double t = at[i * m + k];
            sd += t * t;
        }
        w[i] = std::sqrt(sd);
    }

    // Selection sort into descending singular values, rows along.
    for (int i = 0; i < n - 1; ++i) {
        int j = i;
        for (int k = i + 1; k < n; ++k)
            if (w[j] < w[k])
                j = k;
        if (i != j) {
            std::swap(w[i], w[j]);
            for (int k = 0; k < m; ++k)
                std::swap(at[i * m + k], at[j * m + k]);
            for (int k = 0; k < n; ++k)
                std::swap(v[i * n + k], v[j * n + k]);
        }
    }

    // Left singular vectors. A row whose singular value vanishes is never used
    // below (it falls under the cut-off), so it is left as it is.
    for (int i = 0; i < n; ++i) {
        if (w[i] <= DBL_MIN)
            continue;
        const double scale = 1 / w[i];
        for (int k = 0; k < m; ++k)
            at[i * m + k] *= scale;
    }

    // x = V · diag(1/w) · Uᵀ · rhs, term by term in descending order.
    double threshold = 0;
    for (int i = 0; i < n; ++i)
        threshold += w[i];
    threshold *= DBL_EPSILON * 2;

    std::vector<double> x(n, 0.0);
    for (int i = 0; i < n; ++i) {
        if (std::abs(w[i]) <= threshold)
            continue;
        double s = 0;
        for (int k = 0; k < m; ++k)
            s += at[i * m + k] * rhs[k];
        s *= 1 / w[i];
        for (int k = 0; k < n; ++k)
            x[k] = x[k] + s * v[i * n + k];
    }
    return x;
}

} // namespace

namespace cv24 {

cv::RotatedRect FitEllipse(const std::vector<cv::Point>& points)
{
    cv::RotatedRect box(cv::Point2f(0.f, 0.f), cv::Size2f(0.f, 0.f), 0.f);
    const int n = static_cast<int>(points.size());
    if (n < 5)
        return box;

    // Mean point in float; the fit works on coordinates relative to it.
    cv::Point2f c(0.f, 0.f);
    for (const cv::Point& p : points) {
        c.x += static_cast<float>(p.x);
        c.y += static_cast<float>(p.y);
    }
    c.x /= n;
    c.y /= n;
    std::vector<cv::Point2f> rel(n);
    for (int i = 0; i < n; ++i)
        rel[i] = cv::Point2f(static_cast<float>(points[i].x) - c.x,
                             static_cast<float>(points[i].y) - c.y);

    // Stage 1: general conic -A·x² - B·y² - C·x·y + D·x + E·y = 10000.
    std::vector<double> at(5 * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double px = rel[i].x, py = rel[i].y;
        at[0 * n + i] = -px * px;
        at[1 * n + i] = -py * py;
        at[2 * n + i] = -px * py;
        at[3 * n + i] = px;
        at[4 * n + i] = py;
    }
    const std::vector<double> g = SvdSolve(at, n, 5, std::vector<double>(n, kRhsScale));

    // Stage 2: the centre, where the conic's gradient vanishes.
    std::vector<double> at2{2 * g[0], g[2], g[2], 2 * g[1]}; // symmetric: Aᵀ = A
    const std::vector<double> r = SvdSolve(at2, 2, 2, {g[3], g[4]});

    // Stage 3: A·(x-x0)² + B·(y-y0)² + C·(x-x0)·(y-y0) = 1 about that centre.
    std::vector<double> at3(3 * static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double dx = rel[i].x - r[0];
        const double dy = rel[i].y - r[1];
        at3[0 * n + i] = dx * dx;
        at3[1 * n + i] = dy * dy;
        at3[2 * n + i] = dx * dy;
    }
    const std::vector<double> h = SvdSolve(at3, n, 3, std::vector<double>(n, 1.0));

    // Axes and angle of the conic.
    const double theta = -0.5 * std::atan2(h[2], h[1] - h[0]);
    double t = std::sin(-2.0 * theta);
    if (std::abs(t) > std::abs(h[2]) * kAxisEps)
        t = h[2] / t;
    else
        t = h[1] - h[0];
    double a = std::abs(h[0] + h[1] - t);
    if (a > kAxisEps)
        a = std::sqrt(2.0 / a);
    double b = std::abs(h[0] + h[1] + t);
    if (b > kAxisEps)
        b = std::sqrt(2.0 / b);

    box.center.x = static_cast<float>(r[0]) + c.x;
    box.center.y = static_cast<float>(r[1]) + c.y;
    box.size.width = static_cast<float>(a * 2);
    box.size.height = static_cast<float>(b * 2);
    if (box.size.width > box.size.height) {
        std::swap(box.size.width, box.size.height);
        box.angle = static_cast<float>(90 + theta * 180 / CV_PI);
    }
    return box;
}

} // namespace cv24

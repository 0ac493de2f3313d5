// Enclosing circle by the iterative four-point heuristic: a circle through
// two or three of four support points, grown by 3 %, with the support set
// updated until no point lies outside. The result is a little larger than the
// exact minimum circle, and the measurements rely on these figures.

#include "autocount/alg/opencv24.h"

#include <array>
#include <cfloat>
#include <cmath>

namespace {

using Support = std::array<cv::Point2f, 4>;

constexpr int kMaxRounds = 100;
constexpr double kGrowth = 1.03;      // first circle, on the farthest pair
constexpr float kGrowthF = 1.03f;     // circles through three points
constexpr float kMinPairRadius = 1.f; // smallest radius of a two-point circle
constexpr float kMinTripleRadius = 2.f;

float Distance(cv::Point2f a, cv::Point2f b)
{
    const float dx = b.x - a.x;
    const float dy = b.y - a.y;
    return std::sqrt(dx * dx + dy * dy);
}

// r² − d²: non-negative when @p p lies inside or on the circle.
double Slack(cv::Point2f p, cv::Point2f centre, float radius)
{
    const double dx = p.x - centre.x;
    const double dy = p.y - centre.y;
    return static_cast<double>(radius) * radius - dx * dx - dy * dy;
}

// Circle through three points from the intersection of two perpendicular
// bisectors, in double; false when the points are collinear.
bool CircleThrough(cv::Point2f p0, cv::Point2f p1, cv::Point2f p2, cv::Point2f& centre,
                   float& radius)
{
    const double x1 = (p0.x + p1.x) * 0.5;
    const double dy1 = p0.x - p1.x;
    const double x2 = (p1.x + p2.x) * 0.5;
    const double dy2 = p1.x - p2.x;
    const double y1 = (p0.y + p1.y) * 0.5;
    const double dx1 = p1.y - p0.y;
    const double y2 = (p1.y + p2.y) * 0.5;
    const double dx2 = p2.y - p1.y;
    const double det = dx1 * dy2 - dx2 * dy1;
    if (det == 0)
        return false;
    const double t = ((x2 - x1) * dy1 - (y2 - y1) * dx1) / det;
    centre = cv::Point2f(static_cast<float>(x2 + dx2 * t), static_cast<float>(y2 + dy2 * t));
    radius = Distance(centre, p0);
    return true;
}

// Smallest circle of the heuristic around four support points. Reorders
// @p pts so that the points that define the circle come first.
void SupportCircle(Support& pts, cv::Point2f& centreOut, float& radiusOut)
{
    static const int kTriples[4][4] = {{0, 1, 2, 3}, {0, 1, 3, 2}, {2, 3, 0, 1}, {2, 3, 1, 0}};

    int order[4] = {0, 1, 2, 3};
    cv::Point2f centre = pts[0];
    float radius = 1.f;

    // Farthest pair; the first pair wins a tie.
    float farthest = 0.f;
    for (int i = 0; i < 4; ++i)
        for (int j = i + 1; j < 4; ++j) {
            const float d = Distance(pts[i], pts[j]);
            if (farthest < d) {
                farthest = d;
                order[0] = i;
                order[1] = j;
            }
        }

    if (farthest != 0.f) {
        // The other two follow in their present order.
        int k = 2;
        for (int i = 0; i < 4; ++i)
            if (i != order[0] && i != order[1])
                order[k++] = i;

        const cv::Point2f a = pts[order[0]], b = pts[order[1]];
        centre = cv::Point2f((a.x + b.x) * 0.5f, (a.y + b.y) * 0.5f);
        radius = static_cast<float>(Distance(a, centre) * kGrowth);
        if (radius < kMinPairRadius)
            radius = kMinPairRadius;

        if (Slack(pts[order[2]], centre, radius) < 0 || Slack(pts[order[3]], centre, radius) < 0) {
            // The pair circle misses a point: take the smallest three-point
            // circle that holds the fourth one.
            int best = -1;
            float bestRadius = FLT_MAX;
            cv::Point2f bestCentre = pts[0];
            for (int t = 0; t < 4; ++t) {
                cv::Point2f c;
                float r = 0.f;
                if (!CircleThrough(pts[kTriples[t][0]], pts[kTriples[t][1]], pts[kTriples[t][2]], c,
                                   r))
                    continue;
                r *= kGrowthF;
                if (r < kMinTripleRadius)
                    r = kMinTripleRadius;
                if (Slack(pts[kTriples[t][3]], c, r) >= 0 && bestRadius > r) {
                    bestRadius = r;
                    bestCentre = c;
                    best = t;
                }
            }
            if (best < 0)
                best = 0;
            centre = bestCentre;
            radius = bestRadius;
            for (int i = 0; i < 4; ++i)
                order[i] = kTriples[best][i];
        }
    }

    const Support old = pts;
    for (int i = 0; i < 4; ++i)
        pts[i] = old[order[i]];
    centreOut = centre;
    radiusOut = radius;
}

} // namespace

namespace cv24 {

void MinEnclosingCircle(const std::vector<cv::Point>& points, cv::Point2f& centre, float& radius)
{
    if (points.empty()) {
        centre = cv::Point2f(0.f, 0.f);
        radius = 0.f;
        return;
    }

    // Start from the first leftmost, rightmost, topmost and bottommost points.
    size_t left = 0, right = 0, top = 0, bottom = 0;
    for (size_t i = 1; i < points.size(); ++i) {
        const cv::Point& p = points[i];
        if (p.x < points[left].x)
            left = i;
        if (p.x > points[right].x)
            right = i;
        if (p.y < points[top].y)
            top = i;
        if (p.y > points[bottom].y)
            bottom = i;
    }
    Support support;
    const size_t start[4] = {left, right, top, bottom};
    for (int i = 0; i < 4; ++i)
        support[i] = cv::Point2f(static_cast<float>(points[start[i]].x),
                                 static_cast<float>(points[start[i]].y));

    cv::Point2f c;
    float r = 0.f;
    SupportCircle(support, c, r);

    bool enclosed = false;
    for (int round = 0; round < kMaxRounds; ++round) {
        // The point farthest outside the current circle, if any.
        double worst = 0;
        cv::Point2f outlier(0.f, 0.f);
        for (const cv::Point& p : points) {
            const cv::Point2f q(static_cast<float>(p.x), static_cast<float>(p.y));
            const double s = Slack(q, c, r);
            if (s < worst) {
                worst = s;
                outlier = q;
            }
        }
        if (worst >= 0) {
            enclosed = true;
            break;
        }

        // Swap the outlier in for a support point, trying the last one first,
        // and keep the first circle that still holds the point it replaced.
        for (int i = 3; i >= 0; --i) {
            Support trial = support;
            trial[i] = outlier;
            SupportCircle(trial, c, r);
            if (Slack(support[i], c, r) >= 0) {
                support[i] = outlier;
                break;
            }
        }
    }

    if (!enclosed) {
        // No convergence: the largest distance from the last centre.
        float maxSq = 0.f;
        for (const cv::Point& p : points) {
            const float dx = c.x - static_cast<float>(p.x);
            const float dy = c.y - static_cast<float>(p.y);
            maxSq = std::max(maxSq, dx * dx + dy * dy);
        }
        r = static_cast<float>(std::sqrt(maxSq) * (1 + 2 * FLT_EPSILON));
    }
    centre = c;
    radius = r;
}

} // namespace cv24

// Minimum-area bounding rectangle by rotating calipers (Toussaint, "Solving
// geometric problems with the rotating calipers", 1983), in the single-precision
// form whose angles lie in [-90, 0] and whose ties go to the last candidate.

#include "autocount/alg/opencv24.h"

#include <opencv2/imgproc.hpp>

#include <cfloat>
#include <cmath>

namespace {

// Convex hull in clockwise order (image coordinates), starting at the point
// with the smallest x and, among those, the smallest y.
std::vector<cv::Point2f> OrderedHull(const std::vector<cv::Point>& points)
{
    std::vector<cv::Point> hull;
    cv::convexHull(points, hull, true);
    size_t start = 0;
    for (size_t i = 1; i < hull.size(); ++i) {
        const cv::Point& p = hull[i];
        const cv::Point& s = hull[start];
        if (p.x < s.x || (p.x == s.x && p.y < s.y))
            start = i;
    }
    std::vector<cv::Point2f> out;
    out.reserve(hull.size());
    for (size_t i = 0; i < hull.size(); ++i) {
        const cv::Point& p = hull[(start + i) % hull.size()];
        out.emplace_back(static_cast<float>(p.x), static_cast<float>(p.y));
    }
    return out;
}

struct CaliperBox
{
    cv::Point2f corner; // intersection of the two supporting lines
    cv::Point2f side1;  // first side vector from the corner
    cv::Point2f side2;  // second side vector from the corner
};

// Rotates four calipers around a convex polygon of n >= 3 vertices and keeps
// the smallest enclosing rectangle. All arithmetic is in float, except the
// reciprocal edge lengths, which come from a double square root.
CaliperBox RotatingCalipers(const std::vector<cv::Point2f>& pts)
{
    const int n = static_cast<int>(pts.size());
    std::vector<cv::Point2f> edge(n);
    std::vector<float> invLength(n);

    // Edge vectors and the first extreme vertices: min y, max x, max y, min x.
    int bottom = 0, right = 0, top = 0, left = 0;
    float minX = pts[0].x, maxX = pts[0].x, minY = pts[0].y, maxY = pts[0].y;
    for (int i = 0; i < n; ++i) {
        const cv::Point2f& p = pts[i];
        if (p.x < minX)
            minX = p.x, left = i;
        if (p.x > maxX)
            maxX = p.x, right = i;
        if (p.y > maxY)
            maxY = p.y, top = i;
        if (p.y < minY)
            minY = p.y, bottom = i;
        const cv::Point2f& q = pts[i + 1 < n ? i + 1 : 0];
        const double dx = q.x - p.x;
        const double dy = q.y - p.y;
        edge[i] = cv::Point2f(static_cast<float>(dx), static_cast<float>(dy));
        invLength[i] = static_cast<float>(1.0 / std::sqrt(dx * dx + dy * dy));
    }

    // Orientation of the polygon: sign of the first non-zero turn.
    float orientation = 0.f;
    {
        double ax = edge[n - 1].x, ay = edge[n - 1].y;
        for (int i = 0; i < n; ++i) {
            const double bx = edge[i].x, by = edge[i].y;
            const double turn = ax * by - ay * bx;
            if (turn != 0) {
                orientation = turn > 0 ? 1.f : -1.f;
                break;
            }
            ax = bx;
            ay = by;
        }
    }

    // The calipers' sides are (a, b), (-b, a), (-a, -b), (b, -a).
    float baseA = orientation, baseB = 0.f;
    int seq[4] = {bottom, right, top, left};
    float minArea = FLT_MAX;
    int bestLeft = 0, bestBottom = 0;
    float bestA = 0.f, bestB = 0.f, bestWidth = 0.f, bestHeight = 0.f;

    for (int k = 0; k < n; ++k) {
        // Cosine between each caliper and its next edge; the largest turns first.
        const float dp0 = baseA * edge[seq[0]].x + baseB * edge[seq[0]].y;
        const float dp1 = -baseB * edge[seq[1]].x + baseA * edge[seq[1]].y;
        const float dp2 = -baseA * edge[seq[2]].x - baseB * edge[seq[2]].y;
        const float dp3 = baseB * edge[seq[3]].x - baseA * edge[seq[3]].y;
        const float cosines[4] = {dp0 * invLength[seq[0]], dp1 * invLength[seq[1]],
                                  dp2 * invLength[seq[2]], dp3 * invLength[seq[3]]};
        int lead = 0;
        float maxCos = cosines[0];
        for (int c = 1; c < 4; ++c) {
            if (cosines[c] > maxCos) {
                maxCos = cosines[c];
                lead = c;
            }
        }

        // Rotate the calipers onto the leading edge.
        const int e = seq[lead];
        const float leadX = edge[e].x * invLength[e];
        const float leadY = edge[e].y * invLength[e];
        switch (lead) {
        case 0:
            baseA = leadX, baseB = leadY;
            break;
        case 1:
            baseA = leadY, baseB = -leadX;
            break;
        case 2:
            baseA = -leadX, baseB = -leadY;
            break;
        default:
            baseA = -leadY, baseB = leadX;
            break;
        }
        seq[lead] = seq[lead] + 1 == n ? 0 : seq[lead] + 1;

        // Width along (a, b) between the right and left calipers, height along
        // (-b, a) between the top and bottom ones.
        float dx = pts[seq[1]].x - pts[seq[3]].x;
        float dy = pts[seq[1]].y - pts[seq[3]].y;
        const float width = dx * baseA + dy * baseB;
        dx = pts[seq[2]].x - pts[seq[0]].x;
        dy = pts[seq[2]].y - pts[seq[0]].y;
        const float height = -dx * baseB + dy * baseA;
        const float area = width * height;
        if (area <= minArea) {
            minArea = area;
            bestLeft = seq[3];
            bestBottom = seq[0];
            bestA = baseA;
            bestB = baseB;
            bestWidth = width;
            bestHeight = height;
        }
    }

    // Corner where the left caliper line meets the bottom one.
    const float a1 = bestA, b1 = bestB;
    const float a2 = -bestB, b2 = bestA;
    const float c1 = a1 * pts[bestLeft].x + pts[bestLeft].y * b1;
    const float c2 = a2 * pts[bestBottom].x + pts[bestBottom].y * b2;
    const float invDet = 1.f / (a1 * b2 - a2 * b1);

    CaliperBox box;
    box.corner = cv::Point2f((c1 * b2 - c2 * b1) * invDet, (a1 * c2 - a2 * c1) * invDet);
    box.side1 = cv::Point2f(a1 * bestWidth, b1 * bestWidth);
    box.side2 = cv::Point2f(a2 * bestHeight, b2 * bestHeight);
    return box;
}

} // namespace

namespace cv24 {

cv::RotatedRect MinAreaRect(const std::vector<cv::Point>& points)
{
    cv::RotatedRect box(cv::Point2f(0.f, 0.f), cv::Size2f(0.f, 0.f), 0.f);
    if (points.empty())
        return box;

    const std::vector<cv::Point2f> hull = OrderedHull(points);
    const size_t n = hull.size();
    float radians = 0.f;
    if (n > 2) {
        const CaliperBox c = RotatingCalipers(hull);
        box.center.x = c.corner.x + (c.side1.x + c.side2.x) * 0.5f;
        box.center.y = c.corner.y + (c.side1.y + c.side2.y) * 0.5f;
        box.size.width = static_cast<float>(std::sqrt(static_cast<double>(c.side1.x) * c.side1.x +
                                                      static_cast<double>(c.side1.y) * c.side1.y));
        box.size.height = static_cast<float>(std::sqrt(static_cast<double>(c.side2.x) * c.side2.x +
                                                       static_cast<double>(c.side2.y) * c.side2.y));
        radians = static_cast<float>(
            std::atan2(static_cast<double>(c.side1.y), static_cast<double>(c.side1.x)));
    } else if (n == 2) {
        box.center.x = (hull[0].x + hull[1].x) * 0.5f;
        box.center.y = (hull[0].y + hull[1].y) * 0.5f;
        const double dx = hull[1].x - hull[0].x;
        const double dy = hull[1].y - hull[0].y;
        box.size.width = static_cast<float>(std::sqrt(dx * dx + dy * dy));
        radians = static_cast<float>(std::atan2(dy, dx));
    } else {
        box.center = hull[0];
    }
    // The angle is rounded to float in radians first, then converted.
    box.angle = static_cast<float>(radians * 180 / CV_PI);
    return box;
}

} // namespace cv24

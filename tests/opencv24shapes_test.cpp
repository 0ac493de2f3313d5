// Rotated rectangle, enclosing circle and ellipse fit with the older
// library's numbers. Expected figures are single-precision results of the
// older routines; EXPECT_FLOAT_EQ allows the last printed digit's rounding.

#include "autocount/alg/opencv24.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

const Contour kSquare{{1, 1}, {1, 10}, {10, 10}, {10, 1}};
const Contour kTriangle{{0, 0}, {10, 3}, {4, 9}};
const Contour kHeptagon{{0, 0}, {5, 1}, {9, 4}, {8, 8}, {3, 9}, {-1, 6}, {-2, 2}};
// A small blob outline of 12 points (centre 58, 20).
const Contour kBlob{{57, 18}, {57, 19}, {56, 20}, {57, 21}, {57, 22}, {58, 22},
                    {59, 22}, {60, 21}, {60, 20}, {60, 19}, {59, 18}, {58, 18}};

void ExpectBox(const cv::RotatedRect& box, float cx, float cy, float w, float h, float angle)
{
    EXPECT_FLOAT_EQ(box.center.x, cx);
    EXPECT_FLOAT_EQ(box.center.y, cy);
    EXPECT_FLOAT_EQ(box.size.width, w);
    EXPECT_FLOAT_EQ(box.size.height, h);
    EXPECT_FLOAT_EQ(box.angle, angle);
}

TEST(CaliperRectangle, WorkedExamples)
{
    // Square: the hull starts at (1,1) and runs clockwise; the last of the
    // equal-area candidates is the one with the side along -y.
    ExpectBox(cv24::MinAreaRect(kSquare), 5.5f, 5.5f, 9.f, 9.f, -90.f);
    // Triangle: lies on its longest side.
    ExpectBox(cv24::MinAreaRect(kTriangle), 3.9266057f, 5.0779819f, 7.471045f, 10.440307f,
              -73.300758f);
    // Hull of two points, from (1,36) to (1,38): angle atan2(2, 0) = 90.
    ExpectBox(cv24::MinAreaRect({{1, 36}, {1, 37}, {1, 38}, {1, 37}}), 1.f, 37.f, 2.f, 0.f, 90.f);
    // One distinct point: centre on it, no size, no angle.
    ExpectBox(cv24::MinAreaRect({{4, 7}, {4, 7}}), 4.f, 7.f, 0.f, 0.f, 0.f);
    // Heptagon: the angle stays in -90..0.
    const cv::RotatedRect box = cv24::MinAreaRect(kHeptagon);
    ExpectBox(box, 3.3600004f, 4.5200005f, 7.6000004f, 11.6000004f, box.angle);
    EXPECT_NEAR(box.angle, -53.1301, 1e-4);
}

TEST(CaliperRectangle, BlobGivesPositiveZero)
{
    const cv::RotatedRect box = cv24::MinAreaRect(kBlob);
    ExpectBox(box, 58.f, 20.f, 4.f, 4.f, 0.f);
    EXPECT_FALSE(std::signbit(box.angle));
}

struct CircleCase
{
    const char* name;
    Contour points;
    float cx, cy, r;
};

TEST(HeuristicCircle, MatchesTheFourPointHeuristic)
{
    // The square's farthest pair (1,1)-(10,10) already holds the other points:
    // r = 1.03 · √(4.5² + 4.5²) = 6.5548801. The triangle needs the circle
    // through all three corners, grown by 3 %.
    const CircleCase cases[] = {
        {"square", kSquare, 5.5f, 5.5f, 6.5548801f},
        {"triangle", kTriangle, 4.4230771f, 3.4230769f, 5.7607365f},
        {"blob", kBlob, 58.f, 20.f, 2.3031499f},
        {"single point", {{7, 3}}, 7.f, 3.f, 1.f},
    };
    for (const CircleCase& c : cases) {
        SCOPED_TRACE(c.name);
        cv::Point2f centre;
        float radius = 0.f;
        cv24::MinEnclosingCircle(c.points, centre, radius);
        EXPECT_FLOAT_EQ(centre.x, c.cx);
        EXPECT_FLOAT_EQ(centre.y, c.cy);
        EXPECT_FLOAT_EQ(radius, c.r);
    }
}

TEST(HeuristicCircle, SegmentOutlineGetsItsPairCircleGrownByThreePercent)
{
    // The outline of a thin object from (0,0) to (10,5) and back, and the same
    // segment as two points: the ends are the farthest pair and every other
    // point lies on the segment. Centre (5, 2.5); radius 1.03 · √(5² + 2.5²)
    // = 1.03 · 5.5901699 = 5.7578750, where the exact circle has 5.5901699.
    const Contour outlines[] = {
        {{0, 0}, {2, 1}, {4, 2}, {6, 3}, {8, 4}, {10, 5}, {8, 4}, {6, 3}, {4, 2}, {2, 1}},
        {{0, 0}, {10, 5}},
    };
    for (const Contour& outline : outlines) {
        SCOPED_TRACE(outline.size());
        cv::Point2f centre;
        float radius = 0.f;
        cv24::MinEnclosingCircle(outline, centre, radius);
        EXPECT_FLOAT_EQ(centre.x, 5.f);
        EXPECT_FLOAT_EQ(centre.y, 2.5f);
        EXPECT_FLOAT_EQ(radius, 5.757875f);
    }
}

TEST(SvdEllipse, BlobAxes)
{
    const cv::RotatedRect e = cv24::FitEllipse(kBlob);
    EXPECT_FLOAT_EQ(e.size.width, 4.0538087f);
    EXPECT_FLOAT_EQ(e.size.height, 4.2516832f);
}

TEST(SvdEllipse, DegenerateOutlines)
{
    // Seven points on row 63 and one on row 64: the conic is degenerate, one
    // axis term stays below 1e-8 and both axes come out as 0 and 1.
    cv::RotatedRect e = cv24::FitEllipse(
        {{19, 63}, {20, 63}, {21, 64}, {22, 63}, {23, 63}, {22, 63}, {21, 63}, {20, 63}});
    EXPECT_EQ(e.size, cv::Size2f(0.f, 1.f));
    // Fewer than five points give an empty box.
    e = cv24::FitEllipse({{0, 0}, {4, 0}, {4, 3}, {0, 3}});
    EXPECT_EQ(e.size, cv::Size2f(0.f, 0.f));
}

} // namespace

// Object measurement and border removal on small images with known answers.

#include "autocount/alg/alg.h"
#include "autocount/alg/opencv24.h"
#include "support/testimages.h"

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

struct Objects
{
    int code = -1;
    ContourList contours;
    std::vector<parResult> results;
};

Objects Measure(const cv::Mat& image, const cv::Mat& binary)
{
    Objects o;
    o.code = AlgCalResult(image, binary, o.contours, o.results);
    return o;
}

// A mask with the given rectangles set to 255.
cv::Mat Mask(int rows, int cols, std::initializer_list<cv::Rect> rects)
{
    cv::Mat mask = testimages::Grey(rows, cols);
    for (const cv::Rect& r : rects)
        mask(r).setTo(255);
    return mask;
}

TEST(MeasureObjects, SquareRecord)
{
    // 10 x 10 block at x, y = 5..14: the outline runs through the boundary
    // pixel centres, a 9 x 9 square. Area 81, perimeter 36, roundness
    // 4π·81 / 36² = π/4. The circle starts on the farthest pair (5,5)-(14,14):
    // centre 9.5, radius 1.03·√(2·4.5²) = 6.5548801. Grey 100 everywhere:
    // 100 pixels, integral 10000, no deviation.
    const Objects o = Measure(testimages::Grey(30, 30, 100), Mask(30, 30, {{5, 5, 10, 10}}));
    ASSERT_EQ(o.results.size(), 1u);
    const parResult& r = o.results[0];
    EXPECT_EQ(o.contours[0].size(), 36u);
    EXPECT_EQ(o.contours[0][0], cv::Point(5, 5)); // unshifted
    EXPECT_DOUBLE_EQ(r.area, 81);
    EXPECT_DOUBLE_EQ(r.perimeter, 36);
    EXPECT_DOUBLE_EQ(r.roundness, CV_PI / 4);
    EXPECT_FLOAT_EQ(r.radius, 6.5548801f);
    EXPECT_FLOAT_EQ(r.direction, -90.f);
    EXPECT_EQ(r.integral, 10000);
}

TEST(MeasureObjects, RingKeepsItsHole)
{
    // 11 x 11 block at 5..15 with a 3 x 3 hole at 9..11. One object (outer
    // outline only), area 10·10 = 100. Grey 100 on the ring and 200 in the
    // hole; the filled outline covers all 121 pixels: integral 112·100 + 9·200
    // = 13000, mean 13000/121 = 107.44. Hole pixels deviate by 92.56 -> 93, ring
    // pixels are darker than the mean and add 0: stdDev = √(9·93²/121) = 279/11.
    cv::Mat mask = Mask(25, 25, {{5, 5, 11, 11}});
    mask(cv::Rect(9, 9, 3, 3)).setTo(0);
    cv::Mat grey = testimages::Grey(25, 25, 100);
    grey(cv::Rect(9, 9, 3, 3)).setTo(200);
    const Objects o = Measure(grey, mask);
    ASSERT_EQ(o.results.size(), 1u);
    const parResult& r = o.results[0];
    EXPECT_DOUBLE_EQ(r.area, 100);
    EXPECT_EQ(r.integral, 13000);
    EXPECT_DOUBLE_EQ(r.meanGray, 13000.0 / 121);
    EXPECT_DOUBLE_EQ(r.stdDev, 279.0 / 11);
}

TEST(MeasureObjects, EllipseNeedsSevenPoints)
{
    // A 2 x 3 block has a 6-point outline; a 3 x 3 block without its lower
    // right corner has 7: (2,2) (2,3) (2,4) (3,4) (4,3) (4,2) (3,2), area 3.5.
    cv::Mat seven = Mask(10, 10, {{2, 2, 3, 3}});
    seven.at<uchar>(4, 4) = 0;
    const cv::Mat grey = testimages::Grey(10, 10, 9);

    const Objects a = Measure(grey, Mask(10, 10, {{2, 2, 2, 3}}));
    ASSERT_EQ(a.results.size(), 1u);
    EXPECT_EQ(a.results[0].longAxis, 0.f);
    EXPECT_EQ(a.results[0].shortAxis, 0.f);

    const Objects b = Measure(grey, seven);
    ASSERT_EQ(b.results.size(), 1u);
    EXPECT_EQ(b.contours[0].size(), 7u);
    EXPECT_DOUBLE_EQ(b.results[0].area, 3.5);
    // Fitted ellipse of the same outline, larger axis first.
    const cv::RotatedRect e = cv24::FitEllipse(b.contours[0]);
    EXPECT_EQ(b.results[0].longAxis, std::max(e.size.width, e.size.height));
}

TEST(MeasureObjects, DeviationIsOneSided)
{
    // 10 x 10 object, left half grey 100 and right half 200: mean 150. The
    // darker half saturates to 0, the brighter adds 50² each:
    // √(50·2500 / 100) = √1250 ≈ 35.36, not 50.
    cv::Mat grey = testimages::Grey(20, 20, 100);
    grey(cv::Rect(10, 0, 10, 20)).setTo(200);
    const Objects o = Measure(grey, Mask(20, 20, {{5, 5, 10, 10}}));
    ASSERT_EQ(o.results.size(), 1u);
    EXPECT_DOUBLE_EQ(o.results[0].meanGray, 150);
    EXPECT_NEAR(o.results[0].stdDev, 35.36, 0.005);
}

TEST(MeasureObjects, DeviationAtHalfMeansRoundsToEvenAndDropsTheDarkerSide)
{
    // Objects of vertical stripes, 10 pixels each, with means of exactly x.5.
    // 255 · (float)(-m / 255) is exactly -m for both means, so every pixel's
    // deviation g - m is an exact half, rounded to even and saturated at 0.
    struct Case
    {
        std::vector<int> stripes;
        double mean;
        double stdDev;
    };
    const Case cases[] = {
        // 92..97: -2.5 -1.5 -0.5 -> 0, 0.5 -> 0, 1.5 -> 2, 2.5 -> 2:
        // √(10 · (4 + 4) / 60) = √(4/3).
        {{92, 93, 94, 95, 96, 97}, 94.5, std::sqrt(4.0 / 3.0)},
        // 178, 185, 181, 182: -3.5 -> 0, 3.5 -> 4, -0.5 -> 0, 0.5 -> 0:
        // √(10 · 16 / 40) = 2.
        {{178, 185, 181, 182}, 181.5, 2.0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mean);
        const int width = static_cast<int>(c.stripes.size());
        cv::Mat grey = testimages::Grey(20, 20, 7);
        for (int i = 0; i < width; ++i)
            grey(cv::Rect(5 + i, 5, 1, 10)).setTo(c.stripes[i]);
        const Objects o = Measure(grey, Mask(20, 20, {{5, 5, width, 10}}));
        ASSERT_EQ(o.results.size(), 1u);
        EXPECT_DOUBLE_EQ(o.results[0].meanGray, c.mean);
        EXPECT_DOUBLE_EQ(o.results[0].stdDev, c.stdDev);
    }
}

TEST(MeasureObjects, DeviationTakesTheSinglePrecisionSum)
{
    // 30 x 3313 = 99390 pixels: 49532 at 80, 49857 at 79 and one at 243, sum
    // 7901506, mean 79.500010061374383. In single precision 243 - mean lands on
    // 163.5 and rounds to 164 (a double rint would give 163); 80 gives 0.49999
    // -> 0 (so halves round to even). stdDev = 164 / √99390.
    const int w = 30, h = 3313;
    cv::Mat grey = testimages::Grey(h + 6, w + 6);
    cv::Mat object = grey(cv::Rect(3, 3, w, h));
    int at80 = 49532;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            object.at<uchar>(y, x) = at80-- > 0 ? 80 : 79;
    object.at<uchar>(h - 1, w - 1) = 243;
    const Objects o = Measure(grey, Mask(h + 6, w + 6, {{3, 3, w, h}}));
    ASSERT_EQ(o.results.size(), 1u);
    EXPECT_EQ(o.results[0].integral, 7901506);
    EXPECT_DOUBLE_EQ(o.results[0].meanGray, 79.500010061374383);
    EXPECT_DOUBLE_EQ(o.results[0].stdDev, 164 / std::sqrt(99390.0));
}

TEST(MeasureObjects, ColourPictureReadsRedFirst)
{
    // Bytes 250,0,0 read as red 250: (4899·250 + 8192) >> 14 = 75.
    const Objects o = Measure(testimages::Colour(10, 10, 250, 0, 0), Mask(10, 10, {{3, 3, 3, 3}}));
    ASSERT_EQ(o.results.size(), 1u);
    EXPECT_DOUBLE_EQ(o.results[0].meanGray, 75);
    EXPECT_EQ(o.results[0].integral, 9 * 75);
}

// Square outline with corners (x0, y0) and (x1, y1).
Contour Square(int x0, int y0, int x1, int y1)
{
    return {{x0, y0}, {x0, y1}, {x1, y1}, {x1, y0}};
}

TEST(RemoveBorder, LopsidedMargins)
{
    // Width and height 100: x and y must lie in 3..95 (3 on the near sides,
    // 4 on the far sides). Outlines alternate dropped / kept per side.
    const ContourList contours = {
        Square(2, 50, 10, 60),
        Square(3, 50, 10, 60), // left
        Square(50, 2, 60, 10),
        Square(50, 3, 60, 10), // top
        Square(80, 50, 95, 60),
        Square(80, 50, 96, 60), // right
        Square(50, 80, 60, 95),
        Square(50, 80, 60, 96), // bottom
        Contour{},              // no points: kept
    };
    std::vector<parResult> results(contours.size());
    for (size_t i = 0; i < results.size(); ++i)
        results[i].area = static_cast<double>(i);

    ContourList keptContours{Square(0, 0, 1, 1)};
    std::vector<parResult> keptResults(3);
    EXPECT_EQ(AlgRemoveBorder(contours, results, 100, 100, keptContours, keptResults), 0);
    ASSERT_EQ(keptContours.size(), 5u);
    ASSERT_EQ(keptResults.size(), 5u);
    const double expected[] = {1, 3, 4, 6, 8};
    for (size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(keptResults[i].area, expected[i]);
        EXPECT_EQ(keptContours[i], contours[static_cast<size_t>(expected[i])]);
    }
}

TEST(MeasureObjects, ParallelRunEqualsSequentialRun)
{
    // Objects are measured on both cores; the lists and every bit of every
    // record must equal a one-thread run's.
    cv::RNG rng(7);
    cv::Mat mask = testimages::Grey(600, 800);
    cv::Mat grey(600, 800, CV_8UC1);
    rng.fill(grey, cv::RNG::UNIFORM, 0, 256);
    for (int i = 0; i < 400; ++i)
        cv::ellipse(mask, cv::Point(rng.uniform(0, 800), rng.uniform(0, 600)),
                    cv::Size(rng.uniform(1, 15), rng.uniform(1, 15)), rng.uniform(0, 180), 0, 360,
                    cv::Scalar(255), cv::FILLED);
    const int threads = cv::getNumThreads();
    cv::setNumThreads(1);
    const Objects one = Measure(grey, mask);
    cv::setNumThreads(std::max(2, threads));
    const Objects many = Measure(grey, mask);
    cv::setNumThreads(threads);

    ASSERT_GT(one.results.size(), 100u);
    ASSERT_EQ(one.contours, many.contours);
    ASSERT_EQ(one.results.size(), many.results.size());
    for (size_t i = 0; i < one.results.size(); ++i) {
        const parResult& a = one.results[i];
        const parResult& b = many.results[i];
        SCOPED_TRACE(i);
        EXPECT_TRUE(a.area == b.area && a.perimeter == b.perimeter && a.radius == b.radius &&
                    a.centerX == b.centerX && a.centerY == b.centerY && a.longAxis == b.longAxis &&
                    a.shortAxis == b.shortAxis && a.direction == b.direction &&
                    a.roundness == b.roundness && a.integral == b.integral &&
                    a.stdDev == b.stdDev && a.meanGray == b.meanGray && a.maxGray == b.maxGray &&
                    a.minGray == b.minGray);
    }
}

} // namespace

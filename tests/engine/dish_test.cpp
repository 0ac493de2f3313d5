// Counting on a photographed dish: only inside its rim, inside a drawn
// region too, glare not taken for colonies, and no dish an error.

#include "countrun.h"
#include "dishphoto.h"
#include "syntheticcells.h"
#include "touchingcells.h"

#include <opencv2/imgproc.hpp>

#include <gtest/gtest.h>

#include <cmath>

namespace {

CountSettings DishAuto()
{
    CountSettings s;
    s.dish = DishMode::Auto;
    return s;
}

touchingcells::MatchScore Score(const dishphoto::Scene& scene, const countrun::CountResult& r)
{
    return touchingcells::Score(scene.labels,
                                countcore::LabelImage(scene.image.size(), r.core.validContours));
}

// The farthest contour point of every object from @p centre.
double Reach(const ContourList& contours, cv::Point2d centre)
{
    double reach = 0;
    for (const Contour& c : contours)
        for (const cv::Point& p : c)
            reach = std::max(reach, std::hypot(p.x - centre.x, p.y - centre.y));
    return reach;
}

} // namespace

TEST(Dish, CountsInsideTheRimOnlyAndInsideADrawnRegionToo)
{
    dishphoto::SceneParams params;
    params.size = dishphoto::PhotoSize(1.0);
    params.seed = 41;
    dishphoto::Scene scene = dishphoto::MakeScene(params);
    // Dark spots on the table around the dish, as dark as the colonies.
    const cv::Scalar spot = cv::mean(scene.image, scene.labels > 0);
    for (int i = 0; i < 12; ++i) {
        const double angle = i * 0.5236;
        const cv::Point2d at = scene.dishCentre + 1.12 * scene.dishRadius *
                                                      cv::Point2d(std::cos(angle), std::sin(angle));
        if (at.x > 20 && at.y > 20 && at.x < scene.image.cols - 20 && at.y < scene.image.rows - 20)
            cv::circle(scene.image, at, 9, spot, cv::FILLED);
    }

    const countrun::CountResult found = countrun::Count(scene.image, DishAuto());
    ASSERT_TRUE(found.error.isEmpty()) << found.error.toStdString();
    ASSERT_TRUE(found.dish.has_value());
    // The rim lies on the wall, between its inner and its outer edge.
    EXPECT_LT(std::hypot(found.dish->x - scene.dishCentre.x, found.dish->y - scene.dishCentre.y),
              0.01 * scene.dishRadius);
    EXPECT_GE(found.dish->radius, dishphoto::kWallStart * scene.dishRadius);
    EXPECT_LE(found.dish->radius, scene.dishRadius);
    // Nothing beyond the agar; the colonies found as the truth has them.
    EXPECT_LT(Reach(found.core.validContours, scene.dishCentre),
              dishphoto::kAgarEdge * scene.dishRadius);
    const touchingcells::MatchScore s = Score(scene, found);
    EXPECT_GE(s.f1, 0.95);
    EXPECT_LE(std::abs(s.countError), 0.05);

    // With a region: inside both. The left half of the picture holds the
    // colonies wholly left of its edge, and perhaps pieces of those across it.
    CountSettings inRegion = DishAuto();
    const double edge = std::floor(scene.dishCentre.x);
    inRegion.rectangles << QRectF(0, 0, edge, scene.image.rows);
    const countrun::CountResult left = countrun::Count(scene.image, inRegion);
    ASSERT_TRUE(left.error.isEmpty());
    int wholly = 0, touching = 0;
    for (const dishphoto::Colony& c : scene.colonies) {
        wholly += c.centre.x + c.radius < edge - 2;
        touching += c.centre.x - c.radius < edge + 2;
    }
    for (const Contour& c : left.core.validContours)
        for (const cv::Point& p : c)
            ASSERT_LE(p.x, edge);
    EXPECT_GE(left.Count(), wholly);
    EXPECT_LE(left.Count(), touching);
    EXPECT_LT(Reach(left.core.validContours, scene.dishCentre),
              dishphoto::kAgarEdge * scene.dishRadius);
}

TEST(Dish, GlareIsNotCounted)
{
    // Few colonies, and glare over the dish of the strongest kind.
    for (std::uint64_t seed : {7u, 12u}) {
        dishphoto::SceneParams params;
        params.size = dishphoto::PhotoSize(1.5);
        params.minColonies = 20;
        params.maxColonies = 40;
        params.glares = 5;
        params.seed = seed;
        const dishphoto::Scene scene = dishphoto::MakeScene(params);
        const countrun::CountResult found = countrun::Count(scene.image, DishAuto());
        ASSERT_TRUE(found.error.isEmpty());
        // Every object found lies mostly on a colony; a colony under the
        // glare may come out smaller than it is.
        const cv::Mat labels = countcore::LabelImage(scene.image.size(), found.core.validContours);
        for (int i = 1; i <= found.Count(); ++i) {
            const cv::Mat object = labels == i;
            const int onColony = cv::countNonZero(object & (scene.labels > 0));
            EXPECT_GT(2 * onColony, cv::countNonZero(object)) << "seed " << seed << " object " << i;
        }
        const touchingcells::MatchScore s = Score(scene, found);
        EXPECT_GE(s.f1, 0.95) << "seed " << seed;
    }
}

TEST(Dish, NoDishIsAnError)
{
    syntheticcells::LayoutParams params;
    const cv::Mat cells = syntheticcells::Render(syntheticcells::MakeLayout(params));
    const countrun::CountResult r = countrun::Count(cells, DishAuto());
    EXPECT_TRUE(r.error.contains("no dish")) << r.error.toStdString();
    EXPECT_EQ(r.Count(), 0);
    // Without the setting the same image counts as ever.
    EXPECT_EQ(countrun::Count(cells, CountSettings()).Count(), params.singles + 2 * params.pairs);
}

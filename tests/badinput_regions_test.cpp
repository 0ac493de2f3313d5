// Regions partly or wholly outside the image: the fill clips them to the
// image, and nothing else happens.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include "autocount/alg/alg.h"

#include <limits>

namespace {

using Manager = AutoCountManager;

class BadInputRegions : public ControllerTest
{
protected:
    // 30 rows × 40 columns.
    void StartRegions(int mode)
    {
        StartWith(testimages::Grey(30, 40));
        manager->SetRegionSelectionMode(mode);
    }
    void Rectangle(QPointF from, QPointF to)
    {
        manager->CreateRectItem(from);
        manager->ChangeRectItem(to);
        manager->CreateRectItem(to);
    }
    void Polygon(std::initializer_list<QPointF> points)
    {
        auto p = points.begin();
        manager->CreatePolygonItem(*p);
        for (++p; p != points.end(); ++p)
            manager->ChangePolygonItem(*p);
        manager->CreatePolygonItem(*points.begin());
    }
    cv::Mat Mask(std::initializer_list<cv::Rect> boxes) const
    {
        cv::Mat mask = testimages::Grey(30, 40);
        for (const cv::Rect& box : boxes)
            mask(box).setTo(255);
        return mask;
    }
};

TEST_F(BadInputRegions, RectanglePartlyOutsideIsClipped)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({-10, -5}, {10, 8});
    Rectangle({35, 25}, {60, 70});
    manager->SetSelectedRegions();
    EXPECT_TRUE(
        testimages::SameImage(manager->GetRegionMask(), Mask({{0, 0, 11, 9}, {35, 25, 5, 5}})));
}

TEST_F(BadInputRegions, RectangleWhollyOutsideSelectsNothing)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({40, 0}, {90, 29});    // starts one column right of the image
    Rectangle({-20, -20}, {-1, -1}); // above and to the left
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Mask({})));
}

TEST_F(BadInputRegions, RectangleAroundTheImageSelectsAllOfIt)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({-1000, -1000}, {1000, 1000});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Mask({{0, 0, 40, 30}})));
}

// Coordinates beyond the range of int (a host scene can hold them) are
// taken as the farthest int: the rectangle still covers the whole image.
TEST_F(BadInputRegions, CoordinatesBeyondTheIntegerRangeAreClampedNotWrapped)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({-1e12, -1e12}, {1e12, 1e12});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Mask({{0, 0, 40, 30}})));
}

TEST_F(BadInputRegions, PolygonPartlyOutsideIsClipped)
{
    StartRegions(Manager::REGION_POLYGON);
    // A square from (-10, -10) to (5, 5): only columns and rows 0..5 remain.
    Polygon({{-10, -10}, {5, -10}, {5, 5}, {-10, 5}});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Mask({{0, 0, 6, 6}})));
}

TEST_F(BadInputRegions, PolygonWhollyOutsideSelectsNothing)
{
    StartRegions(Manager::REGION_POLYGON);
    Polygon({{50, 50}, {90, 50}, {70, 80}});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Mask({})));
}

TEST(BadInputRoi, PolygonPartlyOutsideIsClipped)
{
    cv::Mat dst;
    ASSERT_EQ(AlgGetROI(testimages::Grey(10, 10, 3), {{-5, -5}, {4, -5}, {4, 4}, {-5, 4}}, dst), 0);
    cv::Mat expected = testimages::Grey(10, 10);
    expected(cv::Rect(0, 0, 5, 5)).setTo(255);
    EXPECT_TRUE(testimages::SameImage(dst, expected));
}

TEST(BadInputRoi, PolygonWhollyOutsideGivesAnAllZeroMask)
{
    cv::Mat dst;
    ASSERT_EQ(AlgGetROI(testimages::Grey(10, 10, 3), {{20, 20}, {30, 20}, {25, 40}}, dst), 0);
    EXPECT_TRUE(testimages::SameImage(dst, testimages::Grey(10, 10)));
}

TEST(BadInputRoi, FarAwayVerticesStillFillTheImage)
{
    const int far = std::numeric_limits<int>::max() / 2;
    cv::Mat dst;
    ASSERT_EQ(AlgGetROI(testimages::Grey(10, 10),
                        {{-far, -far}, {far, -far}, {far, far}, {-far, far}}, dst),
              0);
    EXPECT_TRUE(testimages::SameImage(dst, testimages::Grey(10, 10, 255)));
}

} // namespace

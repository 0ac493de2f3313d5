// The region mask built from the drawn regions, and the one-polygon mask
// offered to hosts. Regions are drawn through a view zoomed 2× and scrolled
// to (40, 20): a view pixel (vx, vy) is the scene point ((vx + 40) / 2,
// (vy + 20) / 2), and scene points are image pixels.

#include "support/zoomedview.h"

#include "support/testimages.h"

#include <opencv2/core.hpp>

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;

class RegionMaskTest : public ZoomedViewTest
{
protected:
    // A finished rectangle between two scene points.
    void Rectangle(QPointF from, QPointF to)
    {
        manager->CreateRectItem(from);
        manager->ChangeRectItem(to);
        manager->CreateRectItem(to);
    }
    // The mask with exactly the pixels of [x0, x1] × [y0, y1] set, in the
    // controller's image size.
    cv::Mat Expected(std::initializer_list<cv::Rect> boxes) const
    {
        const cv::Mat& source = manager->GetSourceImage();
        cv::Mat mask = cv::Mat::zeros(source.rows, source.cols, CV_8UC1);
        for (const cv::Rect& box : boxes)
            mask(box).setTo(255);
        return mask;
    }
};

TEST_F(RegionMaskTest, WholeImageWithoutToolNothingForUnknownModeEmptyWithoutSource)
{
    StartWith(testimages::Grey(60, 80));
    manager->SetRegionSelectionMode(Manager::REGION_WHOLE_IMAGE);
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), testimages::Grey(60, 80, 255)));
    Manager::regionSelectionMode = 3;
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), testimages::Grey(60, 80, 0)));
    StartWith(cv::Mat());
    manager->SetSelectedRegions();
    EXPECT_TRUE(manager->GetRegionMask().empty());
}

TEST_F(RegionMaskTest, RectanglesCoverBothCornersTruncatedAndOverlapping)
{
    StartWith(testimages::Grey(60, 80));
    manager->SetRegionSelectionMode(Manager::REGION_RECTANGLE);
    Click({40, 30}); // scene (40, 25)
    Move({20, 0});   // scene (30, 10): width and height -10 and -15
    Click({20, 0});
    // x = 10.9, w = 0.5: x0 = 10, x1 = trunc(11.4) = 11; rows 2..5.
    Rectangle({10.9, 2.0}, {11.4, 5.0});
    Rectangle({51, 41}, {60, 48});
    Rectangle({55, 43}, {65, 50});
    Click({0, 0});
    Move({90, 90}); // still being dragged: left out
    manager->SetSelectedRegions();
    // Columns 30..40 and rows 10..25, boundary included.
    EXPECT_TRUE(testimages::SameImage(
        manager->GetRegionMask(),
        Expected({{30, 10, 11, 16}, {10, 2, 2, 4}, {51, 41, 10, 8}, {55, 43, 11, 8}})));
}

TEST_F(RegionMaskTest, SegmentationKeepsToTheDrawnRegions)
{
    // A band over every grey level makes every pixel an object, so the
    // binary image is exactly the drawn region.
    StartWith(testimages::Colour(60, 80, 10, 20, 30));
    manager->SetRegionSelectionMode(Manager::REGION_RECTANGLE);
    Click({20, 0});  // scene (30, 10)
    Move({40, 30});  // scene (40, 25)
    Click({40, 30}); // finishes (30, 10, 10, 15)
    manager->SetSelectedRegions();
    manager->SetSegmentMode(Manager::SEGMENT_MANUAL);
    manager->SetLowThreshold(0);
    manager->SetHighThreshold(255);
    EXPECT_TRUE(testimages::SameImage(manager->GetBinaryImage(), Expected({{30, 10, 11, 16}})));

    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    Click({20, 10}); // scene (30, 15)
    Move({61, 10});  // scene (50.5, 15)
    Move({20, 51});  // scene (30, 35.5)
    Click({20, 51});
    manager->SetSelectedRegions();
    manager->ImageSegment();
    // The triangle (30, 15), (50, 15), (30, 35): row y holds columns 30..65-y.
    cv::Mat expected = Expected({});
    for (int y = 15; y <= 35; ++y)
        expected.row(y).colRange(30, 66 - y).setTo(255);
    EXPECT_TRUE(testimages::SameImage(manager->GetBinaryImage(), expected));
}

TEST(AlgGetROITest, ShortPolygonGivesThreeAndLeavesTheOutputAlone)
{
    cv::Mat mask = testimages::Grey(2, 2, 9);
    EXPECT_EQ(AlgGetROI(testimages::Grey(5, 5), {{0, 0}, {3, 3}}, mask), 3);
    EXPECT_TRUE(testimages::SameImage(mask, testimages::Grey(2, 2, 9)));
}

} // namespace

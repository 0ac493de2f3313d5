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
    // 60 rows × 80 columns.
    void StartRegions(int mode)
    {
        StartWith(testimages::Grey(60, 80));
        manager->SetRegionSelectionMode(mode);
    }
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

TEST_F(RegionMaskTest, WholeImageWhenNoToolIsChosen)
{
    StartRegions(Manager::REGION_WHOLE_IMAGE);
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), testimages::Grey(60, 80, 255)));
}

TEST_F(RegionMaskTest, UnknownModeSelectsNothing)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({1, 1}, {10, 10});
    Manager::regionSelectionMode = 3;
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), testimages::Grey(60, 80, 0)));
}

TEST_F(RegionMaskTest, EmptySourceGivesAnEmptyMask)
{
    StartWith(cv::Mat());
    manager->SetSelectedRegions();
    EXPECT_TRUE(manager->GetRegionMask().empty());
}

TEST_F(RegionMaskTest, DrawnRectangleCoversBothCorners)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Click({20, 0});  // scene (30, 10)
    Move({40, 30});  // scene (40, 25)
    Click({40, 30}); // finishes (30, 10, 10, 15)
    manager->SetSelectedRegions();
    // Columns 30..40 and rows 10..25, boundary included.
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Expected({{30, 10, 11, 16}})));
}

TEST_F(RegionMaskTest, RectangleDraggedUpAndLeftCoversTheSamePixels)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Click({40, 30}); // scene (40, 25)
    Move({20, 0});   // scene (30, 10): width and height -10 and -15
    Click({20, 0});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Expected({{30, 10, 11, 16}})));
}

TEST_F(RegionMaskTest, RectangleCornersAreTruncated)
{
    StartRegions(Manager::REGION_RECTANGLE);
    // x = 10.9, w = 0.5: x0 = 10, x1 = trunc(11.4) = 11; rows 2..5.
    Rectangle({10.9, 2.0}, {11.4, 5.0});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Expected({{10, 2, 2, 4}})));
}

TEST_F(RegionMaskTest, OverlappingRectanglesStaySelectedWhereTheyOverlap)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({1, 1}, {10, 8});
    Rectangle({5, 3}, {15, 10});
    manager->SetSelectedRegions();
    const cv::Mat& mask = manager->GetRegionMask();
    // 80 + 88 pixels, 36 of them (x 5..10, y 3..8) shared.
    EXPECT_EQ(cv::countNonZero(mask), 132);
    EXPECT_EQ(mask.at<uchar>(5, 7), 255);
    EXPECT_TRUE(testimages::SameImage(mask, Expected({{1, 1, 10, 8}, {5, 3, 11, 8}})));
}

TEST_F(RegionMaskTest, UnfinishedRegionsAreLeftOut)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Rectangle({1, 1}, {3, 3});
    Click({0, 0});
    Move({40, 40}); // still being dragged
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), Expected({{1, 1, 3, 3}})));

    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    Click({0, 0});
    Move({40, 0});
    Move({40, 40});
    manager->SetSelectedRegions();
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), testimages::Grey(60, 80, 0)));
}

TEST_F(RegionMaskTest, DrawnPolygonIsTruncatedAndFilledWithItsBoundary)
{
    StartRegions(Manager::REGION_POLYGON);
    Click({20, 10});  // scene (30, 15)
    Move({61, 10});   // scene (50.5, 15)
    Move({20, 51});   // scene (30, 35.5)
    Click({20, 51});  // finishes the triangle
    Click({100, 10}); // a second one: scene (70, 15)
    Move({120, 10});  // scene (80, 15)
    Move({120, 30});  // scene (80, 25)
    Click({0, 0});
    manager->SetSelectedRegions();

    // Truncated: (30, 15), (50, 15), (30, 35); the long edge is x = 65 - y,
    // so row y holds columns 30..65-y. The second triangle (70, 15),
    // (80, 15), (80, 25) has the edge x = y + 55: row y holds y+55..79 (the
    // image ends at column 79).
    cv::Mat expected = Expected({});
    for (int y = 15; y <= 35; ++y)
        expected.row(y).colRange(30, 66 - y).setTo(255);
    for (int y = 15; y <= 24; ++y)
        expected.row(y).colRange(y + 55, 80).setTo(255);
    EXPECT_TRUE(testimages::SameImage(manager->GetRegionMask(), expected));

    // The shared point buffer ends holding the last polygon, untruncated.
    QPolygonF last;
    last << QPointF(70, 15) << QPointF(80, 15) << QPointF(80, 25);
    EXPECT_EQ(manager->GetDrawingPoints(), last);
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

TEST(AlgGetROITest, ThreeChannelSourceGivesThreeChannelMask)
{
    const cv::Mat source = testimages::Colour(6, 7, 1, 2, 3);
    cv::Mat mask;
    ASSERT_EQ(AlgGetROI(source, {{1, 1}, {4, 1}, {4, 3}, {1, 3}}, mask), 0);
    ASSERT_EQ(mask.type(), CV_8UC3);
    cv::Mat expected = cv::Mat::zeros(6, 7, CV_8UC3);
    expected(cv::Rect(1, 1, 4, 3)).setTo(cv::Scalar(255, 255, 255));
    EXPECT_TRUE(testimages::SameImage(mask, expected));
    EXPECT_NE(mask.data, source.data);
    EXPECT_TRUE(testimages::SameImage(source, testimages::Colour(6, 7, 1, 2, 3)));
}

TEST(AlgGetROITest, RejectsEmptySourceAndShortPolygonWithoutTouchingTheOutput)
{
    const cv::Mat kept = testimages::Grey(2, 2, 9);
    cv::Mat mask = kept;
    EXPECT_EQ(AlgGetROI(cv::Mat(), {{0, 0}, {3, 0}, {3, 3}}, mask), 1);
    EXPECT_EQ(AlgGetROI(testimages::Grey(5, 5), {{0, 0}, {3, 3}}, mask), 3);
    // An empty source is reported before a short polygon.
    EXPECT_EQ(AlgGetROI(cv::Mat(), {}, mask), 1);
    EXPECT_EQ(mask.data, kept.data);
    EXPECT_EQ(mask.size(), cv::Size(2, 2));
}

} // namespace

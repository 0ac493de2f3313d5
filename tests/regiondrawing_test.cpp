// Mouse interaction on the view: region rectangles and polygons, cut lines,
// and which events the controller accepts. Every position goes through a
// view zoomed 2× and scrolled to (40, 20), so a view pixel (vx, vy) is the
// scene point ((vx + 40) / 2, (vy + 20) / 2).

#include "support/zoomedview.h"

#include "support/testimages.h"

#include <QBrush>
#include <QGraphicsLineItem>
#include <QGraphicsPolygonItem>
#include <QGraphicsRectItem>

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;

QPolygonF Points(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

class RegionDrawingTest : public ZoomedViewTest
{
protected:
    void SetUp() override
    {
        ZoomedViewTest::SetUp();
        observerId_ = HostEvents::AddObserver([this](int code, void* payload) {
            if (code == HOST_EVENT_VIEW_PRESSED)
                pressedAt.push_back(*static_cast<QPointF*>(payload));
        });
    }
    void TearDown() override
    {
        HostEvents::RemoveObserver(observerId_);
        ZoomedViewTest::TearDown();
    }

    void StartRegions(int mode)
    {
        StartWith(testimages::Grey(60, 80));
        manager->SetRegionSelectionMode(mode);
    }
    void StartCutLines()
    {
        manager->SetAutoCountStep(Manager::STEP_SEPARATE);
        Manager::objectCutMode = Manager::CUT_MANUAL;
    }
    static QLineF Segment(const QGraphicsLineItem* item) { return item->line(); }

    std::vector<QPointF> pressedAt;

private:
    int observerId_ = -1;
};

TEST_F(RegionDrawingTest, AcceptsMouseEventsByStepAndMode)
{
    struct Case
    {
        int step, region, cut;
        bool accepted;
    };
    const Case cases[] = {
        {0, 1, 1, false}, {1, 0, 1, false}, {1, 1, 0, true},  {1, 2, 0, true},
        {1, 5, 0, true},  {2, 1, 1, false}, {3, 0, 0, false}, {3, 2, 1, true},
        {3, 1, 3, false}, {4, 0, 0, true},  {5, 1, 1, false}, {-1, 1, 1, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message()
                     << "step " << c.step << " region " << c.region << " cut " << c.cut);
        Manager::autoCountStep = c.step;
        Manager::regionSelectionMode = c.region;
        Manager::objectCutMode = c.cut;
        EXPECT_EQ(manager->IsAcceptMouseEvent(), c.accepted);
    }
}

TEST_F(RegionDrawingTest, PressOutsideDrawingStepsOnlyReportsTheRoundedPosition)
{
    // Tools chosen, but step 0 and step 2 draw nothing.
    Manager::regionSelectionMode = Manager::REGION_RECTANGLE;
    Manager::objectCutMode = Manager::CUT_MANUAL;

    // (20.5, 30.5) rounds to (21, 31): scene (30.5, 25.5). Mapping the
    // unrounded position would give (30.25, 25.25).
    Press({20.5, 30.5});
    EXPECT_TRUE(manager->IsMousePressed());
    Release({20.5, 30.5});
    EXPECT_FALSE(manager->IsMousePressed());

    manager->SetAutoCountStep(Manager::STEP_SEGMENT);
    Manager::regionSelectionMode = Manager::REGION_POLYGON;
    // (60.4, 9.6) rounds to (60, 10): scene (50, 15).
    Press({60.4, 9.6}, Qt::RightButton);
    EXPECT_TRUE(manager->IsMousePressed());

    ASSERT_EQ(pressedAt.size(), 2u);
    EXPECT_EQ(pressedAt[0], QPointF(30.5, 25.5));
    EXPECT_EQ(pressedAt[1], QPointF(50, 15));
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_EQ(manager->GetCurrentRectItem(), nullptr);
    EXPECT_EQ(manager->GetCurrentPolygonItem(), nullptr);
    EXPECT_EQ(manager->GetCurrentLineItem(), nullptr);
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
}

TEST_F(RegionDrawingTest, RectangleFollowsThePointerUntilTheNextClick)
{
    StartRegions(Manager::REGION_RECTANGLE);

    // (20.5, 30.4) rounds to (21, 30): scene (30.5, 25).
    Click({20.5, 30.4});
    QGraphicsRectItem* rect = manager->GetCurrentRectItem();
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 1, 1));
    EXPECT_EQ(rect->scene(), scene);
    EXPECT_EQ(rect->pen().color(), QColor(Qt::green));
    EXPECT_EQ(rect->pen().widthF(), QPen().widthF());
    EXPECT_EQ(rect->brush().style(), Qt::NoBrush);
    EXPECT_TRUE(manager->GetRectItems().isEmpty());

    // Released, the rectangle still follows: (61, 51) is scene (50.5, 35.5).
    Move({61, 51});
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 20, 10.5));

    // The next click finishes it where it is and starts nothing new.
    Click({81, 61});
    EXPECT_EQ(manager->GetCurrentRectItem(), nullptr);
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    EXPECT_EQ(manager->GetRectItems().first(), rect);
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 20, 10.5));
    Move({0, 0});
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 20, 10.5));
    EXPECT_EQ(scene->items().size(), 1);
}

TEST_F(RegionDrawingTest, TwoClicksWithoutMoveLeaveAOnePixelRectangle)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Click({0, 0}, Qt::RightButton); // every button acts alike
    Click({0, 0}, Qt::MiddleButton);
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    EXPECT_EQ(manager->GetRectItems().first()->rect(), QRectF(20, 10, 1, 1));
    EXPECT_EQ(manager->GetCurrentRectItem(), nullptr);
}

TEST_F(RegionDrawingTest, RectangleDraggedUpAndLeftKeepsNegativeSize)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Press({60, 50});                // scene (50, 35)
    Move({20, 10}, Qt::LeftButton); // scene (30, 15)
    Release({20, 10});
    Click({20, 10});
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    const QRectF rect = manager->GetRectItems().first()->rect();
    EXPECT_EQ(rect.x(), 50);
    EXPECT_EQ(rect.y(), 35);
    EXPECT_EQ(rect.width(), -20);
    EXPECT_EQ(rect.height(), -20);
}

TEST_F(RegionDrawingTest, ModeChangeMidDragRemovesEveryRegion)
{
    StartRegions(Manager::REGION_POLYGON);
    Click({0, 0});
    Move({20, 0});
    Move({20, 20});
    Click({0, 0});
    ASSERT_EQ(manager->GetPolygonItems().size(), 1);

    Manager::regionSelectionMode = Manager::REGION_RECTANGLE;
    Click({0, 0});
    Click({10, 10});
    Press({30, 30});
    Move({50, 50}, Qt::LeftButton);
    ASSERT_NE(manager->GetCurrentRectItem(), nullptr);
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    EXPECT_EQ(scene->items().size(), 3);

    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    EXPECT_EQ(Manager::regionSelectionMode, Manager::REGION_POLYGON);
    EXPECT_EQ(manager->GetCurrentRectItem(), nullptr);
    EXPECT_TRUE(manager->GetRectItems().isEmpty());
    EXPECT_TRUE(manager->GetPolygonItems().isEmpty());
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
    EXPECT_TRUE(scene->items().isEmpty());

    // The drag goes on, but there is nothing left to resize.
    Move({70, 70}, Qt::LeftButton);
    EXPECT_TRUE(scene->items().isEmpty());
}

TEST_F(RegionDrawingTest, PolygonTakesOneVertexPerMoveUntilTheNextClick)
{
    StartRegions(Manager::REGION_POLYGON);
    Press({20, 10}); // scene (30, 15)
    QGraphicsPolygonItem* polygon = manager->GetCurrentPolygonItem();
    ASSERT_NE(polygon, nullptr);
    EXPECT_EQ(polygon->polygon(), Points({QPointF(30, 15)}));
    EXPECT_EQ(polygon->pen().color(), QColor(Qt::green));
    EXPECT_EQ(polygon->brush().style(), Qt::NoBrush);

    Move({60, 10}, Qt::LeftButton);   // scene (50, 15)
    Move({60.6, 51}, Qt::LeftButton); // rounds to (61, 51): scene (50.5, 35.5)
    Release({60.6, 51});
    Move({20, 50}); // released, still followed: scene (30, 35)
    // The finishing click adds no vertex and no closing point.
    Click({0, 0});

    const QPolygonF expected(
        {QPointF(30, 15), QPointF(50, 15), QPointF(50.5, 35.5), QPointF(30, 35)});
    EXPECT_EQ(manager->GetCurrentPolygonItem(), nullptr);
    ASSERT_EQ(manager->GetPolygonItems().size(), 1);
    EXPECT_EQ(manager->GetPolygonItems().first()->polygon(), expected);
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
    EXPECT_EQ(scene->items().size(), 1);
}

TEST_F(RegionDrawingTest, MovesAtOtherStepsLeaveRegionsAlone)
{
    StartRegions(Manager::REGION_RECTANGLE);
    Click({0, 0});
    QGraphicsRectItem* rect = manager->GetCurrentRectItem();
    ASSERT_NE(rect, nullptr);
    manager->SetAutoCountStep(Manager::STEP_SEGMENT);
    Move({40, 40});
    manager->SetAutoCountStep(Manager::STEP_RESULTS);
    Move({40, 40});
    EXPECT_EQ(rect->rect(), QRectF(20, 10, 1, 1));
}

TEST_F(RegionDrawingTest, CutLineGrowsByClicksAndPressedMovesAndRubberBands)
{
    StartCutLines();
    const QPointF a(30, 15), b(40, 15), c(50, 25), d(50, 35);

    Press({20, 10}); // a
    ASSERT_EQ(manager->GetLineItems().size(), 1);
    QGraphicsLineItem* first = manager->GetLineItems()[0];
    EXPECT_EQ(manager->GetCurrentLineItem(), first);
    EXPECT_EQ(Segment(first), QLineF(a, a));
    EXPECT_EQ(first->pen().color(), QColor(Qt::red));
    EXPECT_EQ(first->scene(), scene);

    Move({40, 10}, Qt::LeftButton); // pressed: b becomes a vertex
    Release({40, 10});
    ASSERT_EQ(manager->GetLineItems().size(), 2);
    EXPECT_EQ(Segment(first), QLineF(a, b));
    EXPECT_EQ(manager->GetDrawingPoints(), Points({a, b}));

    // Released: the open segment stretches from b to the pointer.
    QGraphicsLineItem* second = manager->GetLineItems()[1];
    Move({60, 30}); // c
    EXPECT_EQ(Segment(second), QLineF(b, c));
    Move({60, 50}); // d
    EXPECT_EQ(Segment(second), QLineF(b, d));
    EXPECT_EQ(manager->GetDrawingPoints(), Points({a, b}));
    EXPECT_EQ(manager->GetLineItems().size(), 2);

    // The double-click's first press adds d; the double-click adds it again
    // and a zero-length segment.
    DoubleClick({60, 50});
    const QList<QGraphicsLineItem*>& lines = manager->GetLineItems();
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(Segment(lines[0]), QLineF(a, b));
    EXPECT_EQ(Segment(lines[1]), QLineF(b, d));
    EXPECT_EQ(Segment(lines[2]), QLineF(d, d));
    EXPECT_EQ(Segment(lines[3]), QLineF(d, d));
    for (const QGraphicsLineItem* line : lines) {
        EXPECT_EQ(line->scene(), scene);
        EXPECT_EQ(line->pen().color(), QColor(Qt::red));
    }
    EXPECT_EQ(manager->GetCurrentLineItem(), nullptr);
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());

    // A new click starts a fresh polyline.
    Press({0, 0});
    EXPECT_EQ(manager->GetDrawingPoints(), Points({QPointF(20, 10)}));
    EXPECT_EQ(manager->GetLineItems().size(), 5);
}

TEST_F(RegionDrawingTest, DoubleClickShowsTheBinaryImage)
{
    StartCutLines();
    cv::Mat binary = testimages::Grey(60, 80, 255);
    manager->SetBinaryImage(binary);
    Click({20, 10});
    DoubleClick({60, 50});
    EXPECT_EQ(canvas.ShowCount(), 1);
    EXPECT_TRUE(canvas.LastShownInverted());
    EXPECT_EQ(canvas.LastShown().data, manager->GetBinaryImage().data);
}

TEST_F(RegionDrawingTest, DoubleClickWithoutManualCutDoesNothing)
{
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    Manager::objectCutMode = Manager::CUT_AUTO;
    DoubleClick({20, 10});
    Manager::objectCutMode = Manager::CUT_MANUAL;
    manager->SetAutoCountStep(Manager::STEP_SEGMENT);
    DoubleClick({20, 10});
    EXPECT_EQ(canvas.ShowCount(), 0);
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
}

TEST_F(RegionDrawingTest, StepChangeRemovesSegmentsButKeepsTheirVertices)
{
    StartCutLines();
    Press({20, 10});                // scene (30, 15)
    Move({40, 10}, Qt::LeftButton); // scene (40, 15)
    Release({40, 10});
    ASSERT_EQ(scene->items().size(), 2);

    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    EXPECT_TRUE(manager->GetLineItems().isEmpty());
    EXPECT_EQ(manager->GetCurrentLineItem(), nullptr);
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_EQ(manager->GetDrawingPoints(), Points({QPointF(30, 15), QPointF(40, 15)}));

    // The next cut line continues the kept vertices; only the new open
    // segment is drawn.
    Press({60, 50}); // scene (50, 35)
    EXPECT_EQ(manager->GetDrawingPoints(),
              Points({QPointF(30, 15), QPointF(40, 15), QPointF(50, 35)}));
    ASSERT_EQ(manager->GetLineItems().size(), 1);
    EXPECT_EQ(Segment(manager->GetLineItems()[0]), QLineF(QPointF(50, 35), QPointF(50, 35)));
}

} // namespace

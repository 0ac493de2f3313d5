// Mouse interaction on the view: region rectangles and polygons, cut lines,
// and which events the controller accepts. Every position goes through a
// view zoomed 2× and scrolled to (40, 20), so a view pixel (vx, vy) is the
// scene point ((vx + 40) / 2, (vy + 20) / 2).

#include "support/zoomedview.h"

#include "support/testimages.h"

#include <QGraphicsLineItem>
#include <QGraphicsRectItem>

#include <gtest/gtest.h>

namespace {

using Manager = AutoCountManager;
using RegionDrawingTest = ZoomedViewTest;

QPolygonF Points(std::initializer_list<QPointF> points)
{
    return QPolygonF(QVector<QPointF>(points));
}

TEST_F(RegionDrawingTest, PressOutsideDrawingStepsOnlyReportsTheRoundedPosition)
{
    std::vector<QPointF> pressedAt;
    const int observer = HostEvents::AddObserver([&](int code, void* payload) {
        if (code == HOST_EVENT_VIEW_PRESSED)
            pressedAt.push_back(*static_cast<QPointF*>(payload));
    });
    // Tools chosen, but step 0 and step 2 draw nothing.
    Manager::regionSelectionMode = Manager::REGION_RECTANGLE;
    Manager::objectCutMode = Manager::CUT_MANUAL;
    // (20.5, 30.5) rounds to (21, 31): scene (30.5, 25.5). Mapping the
    // unrounded position would give (30.25, 25.25).
    Click({20.5, 30.5});
    manager->SetAutoCountStep(Manager::STEP_SEGMENT);
    Manager::regionSelectionMode = Manager::REGION_POLYGON;
    // (60.4, 9.6) rounds to (60, 10): scene (50, 15).
    Press({60.4, 9.6}, Qt::RightButton);
    HostEvents::RemoveObserver(observer);
    ASSERT_EQ(pressedAt.size(), 2u);
    EXPECT_EQ(pressedAt[0], QPointF(30.5, 25.5));
    EXPECT_EQ(pressedAt[1], QPointF(50, 15));
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
}

TEST_F(RegionDrawingTest, RectangleFollowsThePointerUntilTheNextClick)
{
    StartWith(testimages::Grey(60, 80));
    manager->SetRegionSelectionMode(Manager::REGION_RECTANGLE);
    // (20.5, 30.4) rounds to (21, 30): scene (30.5, 25).
    Click({20.5, 30.4}, Qt::RightButton); // every button acts alike
    QGraphicsRectItem* rect = manager->GetCurrentRectItem();
    ASSERT_NE(rect, nullptr);
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 1, 1));
    EXPECT_EQ(rect->pen().color(), QColor(Qt::green));

    // Released, the rectangle still follows: (61, 51) is scene (50.5, 35.5).
    Move({61, 51});
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 20, 10.5));
    // The next click finishes it where it is and starts nothing new.
    Click({81, 61});
    EXPECT_EQ(manager->GetCurrentRectItem(), nullptr);
    ASSERT_EQ(manager->GetRectItems().size(), 1);
    Move({0, 0});
    EXPECT_EQ(rect->rect(), QRectF(30.5, 25, 20, 10.5));
    EXPECT_EQ(scene->items().size(), 1);
}

TEST_F(RegionDrawingTest, ModeChangeMidDragRemovesEveryRegion)
{
    StartWith(testimages::Grey(60, 80));
    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    Click({0, 0});
    Move({20, 20});
    Click({0, 0});
    Manager::regionSelectionMode = Manager::REGION_RECTANGLE;
    Click({0, 0});
    Click({10, 10});
    Press({30, 30});
    Move({50, 50}, Qt::LeftButton);
    ASSERT_EQ(scene->items().size(), 3);

    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
    // The drag goes on, but there is nothing left to resize.
    Move({70, 70}, Qt::LeftButton);
    EXPECT_TRUE(scene->items().isEmpty());
}

TEST_F(RegionDrawingTest, PolygonTakesOneVertexPerMoveUntilTheNextClick)
{
    StartWith(testimages::Grey(60, 80));
    manager->SetRegionSelectionMode(Manager::REGION_POLYGON);
    Press({20, 10});                  // scene (30, 15)
    Move({60, 10}, Qt::LeftButton);   // scene (50, 15)
    Move({60.6, 51}, Qt::LeftButton); // rounds to (61, 51): scene (50.5, 35.5)
    Release({60.6, 51});
    Move({20, 50}); // released, still followed: scene (30, 35)
    // The finishing click adds no vertex and no closing point.
    Click({0, 0});

    ASSERT_EQ(manager->GetPolygonItems().size(), 1);
    EXPECT_EQ(manager->GetPolygonItems().first()->polygon(),
              Points({{30, 15}, {50, 15}, {50.5, 35.5}, {30, 35}}));
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
}

TEST_F(RegionDrawingTest, CutLineGrowsByClicksAndPressedMovesAndRubberBands)
{
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    Manager::objectCutMode = Manager::CUT_MANUAL;
    const QPointF a(30, 15), b(40, 15), d(50, 35);
    Press({20, 10}); // a
    ASSERT_EQ(manager->GetLineItems().size(), 1);
    QGraphicsLineItem* first = manager->GetLineItems()[0];
    EXPECT_EQ(first->line(), QLineF(a, a));

    Move({40, 10}, Qt::LeftButton); // pressed: b becomes a vertex
    Release({40, 10});
    ASSERT_EQ(manager->GetLineItems().size(), 2);
    EXPECT_EQ(first->line(), QLineF(a, b));
    // Released: the open segment stretches from b to the pointer.
    QGraphicsLineItem* second = manager->GetLineItems()[1];
    Move({60, 50}); // d
    EXPECT_EQ(second->line(), QLineF(b, d));
    EXPECT_EQ(manager->GetDrawingPoints(), Points({a, b}));

    // The double-click's first press adds d; the double-click adds it again
    // and a zero-length segment.
    DoubleClick({60, 50});
    const QList<QGraphicsLineItem*>& lines = manager->GetLineItems();
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[2]->line(), QLineF(d, d));
    EXPECT_EQ(lines[3]->line(), QLineF(d, d));
    EXPECT_TRUE(manager->GetDrawingPoints().isEmpty());
}

TEST_F(RegionDrawingTest, StepChangeRemovesSegmentsButKeepsTheirVertices)
{
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    Manager::objectCutMode = Manager::CUT_MANUAL;
    Press({20, 10});                // scene (30, 15)
    Move({40, 10}, Qt::LeftButton); // scene (40, 15)
    Release({40, 10});
    manager->SetAutoCountStep(Manager::STEP_SEPARATE);
    EXPECT_TRUE(scene->items().isEmpty());
    // The next cut line continues the kept vertices; only the new open
    // segment is drawn.
    Press({60, 50}); // scene (50, 35)
    EXPECT_EQ(manager->GetDrawingPoints(), Points({{30, 15}, {40, 15}, {50, 35}}));
    ASSERT_EQ(manager->GetLineItems().size(), 1);
    EXPECT_EQ(manager->GetLineItems()[0]->line(), QLineF(QPointF(50, 35), QPointF(50, 35)));
}

} // namespace

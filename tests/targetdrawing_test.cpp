// Targets and the highlight on the scene.

#include "support/controllerfixture.h"

#include <QGraphicsPolygonItem>

#include <gtest/gtest.h>

namespace {

using TargetDrawing = ControllerTest;

TEST_F(TargetDrawing, NothingToDrawOrHighlightLeavesTheSceneEmpty)
{
    manager->DrawTarget();
    manager->HighlightObject(0);
    manager->HighlightObject(QPointF(3, 3));
    EXPECT_EQ(manager->GetHighlightedIndex(), -1);
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_TRUE(events->Codes().empty());
}

TEST_F(TargetDrawing, OverlayCopiesThePolygonAndReplacesTheLastOne)
{
    QGraphicsPolygonItem source(QPolygonF({QPointF(1, 1), QPointF(5, 1), QPointF(3, 4)}));
    manager->HighlightObject(static_cast<void*>(&source));
    QGraphicsPolygonItem* first = manager->GetHighlightOverlay();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->polygon(), source.polygon());
    EXPECT_EQ(first->brush(), QBrush(Qt::red, Qt::SolidPattern));
    EXPECT_EQ(first->pen(), QPen());

    QGraphicsPolygonItem other(QPolygonF({QPointF(0, 0), QPointF(2, 0), QPointF(2, 2)}));
    manager->HighlightObject(static_cast<void*>(&other));
    QGraphicsPolygonItem* second = manager->GetHighlightOverlay();
    EXPECT_EQ(second->polygon(), other.polygon());
    EXPECT_EQ(scene->items().size(), 1); // the first overlay is gone

    manager->DeleteTargetGraphicsItem(); // clearing targets keeps the overlay
    EXPECT_EQ(manager->GetHighlightOverlay(), second);
    EXPECT_EQ(scene->items().size(), 1);
}

} // namespace

// Targets, labels and the highlight on the scene; numbers drawn into images.

#include "support/controllerfixture.h"
#include "support/testimages.h"

#include <QGraphicsPolygonItem>
#include <QGraphicsTextItem>

#include <gtest/gtest.h>

namespace {

using TargetDrawing = ControllerTest;

TEST_F(TargetDrawing, NothingToDrawLeavesTheSceneEmpty)
{
    manager->DrawTarget();
    EXPECT_TRUE(manager->GetTargetItems().isEmpty());
    EXPECT_TRUE(manager->GetIndexTextItems().isEmpty());
    EXPECT_TRUE(scene->items().isEmpty());
    EXPECT_TRUE(events->Codes().empty());
}

TEST_F(TargetDrawing, HighlightWithoutTargetsDoesNothing)
{
    manager->HighlightObject(0);
    manager->HighlightObject(-1);
    manager->HighlightObject(QPointF(3, 3));
    EXPECT_EQ(manager->GetHighlightedIndex(), -1);
    EXPECT_TRUE(events->Codes().empty());
}

TEST_F(TargetDrawing, ClearingTheResultsAnnouncesIt)
{
    manager->DeleteTargetItem();
    EXPECT_EQ(events->Codes(), std::vector<int>{17});
    EXPECT_TRUE(manager->GetAllResults().empty());
    EXPECT_TRUE(manager->GetValidResults().empty());
}

TEST_F(TargetDrawing, OverlayCopiesThePolygonAndReplacesTheLastOne)
{
    QGraphicsPolygonItem source(QPolygonF({QPointF(1, 1), QPointF(5, 1), QPointF(3, 4)}));
    manager->HighlightObject(static_cast<void*>(&source));
    QGraphicsPolygonItem* first = manager->GetHighlightOverlay();
    ASSERT_NE(first, nullptr);
    EXPECT_NE(first, &source);
    EXPECT_EQ(first->polygon(), source.polygon());
    EXPECT_EQ(first->scene(), scene);
    EXPECT_EQ(first->brush(), QBrush(Qt::red, Qt::SolidPattern));
    EXPECT_EQ(first->pen(), QPen());

    QGraphicsPolygonItem other(QPolygonF({QPointF(0, 0), QPointF(2, 0), QPointF(2, 2)}));
    manager->HighlightObject(static_cast<void*>(&other));
    QGraphicsPolygonItem* second = manager->GetHighlightOverlay();
    EXPECT_EQ(second->polygon(), other.polygon());
    EXPECT_EQ(scene->items().size(), 1); // the first overlay is gone
    EXPECT_TRUE(events->Codes().empty());
}

TEST_F(TargetDrawing, ClearingTargetsKeepsTheOverlay)
{
    QGraphicsPolygonItem source(QPolygonF({QPointF(1, 1), QPointF(5, 1), QPointF(3, 4)}));
    manager->HighlightObject(static_cast<void*>(&source));
    manager->DeleteTargetGraphicsItem();
    EXPECT_NE(manager->GetHighlightOverlay(), nullptr);
    EXPECT_EQ(scene->items().size(), 1);
}

TEST_F(TargetDrawing, NoRecordsNoNumbers)
{
    cv::Mat image = testimages::Colour(40, 40, 0, 0, 0);
    manager->DrawObjectIndex(image);
    EXPECT_EQ(cv::countNonZero(image.reshape(1)), 0);
}

} // namespace
